"""Parameter files, factory defaults and the line-by-line check of a file
before it goes to the drive. Every value passes the library's own file
reader, so Python reads files exactly as the library does."""

from __future__ import annotations

import ctypes
import dataclasses
import os
import sys
import tempfile
from typing import Dict, List, Tuple, Union

from . import _core
from .drive import Node
from .errors import SUCCESS, OutOfRangeError, SvodbError

USER_FILE_WORD = "Drive--X700_Base_Unit"
MANUFACTURING_FILE_WORD = "Drive--X700_Base_Unit--Mfg"
HEADER_LINES = 4
# The image files are checked and built in; the library stages user files
# for NV memory in node 1 and leaves this one alone.
SCRATCH_NODE = 6
_READ_FILE_CONTEXT = 50000
_CLOSING_STEP_LINE = 99
_LARGEST_MODEL_CODE = 31  # the drive's 5-bit Model field
_SERIAL_LINK, _NETWORK = 1, 2


def _is_skipped(line: str) -> bool:
    stripped = line.strip()
    return not stripped or stripped.startswith("#")


def _split(path: os.PathLike) -> Tuple[List[Tuple[int, str]], List[Tuple[int, str]]]:
    """(header, body) as (line number, text): the header runs up to and with
    the fourth line that is not skipped, as the library reads it."""
    header, body, significant = [], [], 0
    with open(path, "r", encoding="latin-1", newline="") as file:
        for number, line in enumerate(file.read().splitlines(), start=1):
            if significant < HEADER_LINES:
                header.append((number, line))
                significant += 0 if _is_skipped(line) else 1
            else:
                body.append((number, line))
    return header, body


def _first_word(path: os.PathLike) -> str:
    """The file's first word, which tells a manufacturing file; empty for a
    file that cannot be read (the library's reader then says why)."""
    try:
        with open(path, "r", encoding="latin-1") as file:
            return next((line.split()[0] for line in file if not _is_skipped(line)), "")
    except OSError:
        return ""


def _joined(lines: List[Tuple[int, str]]) -> str:
    return "".join(text + "\n" for _, text in lines)


class _Scratch:
    """A temporary file the library reads: a header alone, or a header and
    one line."""

    def __init__(self):
        self._folder = tempfile.TemporaryDirectory(prefix="svodb-")
        self.path = os.path.join(self._folder.name, "check.par")

    def write(self, text: str) -> str:
        with open(self.path, "w", encoding="latin-1", newline="") as file:
            file.write(text)
        return self.path

    def close(self) -> None:
        self._folder.cleanup()


def _load_fresh(node: int, path: str, manufacturing: bool) -> int:
    lib = _core.lib()
    lib.SetupOfflineNode_SVODB(node)
    with _core.selected(node):
        reader = lib.RDFromFileMfg_SVODB if manufacturing else lib.RDFromFileUser_SVODB
        return reader(_core.encode(path))


# ---- the line-by-line check ---------------------------------------------------


@dataclasses.dataclass(frozen=True)
class LineResult:
    """The result of one line of a parameter file loaded on its own behind
    the file's header. ``code`` is the reader's code for the line (1 when
    it loads); ``closing`` marks a line whose value loads but whose command
    scaling cannot be set. Line 0 stands for the header or the whole file."""

    number: int
    text: str
    code: int
    closing: bool = False

    @property
    def ok(self) -> bool:
        return self.code == SUCCESS

    @property
    def message(self) -> str:
        return "" if self.ok else _core.message(self.code)

    def error(self) -> SvodbError:
        error = _core.error(self.code)
        error.message = f"line {self.number} ({self.text}): {error.message}"
        return error


def _line_code(result: int) -> Tuple[int, bool]:
    """The code of a single-line file's result: one line behind the header
    fails as the file's first parameter line (50000 + 100 + code) or in the
    closing step after it (line 99)."""
    inner = result - _READ_FILE_CONTEXT
    if 0 < inner < 10000:
        return inner % 100, inner // 100 == _CLOSING_STEP_LINE
    return result, False


def check_lines(path: os.PathLike, manufacturing: bool = False) -> List[LineResult]:
    """Loads each significant line of the file on its own behind its header
    (the reader stops at the first failing line, so this is how every
    failing line is found), then the file as a whole."""
    header, body = _split(path)
    scratch = _Scratch()
    try:
        code = _load_fresh(SCRATCH_NODE, scratch.write(_joined(header)), manufacturing)
        if code != SUCCESS:
            return [LineResult(0, "(header)", code)]
        results = []
        for number, text in body:
            if _is_skipped(text):
                continue
            code, closing = _line_code(_load_fresh(SCRATCH_NODE, scratch.write(_joined(header) + text + "\n"),
                                                   manufacturing))
            results.append(LineResult(number, " ".join(text.split()), code, closing))
    finally:
        scratch.close()
    whole = _load_fresh(SCRATCH_NODE, os.fspath(path), manufacturing)
    if whole != SUCCESS and all(line.ok for line in results):
        results.append(LineResult(0, "(whole file)", whole))
    return results


