"""Backup and restore, parameter files and factory defaults."""

import subprocess

import pytest

import svodb
from conftest import source_file, tool_environment


def _edited(source, target, changes, appended=()):
    """A copy of a parameter file with some values changed and lines appended."""
    with open(source, encoding="latin-1") as file:
        lines = file.read().splitlines()
    names = [line.split("=")[0].strip() for line in lines]
    lines = [f"{name} = {changes[name]}" if name in changes else line for name, line in zip(names, lines)]
    with open(target, "w", encoding="latin-1") as file:
        file.write("\n".join(lines + list(appended)) + "\n")


def _value_line(path, name):
    with open(path, encoding="latin-1") as file:
        return next(" ".join(line.split()) for line in file if line.split("=")[0].strip() == name)


def test_backup_restore_round_trip_and_failing_lines(drive, tmp_path):
    original, edited, bad, after = (tmp_path / name for name in ("original.par", "edited.par", "bad.par", "after.par"))
    drive.backup(original)
    assert _value_line(original, "KVI") == "KVI = 4.909000 Hz"
    _edited(original, edited, {"KVI": "5.475"})  # a value the drive's format holds
    assert len(drive.restore(edited)) == 46  # a dry run: checks only
    drive.backup(after)
    assert after.read_bytes() == original.read_bytes()
    drive.restore(edited, dry_run=False)
    drive.backup(after)
    assert _value_line(after, "KVI") == "KVI = 5.475000 Hz"

    _edited(original, bad, {"KVP": "fast", "BatFDis": "Sometimes"}, ["NoSuchThing = 1"])
    assert [(line.number, line.text, line.code, line.message) for line in drive.restore(bad) if not line.ok] == [
        (7, "BatFDis = Sometimes", 23, "Data is out of range"), (45, "KVP = fast", 23, "Data is out of range"),
        (51, "NoSuchThing = 1", 8, "Invalid parameter")]
    with pytest.raises(svodb.OutOfRangeError, match=r"^line 7 \(BatFDis = Sometimes\): Data is out of range"):
        drive.restore(bad, dry_run=False)
    drive.restore(original, dry_run=False)
    drive.backup(after)
    assert after.read_bytes() == original.read_bytes()


def test_parameter_file_reads_and_writes_through_the_library(drive, tmp_path):
    drive.backup(tmp_path / "drive.par")
    read = svodb.ParameterFile.read(tmp_path / "drive.par")
    assert (read.model, read.network, read.velocity, read.version, read.manufacturing) == (31, False, True, 4, False)
    assert len(read.values) == 46
    assert (read.values["KVP"], read.values["OpMode"].name, read.values["DM1Map"].name) == (
        0.032, "SetupS2-1", "VelFB 2288 RPM/V")
    read.values["KVP"] = 0.05
    read.write(tmp_path / "written.par")
    assert _value_line(tmp_path / "written.par", "KVP") == "KVP = 0.050000 Arms/rad/sec"
    again = svodb.ParameterFile.read(tmp_path / "written.par")
    # The writer lists every parameter of the image; those the file did
    # not hold come with the model's defaults.
    assert {name: again.values[name] for name in read.values} == read.values
    with pytest.raises(svodb.ParameterFileError, match=r"^Can't open file when reading file at No.0 variable"):
        svodb.ParameterFile.read(tmp_path / "missing.par")


@pytest.mark.parametrize("model, network", [("X7102", False), (26, True)])
def test_defaults_match_the_tools(tmp_path, model, network):
    ours, tools = tmp_path / "ours.par", tmp_path / "tools.par"
    # The tool makes torque (current) images.
    svodb.defaults(model, network=network, logic=3, velocity=False).save_file(ours)
    command = [source_file("SVODB_TOOL"), "defaults", "--model", str(model), "--logic", "3", "--out", str(tools)]
    subprocess.run(command + (["--network"] if network else []), check=True, capture_output=True,
                   env=tool_environment())
    assert ours.read_bytes() == tools.read_bytes()
    with pytest.raises(svodb.OutOfRangeError, match=r"no model is called 'X9'"):
        svodb.defaults("X9")
