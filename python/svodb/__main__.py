"""python -m svodb: the command-line tool's read-only commands for users
who have only Python, and a plot of live values.

    python -m svodb info
    python -m svodb get KVP VelFB
    python -m svodb vars [--json]
    python -m svodb plot KVP VelFB --seconds 5 [--rate 10] [--out plot.png]
"""

from __future__ import annotations

import argparse
import dataclasses
import json
import sys
from typing import List, Optional

from . import _library
from .catalogue import catalogue
from .drive import Drive
from .errors import LibraryNotFound, SvodbError

EXIT_OK, EXIT_FAILURE, EXIT_USAGE = 0, 1, 2


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(prog="python -m svodb", description="svodb from Python")
    parser.add_argument("--port", type=int, default=1, help="serial port (default 1)")
    parser.add_argument("--baud", type=int, default=19200, help="baud rate (default 19200)")
    parser.add_argument("--network", help="network connection A,B[,C,D[,E,F,G]] instead of a port")
    parser.add_argument("--transport", help="the transport library to load")
    parser.add_argument("--library", help="the svodb library to load (else SVODB_LIBRARY, then installed)")
    commands = parser.add_subparsers(dest="command", required=True)
    commands.add_parser("info", help="the connected drive's model, mode, versions and serial number")
    get = commands.add_parser("get", help="variables of the drive in engineering units")
    get.add_argument("names", nargs="+")
    variables = commands.add_parser("vars", help="the variable catalogue")
    variables.add_argument("--json", action="store_true")
    plot = commands.add_parser("plot", help="monitor variables and draw them into a PNG")
    plot.add_argument("names", nargs="+")
    plot.add_argument("--seconds", type=float, default=5.0)
    plot.add_argument("--rate", type=float, default=10.0, help="reads per second (default 10)")
    plot.add_argument("--out", default="svodb-plot.png")
    return parser


def _network(text: Optional[str]) -> Optional[List[int]]:
    return None if text is None else [int(part) for part in text.split(",")]


def _drive(options: argparse.Namespace) -> Drive:
    return Drive(options.port, options.baud, _network(options.network), options.transport)


def _info(options: argparse.Namespace) -> None:
    with _drive(options) as drive:
        info = drive.info
    print(f"model:          {info.model} ({info.model_label})")
    print(f"mode:           {info.mode} ({'velocity' if info.mode == 1 else 'torque'})")
    print(f"logic version:  {info.logic_version:g}")
    print(f"version text:   {info.version_text}")
    print(f"serial number:  {info.serial_number}")


def _shown(value) -> str:
    if hasattr(value, "name") and hasattr(value, "value"):
        return f"{value.value} ({value.name})"
    return f"{value:.10g}" if isinstance(value, float) else str(value)


def _get(options: argparse.Namespace) -> None:
    with _drive(options) as drive:
        for name in options.names:
            print(f"{name:<18} {_shown(drive[name])} {drive.unit(name)}".rstrip())


def _flag_letters(variable) -> str:
    flags = (variable.read_only, variable.status, variable.from_feedback_device, variable.fixed_while_enabled,
             variable.user_parameter, variable.kept_in_nv)
    return "".join(letter if flag else "-" for letter, flag in zip("RSTEUN", flags))


def _vars(options: argparse.Namespace) -> None:
    variables = catalogue()
    if options.json:
        print(json.dumps([dataclasses.asdict(variable) for variable in variables], indent=1))
        return
    print(f"{'Pos':>3}  {'Name':<18}  {'Units':<20}  Flags   Description")
    for v in variables:
        print(f"{v.position:>3}  {v.name:<18}  {v.units:<20}  {_flag_letters(v)}  {v.description}")
    print("\nFlags: R read-only, S status, T from the motor's feedback device, E fixed while enabled, "
          "U user parameter, N kept in NV memory")


def _plot(options: argparse.Namespace) -> None:
    from .plot import plot_recording

    with _drive(options) as drive:
        recording = drive.monitor(options.names, options.seconds, options.rate)
    plot_recording(recording, options.out)
    print(f"{len(recording.times)} reads of {', '.join(options.names)} over {options.seconds:g} s -> {options.out}")


_COMMANDS = {"info": _info, "get": _get, "vars": _vars, "plot": _plot}


def main(arguments: Optional[List[str]] = None) -> int:
    options = _parser().parse_args(arguments)
    try:
        _library.load(options.library)
        _COMMANDS[options.command](options)
    except (SvodbError, LibraryNotFound, ImportError) as error:
        print(f"svodb: {error}", file=sys.stderr)
        return EXIT_FAILURE
    except ValueError as error:  # a network argument that is not numbers
        print(f"svodb: {error}", file=sys.stderr)
        return EXIT_USAGE
    return EXIT_OK


if __name__ == "__main__":
    sys.exit(main())