def restore_to_nv(path: os.PathLike, manufacturing: bool = False) -> None:
    """Writes a checked file to the drive's NV memory. The library loads a
    user file into node 1 and a manufacturing file into the current node
    and writes the whole set from there: with the drive's NV read into that
    image first, parameters the file does not list keep the drive's values."""
    lib = _core.lib()
    with _core.selected(0 if manufacturing else 1):
        _core.check(lib.RDFromNVMfg_SVODB() if manufacturing else lib.RDFromNVUser_SVODB())
    with _core.selected(0):
        writer = lib.SetMfgParamsNV_SVODBT if manufacturing else lib.SetUserParamsNV_SVODBT
        _core.check(writer(_core.encode(os.fspath(path))))


# ---- models and defaults -------------------------------------------------------


def model_file_label(code: int) -> str:
    """The model's label as a parameter file writes it (e.g.
    "X7102_240Vac_3/9Arms")."""
    lib = _core.lib()
    if 0 <= code <= _LARGEST_MODEL_CODE:
        if sys.platform != "win32":
            label = ctypes.create_string_buffer(_core.LABEL_SIZE)
            if lib.svodb_file_label(b"Model", code, label) == SUCCESS:
                return _core.decode(label)
        else:
            label = ctypes.create_string_buffer(_core.LABEL_SIZE)
            if lib.GetValStr_SVODB(b"Model", code, label):
                return _core.decode(label).replace(" ", "_")
    raise OutOfRangeError(23, f"{_core.message(23)}: no model has the code {code}")


def model_code(model: Union[int, str]) -> int:
    """A model code from a code or the start of its label up to an
    underscore ("X7102"), without regard to case."""
    if isinstance(model, int):
        model_file_label(model)
        return model
    wanted = model.casefold()
    for code in range(_LARGEST_MODEL_CODE + 1):
        try:
            label = model_file_label(code).casefold()
        except OutOfRangeError:
            continue
        if label == wanted or label.startswith(wanted + "_"):
            return code
    raise OutOfRangeError(23, f"{_core.message(23)}: no model is called {model!r}")


def _header(manufacturing: bool, version: int, model: int, network: bool, velocity: bool) -> str:
    word = MANUFACTURING_FILE_WORD if manufacturing else USER_FILE_WORD
    return (
        f"{word}\nFileVersion {version}\nDriveModel {model_file_label(model)} {'(-NET)' if network else '(-STD)'}\n"
        f"ActiveCMDUnits {'Velocity' if velocity else 'Torque/Current'}\n"
    )


def _fresh_image(node: int, model: int, network: bool, logic: int, velocity: bool) -> Node:
    """Makes the node a new image of a drive of this model, connection,
    logic version and command units with the factory defaults. The header of
    a parameter file is how an image takes all of its identity, logic
    version included; LogicVer then chooses the default tables."""
    lib = _core.lib()
    scratch = _Scratch()
    try:
        _core.check(_load_fresh(node, scratch.write(_header(False, logic, model, network, velocity)), False))
    finally:
        scratch.close()
    with _core.selected(node):
        _core.check(lib.PutVariable_SVODB(b"LogicVer", float(logic)))
        _core.check(lib.SetParamsArray_SVODB())
    return Node(node)


def defaults(
    model: Union[int, str] = 31,
    network: bool = False,
    logic: int = 4,
    velocity: bool = True,
    node: int = SCRATCH_NODE,
) -> Node:
    """An offline image (node 6 unless told) holding the factory user and
    manufacturing defaults of a model on a serial link (or the network), of
    a logic version, in velocity (or torque) units."""
    return _fresh_image(_core.require_node(node), model_code(model), network, logic, velocity)


# ---- parameter files ------------------------------------------------------------


@dataclasses.dataclass
class ParameterFile:
    """A parameter file's identity and values (engineering units, enumerated
    values as enum members), in the file's order."""

    model: int
    network: bool
    velocity: bool
    version: int
    values: Dict[str, object]
    manufacturing: bool = False

    @classmethod
    def read(cls, path: os.PathLike, node: int = SCRATCH_NODE) -> "ParameterFile":
        """Reads a file through the library's reader (into offline ``node``);
        a file the reader refuses raises its error."""
        manufacturing = _first_word(path) == MANUFACTURING_FILE_WORD
        _core.check(_load_fresh(_core.require_node(node), os.fspath(path), manufacturing))
        header, body = _split(path)
        significant = [text.split() for _, text in header if not _is_skipped(text)]
        image = Node(node)
        names = [text.split("=")[0].strip() for _, text in body if not _is_skipped(text) and "=" in text]
        return cls(
            model=image.model,
            network=image.drive_type == _NETWORK,
            velocity=image.mode == 1,
            version=int(significant[1][1]),
            values={name: image[name] for name in names},
            manufacturing=manufacturing,
        )

    def image(self, node: int = SCRATCH_NODE) -> Node:
        """The file's values in an offline image that starts from the
        factory defaults of the file's model."""
        image = _fresh_image(_core.require_node(node), self.model, self.network, self.version, self.velocity)
        for name, value in self.values.items():
            image[name] = value
        return image

    def write(self, path: os.PathLike, node: int = SCRATCH_NODE) -> None:
        """Writes the file through the library's writer. Parameters that
        ``values`` does not hold are written with the model's defaults."""
        self.image(node).save_file(path, self.manufacturing)
