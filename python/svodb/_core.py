"""Small helpers every part of the package shares: calling an export and
turning its code into an exception, texts in and out, and the current node.

Every call makes its own ctypes buffers, so no buffer is ever shared between
threads; the library serialises the calls themselves.
"""

from __future__ import annotations

import contextlib
import ctypes
import enum
import functools
import threading
from typing import Iterator, List, Optional, Tuple

from . import _library
from .errors import SUCCESS, OutOfRangeError, UnknownParameterError, error_class

MESSAGE_SIZE = 120
NAME_SIZE = 19
UNIT_SIZE = 14
LABEL_SIZE = 43
COMPOSED_LABEL_SIZE = 226
VERSION_SIZE = 60
COMPILE_TIME_SIZE = 21
ONLINE_TEXT_SIZE = 25
NODE_COUNT = 7

# The offline functions work on the library's one current node. Selecting a
# node and calling the function must not be split by another thread doing the
# same for a different node, so the pair runs under this lock.
_node_lock = threading.RLock()


def lib() -> _library.Library:
    return _library.load()


def encode(text: str) -> bytes:
    return text.encode("latin-1")


def decode(buffer: ctypes.Array) -> str:
    return buffer.value.decode("latin-1")


def message(code: int) -> str:
    """The library's English message for any result code."""
    buffer = ctypes.create_string_buffer(MESSAGE_SIZE)
    lib().ErrorMessage_SVODB(code, buffer)
    return decode(buffer)


def error(code: int):
    """The exception for a result code other than success."""
    return error_class(code)(code, message(code))


def check(code: int) -> None:
    """Raises the family's exception unless the code is success."""
    if code != SUCCESS:
        raise error(code)


def text_of(function, size: int, *arguments) -> str:
    """Calls a function that fills a text buffer as its last argument."""
    buffer = ctypes.create_string_buffer(size)
    function(*arguments, buffer)
    return decode(buffer)


@contextlib.contextmanager
def selected(node: int) -> Iterator[None]:
    """Makes ``node`` the library's current node for the calls inside."""
    with _node_lock:
        check(lib().SetNode_SVODB(node))
        yield


def require_node(node: int) -> int:
    if not 0 <= node < NODE_COUNT:
        raise OutOfRangeError(23, f"{message(23)}: node {node} is not 0 to 6")
    return node


def standard_name(name: str) -> str:
    """The catalogue's spelling of a name (the enumeration and availability
    functions compare names exactly)."""
    buffer = ctypes.create_string_buffer(NAME_SIZE)
    if not lib().GetStdVarName_SVODB(encode(name), buffer):
        raise UnknownParameterError(8, f"{message(8)}: {name!r}")
    return decode(buffer)


# ---- enumerated values ---------------------------------------------------

_NO_VALUE = -(2**31)
_MOST_ENTRIES = 256


def labels(name: str) -> List[Tuple[int, str]]:
    """(value, display label) of the enumerated variable on the current node,
    in the list's order; empty for a variable without a list. An entry the
    drive cannot have (no label at its index) is left out."""
    entries = []
    raw_name = encode(name)
    for index in range(_MOST_ENTRIES):
        value = ctypes.c_int32(_NO_VALUE)
        # The result is the value itself, so only "nothing written" tells
        # the end of the list (or no list at all).
        lib().GetIdxVal_SVODB(raw_name, index, ctypes.byref(value))
        if value.value == _NO_VALUE:
            break
        label = ctypes.create_string_buffer(COMPOSED_LABEL_SIZE)
        if lib().GetIdxStr_SVODB(raw_name, index, label):
            entries.append((value.value, decode(label)))
    return entries


class Label(enum.IntEnum):
    """The base of every variable's enumeration: a number that prints as its
    label."""

    def __str__(self) -> str:
        return self.name

    def __format__(self, layout: str) -> str:
        return format(self.name, layout)


@functools.lru_cache(maxsize=256)
def _enum_class(name: str, entries: Tuple[Tuple[int, str], ...]) -> type:
    members, seen = [], set()
    for value, label in entries:
        if label not in seen:  # a repeated label names the first value
            seen.add(label)
            members.append((label, value))
    return Label(name, members)


def enum_class(name: str) -> Optional[type]:
    """An IntEnum of the variable's labels on the current node (members are
    looked up by label, ``cls["Velocity"]``), or None without a list."""
    entries = labels(name)
    return _enum_class(name, tuple(entries)) if entries else None


def as_member(name: str, value: float):
    """The engineering value as a member of the variable's enumeration on the
    current node; the plain number when it has no list or no such value."""
    cls = enum_class(name)
    if cls is None or value != int(value):
        return value
    try:
        return cls(int(value))
    except ValueError:
        return value


def from_label(name: str, value) -> float:
    """A value to write: numbers pass, a label (display or file form, with
    underscores for blanks; case does not matter) becomes its value."""
    if not isinstance(value, str):
        return float(value)
    wanted = value.replace("_", " ").casefold()
    for number, label in labels(name):
        if label.replace("_", " ").casefold() == wanted:
            return float(number)
    raise OutOfRangeError(23, f"{message(23)}: {name} has no label {value!r}")
