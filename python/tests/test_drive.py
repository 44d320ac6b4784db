"""The drive and offline images from Python, against the virtual drive."""

import pytest

import svodb


def test_values_in_engineering_units_and_enumerations_by_label_member_or_number(drive):
    drive["KVP"] = 0.05
    assert (drive["kvp"], drive.write("KVP", 0.032), drive.unit("KVP")) == (0.05, 0.032, "Arms/rad/sec")
    modes = drive.labels("OpMode")
    assert [(m.name, m.value) for m in modes] == [
        ("Torque/Current", 0), ("Velocity", 1), ("SetupS2-1", 2), ("Position", 3)]
    for written, expected in [("Velocity", 1), ("torque/current", 0), (modes["Position"], 3), (2, 2)]:
        drive["OpMode"] = written
        assert (type(drive["OpMode"]), drive["OpMode"]) == (modes, expected)
    drive["CmdSrc"] = "Command_Variable"  # the file form of a label
    assert drive["CmdSrc"].name == "Command Variable"
    drive["CmdSrc"] = "Analog Input"
    assert drive.labels("KVP") is None


@pytest.mark.parametrize("name, value, family, text", [
        ("KVP", 1e9, svodb.OutOfRangeError, "Data is out of range (code 23)"),
        ("OpMode", "Sideways", svodb.OutOfRangeError, "Data is out of range: OpMode has no label 'Sideways' (code 23)"),
        ("NoSuchName", 1, svodb.UnknownParameterError, "Invalid parameter: 'NoSuchName' (code 8)"),
        ("SerialNum", "X" * 25, svodb.OutOfRangeError, "System Error (code 12)")])  # one too long
def test_refused_writes_raise_the_drives_answer(drive, name, value, family, text):
    with pytest.raises(family) as raised:
        drive[name] = value
    assert str(raised.value) == text


def test_info_serial_faults_and_sample(drive):
    assert drive.info == svodb.Info(model=31, model_label="X7102 240Vac 3/9Arms", mode=1, logic_version=4.0,
                                    version_text="4.0A", serial_number="VD22010001", drive_type=1)
    assert drive.faults() == [svodb.FaultRecord(0, bytes.fromhex("09012CDB3A000000")),
                              svodb.FaultRecord(1, bytes.fromhex("04012DE73C000000"))]
    assert len(drive.faults(include_erased=True)) == 64
    assert drive.sample("VelFB", 5) == svodb.Sample(0.0, 0.0, "RPM")
    with pytest.raises(svodb.UnknownParameterError):
        drive.sample("NoSuchName", 5)


def test_offline_node_keeps_its_own_values(drive):
    on_drive = drive["KVP"]
    node = svodb.Node(3, fresh=True)
    node.model = 26
    node["KVP"] = 0.05
    node["OpMode"] = "Torque/Current"
    assert (node.model, node["KVP"], node["OpMode"].name, node.mode) == (26, 0.05, "Torque/Current", 0)
    assert (drive["KVP"], drive.model) == (on_drive, 31)
    with pytest.raises(svodb.OutOfRangeError, match="node 7 is not 0 to 6"):
        svodb.Node(7)


def test_catalogue_flags_and_labels():
    variables = {v.name: v for v in svodb.catalogue()}
    kvp, velocity = variables["KVP"], variables["VelFB"]
    assert (len(variables), kvp.position, kvp.units) == (159, 119, "Arms/rad/sec")
    assert (kvp.read_only, kvp.status, kvp.from_feedback_device, kvp.fixed_while_enabled, kvp.user_parameter,
            kvp.kept_in_nv, kvp.enumerated) == (False, False, True, False, True, True, False)
    assert (velocity.read_only, velocity.status, velocity.kept_in_nv) == (True, True, False)
    assert variables["OpMode"].labels[3] == (3, "Position")


def test_connections():
    with svodb.Drive(network=(1, 2)) as on_network:
        assert (on_network.info.drive_type, on_network["KVP"]) == (2, 0.032)
    with pytest.raises(svodb.OutOfRangeError, match=r"^Data is out of range: network takes 2, 4 or 7 numbers"):
        svodb.Drive(network=(1, 2, 3))
    with pytest.raises(svodb.DriveConnectionError, match=r"^No Response from drive \(code 0\)$"):
        on_network["KVP"]  # closed
