"""The motor data block: the 384-byte nameplate in the memory of the motor's
feedback device, reached through the drive."""

from __future__ import annotations

import ctypes
import dataclasses
from typing import Optional, Sequence, Tuple

from . import _core
from .errors import SUCCESS

BLOCK_SIZE = 384
FIELD_TEXT_SIZE = 47
NOT_SET = 99999
_BLOCK = ctypes.c_uint32 * BLOCK_SIZE


def is_valid(block: Sequence[int]) -> bool:
    """Whether the library would take the block: 384 bytes whose sum has
    the low byte 255."""
    return len(block) == BLOCK_SIZE and all(0 <= v <= 255 for v in block) and sum(block) & 0xFF == 0xFF


def _block(values: Sequence[int]) -> ctypes.Array:
    if len(values) != BLOCK_SIZE:
        raise ValueError(f"a motor data block has {BLOCK_SIZE} values, not {len(values)}")
    return _BLOCK(*values)


@dataclasses.dataclass(frozen=True)
class Generation:
    """The feedback device's generation (1, 2, or 255 not recognised), the
    link speed the drive allows (115 or 19 for 115200 or 19200 baud) and
    whether the library can write the device."""

    generation: int
    link_speed: int
    supported: bool


class MotorData:
    """``drive.motor_data``: read, check and write the block. Each operation
    blocks for seconds (the drive's own pauses)."""

    def read(self) -> list:
        """The drive's copy of the block (about 4 s)."""
        block = _BLOCK()
        _core.check(_core.lib().Read_TRXMDB(block))
        return list(block)

    def check(self, block: Sequence[int]) -> int:
        """Compares the drive's copy with the block; returns how many bytes
        had to be read again. On a difference the error names the byte."""
        retries, index, read, expected = (ctypes.c_uint32(NOT_SET) for _ in range(4))
        result = _core.lib().Check_TRXMDB(
            _block(block), ctypes.byref(retries), ctypes.byref(index), ctypes.byref(read), ctypes.byref(expected)
        )
        if result != SUCCESS:
            error = _core.error(result)
            if index.value != NOT_SET:
                error.message += f": byte {index.value} reads {read.value}, expected {expected.value}"
            raise error
        return retries.value

    def write(self, block: Sequence[int], a: Optional[int] = None, b: Optional[int] = None) -> None:
        """Writes the block with the writer for the device's generation and
        verifies it. ``a`` and ``b`` are the device bytes the generation-2
        writer places beside the block (and ``b`` the generation-1
        RDSINOffset); without them the block goes to a generation-1 device
        as a whole."""
        lib = _core.lib()
        if a is None or b is None:
            _core.check(lib.Write_TRXMDB(_block(block)))
            return
        _core.check(lib.Write_Verify_TRXMDB_v2(_block(block), ctypes.byref(ctypes.c_uint32(a)),
                                               ctypes.byref(ctypes.c_uint32(b))))

    def generation(self) -> Generation:
        """Asks the feedback device which generation it is."""
        generation, speed, supported = ctypes.c_uint32(), ctypes.c_uint32(), ctypes.c_uint32()
        _core.check(_core.lib().Check_gen_of_TRX(ctypes.byref(generation), ctypes.byref(speed),
                                                 ctypes.byref(supported)))
        return Generation(generation.value, speed.value, bool(supported.value))

    def field(self, name: str, reload: bool = True) -> Tuple[str, str]:
        """A field of the block as the library shows it, with its unit, e.g.
        ``field("Kt")`` -> ("0.50000", "N-m/Arms"). ``reload`` reads the
        drive's copy of the block first."""
        lib = _core.lib()
        if reload:
            _core.check(lib.LoadShowData_TRXMDB())
        text = ctypes.create_string_buffer(FIELD_TEXT_SIZE)
        _core.check(lib.GetMotorData_TRXMDB(_core.encode(name), text))
        unit = ctypes.create_string_buffer(_core.UNIT_SIZE)
        _core.check(lib.GetDataUnit_TRXMDB(_core.encode(name), unit))
        return _core.decode(text).strip(), _core.decode(unit).strip()
