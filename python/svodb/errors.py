"""Result codes as Python exceptions.

A result code is context * 10000 + detail * 100 + base (codes of the
transport pass through unchanged as plain bases). The base says what kind
of failure it was and chooses the exception class; the message is always
the library's own text for the whole code.
"""

from __future__ import annotations

import enum
from typing import Dict, Type

SUCCESS = 1


class Base(enum.IntEnum):
    """The kinds of failure (the base of a result code)."""

    NO_RESPONSE = 0
    NO_SUCH_PORT = 2
    OUTPUT_ERROR = 3
    WRONG_ADDRESS = 4
    WRONG_DATA = 5
    FPGA_ERROR = 6
    ADDRESS_MISMATCH = 7
    INVALID_PARAMETER = 8
    WRONG_MODEL = 9
    TRANSFER_ERROR = 10
    WRONG_LOGIC_VERSION = 11
    TEXT_TOO_LONG = 12
    NOT_READY = 16
    WRONG_DATA_TYPE = 21
    WRONG_OP_MODE = 22
    OUT_OF_RANGE = 23
    NOT_FINISHED = 25
    CANNOT_OPEN_FILE = 31
    WRONG_FILE_FORMAT = 32
    WRONG_FILE_VERSION = 33
    WRONG_TRX_DATA = 40
    TRX_CHECKSUM = 41
    TRX_READ_BACK = 42
    TRX_NOT_READY = 49
    TRX_DIAGNOSTICS_ON = 50
    TRX_DIAGNOSTICS_OFF = 51
    TRX_EEPROM_READY = 52
    SYSTEM_ERROR = 99


class Context(enum.IntEnum):
    """The whole-set operation during which a composed code failed."""

    NONE = 0
    LOADING_FROM_FPGA = 1
    SENDING_TO_FPGA = 2
    LOADING_FROM_NV = 3
    SENDING_TO_NV = 4
    READING_FILE = 5
    WRITING_FILE = 6
    ERASING_NV = 7
    GETTING_MODE_OR_MODEL = 8
    CHECKING_LOGIC_VERSION = 9
    LOADING_DEFAULTS = 10


def split(code: int) -> tuple:
    """(context, detail, base) of a code, by truncating division as the
    library splits it (a negative code gives a negative base)."""
    magnitude, sign = abs(code), (-1 if code < 0 else 1)
    return sign * (magnitude // 10000), sign * (magnitude // 100 % 100), sign * (magnitude % 100)


class LibraryNotFound(OSError):
    """The svodb library could not be found or loaded."""


class SvodbError(Exception):
    """A result code other than success, with the library's message."""

    def __init__(self, code: int, message: str):
        super().__init__(code, message)
        self.code = code
        self.message = message
        self.context, self.detail, self.base = split(code)

    def __str__(self) -> str:
        return f"{self.message} (code {self.code})"


class DriveConnectionError(SvodbError, ConnectionError):
    """The drive did not answer, or the port or network could not be used."""


class UnknownParameterError(SvodbError, KeyError):
    """A name the catalogue does not know, or a value of the wrong kind."""

    __str__ = SvodbError.__str__


class OutOfRangeError(SvodbError, ValueError):
    """A value, node, mode or switch setting outside what is allowed."""


class ParameterFileError(SvodbError, OSError):
    """A file that cannot be opened, or whose format or version is wrong."""

    __str__ = SvodbError.__str__


class DriveError(SvodbError):
    """The drive or its feedback device refused, disagreed or did not
    finish: transfers, model and logic checks, motor data, flash."""


_FAMILIES: Dict[Type[SvodbError], tuple] = {
    DriveConnectionError: (Base.NO_RESPONSE, Base.NO_SUCH_PORT, Base.OUTPUT_ERROR),
    UnknownParameterError: (Base.INVALID_PARAMETER, Base.WRONG_DATA_TYPE),
    OutOfRangeError: (Base.WRONG_OP_MODE, Base.OUT_OF_RANGE, Base.TEXT_TOO_LONG),
    ParameterFileError: (Base.CANNOT_OPEN_FILE, Base.WRONG_FILE_FORMAT, Base.WRONG_FILE_VERSION),
    DriveError: (
        Base.WRONG_ADDRESS, Base.WRONG_DATA, Base.FPGA_ERROR, Base.ADDRESS_MISMATCH, Base.WRONG_MODEL,
        Base.TRANSFER_ERROR, Base.WRONG_LOGIC_VERSION, Base.NOT_READY, Base.NOT_FINISHED,
        Base.WRONG_TRX_DATA, Base.TRX_CHECKSUM, Base.TRX_READ_BACK, Base.TRX_NOT_READY,
        Base.TRX_DIAGNOSTICS_ON, Base.TRX_DIAGNOSTICS_OFF, Base.TRX_EEPROM_READY,
    ),
}
_CLASS_OF_BASE = {int(base): family for family, bases in _FAMILIES.items() for base in bases}


def error_class(code: int) -> Type[SvodbError]:
    """The exception class for a code, chosen by its base."""
    return _CLASS_OF_BASE.get(split(code)[2], SvodbError)
