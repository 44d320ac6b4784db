"""Flash with progress, monitoring on a virtual clock, the plot and the
command line."""

import pytest

import svodb
from svodb import __main__ as command_line

I00_STEPS = 2058


def _i00(data: bytes, logic: int) -> str:
    """An I00 file: the header with the logic version, an address record,
    data records of 32 bytes with their checksums, the end record."""
    lines = ["#IT: svodb python test", "# made by the tests", f"#LogicVer:{logic}", ":020000040000FA"]
    for at in range(0, len(data), 32):
        record = bytes([len(data[at:at + 32]), at >> 8 & 0xFF, at & 0xFF, 0]) + data[at:at + 32]
        lines.append(":" + (record + bytes([-sum(record) & 0xFF])).hex().upper())
    return "\n".join(lines + [":00000001FF", ""])


def test_flash_reports_every_step_passes_on_the_callbacks_exception_and_refuses_bad_files(drive, tmp_path):
    image = tmp_path / "image.i00"
    image.write_text(_i00(bytes(range(256)) * 4, logic=4))
    for verify in (False, True):
        steps = []
        drive.flash(image, verify=verify, progress=lambda step, total: steps.append((step, total)))
        assert steps == [(step, I00_STEPS) for step in range(I00_STEPS)]

    def refuse(step, total):
        raise KeyboardInterrupt

    with pytest.raises(KeyboardInterrupt):
        drive.flash(image, progress=refuse)
    # Files of another logic version or no configuration file are refused after the first step.
    for text, message in [(_i00(b"\x01" * 32, logic=3), "Wrong file version (code 33)"),
                          ("not a configuration file\n", "Wrong file format (code 32)")]:
        image.write_text(text)
        steps = []
        with pytest.raises(svodb.ParameterFileError) as raised:
            drive.flash(image, progress=lambda step, total: steps.append(step))
        assert (str(raised.value), steps) == (message, [0])


def test_monitor_reads_on_schedule_and_plots_a_real_picture(drive, tmp_path):
    now, sleeps = [100.0], []  # a virtual clock

    def sleep(seconds):
        sleeps.append(round(seconds, 9))
        now[0] += seconds

    recording = drive.monitor(["kvp", "VelFB"], seconds=1.0, rate=4, clock=lambda: now[0], sleep=sleep)
    assert (recording.times, sleeps) == ([0.0, 0.25, 0.5, 0.75, 1.0], [0.25] * 4)
    assert recording.values == {"KVP": [drive["KVP"]] * 5, "VelFB": [0.0] * 5}
    assert recording.units == {"KVP": "Arms/rad/sec", "VelFB": "RPM"}
    with pytest.raises(svodb.OutOfRangeError):
        drive.monitor(["KVP"], seconds=1.0, rate=0)

    image = pytest.importorskip("matplotlib.image")
    from svodb.plot import plot_recording

    recording.values["VelFB"] = [float(k % 3) for k in range(len(recording.times))]  # a line that moves
    plot_recording(recording, tmp_path / "plot.png")
    assert (tmp_path / "plot.png").read_bytes()[:8] == b"\x89PNG\r\n\x1a\n"
    pixels = image.imread(tmp_path / "plot.png")
    assert pixels.shape[:2] == (560, 900)  # 9 x 5.6 inches at 100 dpi
    assert len({tuple(pixel) for row in pixels[::4] for pixel in row[::4]}) > 20  # axes, text, two lines: not blank


def test_command_line(tmp_path, capsys):
    pytest.importorskip("matplotlib")
    commands = [["get", "KVP", "OpMode"], ["info"], ["get", "NoSuchName"],
                ["plot", "KVP", "--seconds", "0", "--out", str(tmp_path / "one.png")]]
    assert [command_line.main(command) for command in commands] == [0, 0, 1, 0]
    out, err = capsys.readouterr()
    lines = out.splitlines()
    assert lines[0:4] == ["KVP                0.032 Arms/rad/sec", "OpMode             2 (SetupS2-1)",
                          "model:          31 (X7102 240Vac 3/9Arms)", "mode:           1 (velocity)"]
    assert lines[-1] == f"1 reads of KVP over 0 s -> {tmp_path / 'one.png'}"
    assert err == "svodb: Invalid parameter: 'NoSuchName' (code 8)\n"
