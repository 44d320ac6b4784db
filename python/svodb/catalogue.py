"""The variable catalogue as dataclasses.

Names, positions, flags and enumeration labels come from the library. The C
interface has no export for the descriptions, the unit columns and the
user/NV flags, so the package carries them in ``catalogue.json``, the output
of ``svodb vars --json``; a test compares the two so they cannot drift.
"""

from __future__ import annotations

import ctypes
import dataclasses
import functools
import json
from pathlib import Path
from typing import Dict, List, Tuple

from . import _core

_TEXT_FILE = Path(__file__).with_name("catalogue.json")


@dataclasses.dataclass(frozen=True)
class Variable:
    """One variable of the catalogue."""

    position: int
    name: str
    units: str
    description: str
    read_only: bool
    status: bool
    from_feedback_device: bool
    fixed_while_enabled: bool
    user_parameter: bool
    kept_in_nv: bool
    labels: Tuple[Tuple[int, str], ...]

    @property
    def enumerated(self) -> bool:
        return bool(self.labels)


@functools.lru_cache(maxsize=1)
def _texts() -> Dict[str, dict]:
    with open(_TEXT_FILE, encoding="utf-8") as file:
        return {row["name"]: row for row in json.load(file)}


def _flag(query, name: bytes) -> bool:
    value = ctypes.c_uint8(0)
    return bool(query(name, ctypes.byref(value))) and value.value != 0


def _variable(position: int, name: str) -> Variable:
    lib, raw = _core.lib(), _core.encode(name)
    text = _texts().get(name, {"units": "", "flags": {}, "description": ""})
    return Variable(
        position=position,
        name=name,
        units=text["units"],
        description=text["description"],
        read_only=_flag(lib.ReadOnly_SVODB, raw),
        status=_flag(lib.StatVar_SVODB, raw),
        from_feedback_device=_flag(lib.TRXSelect_SVODB, raw),
        fixed_while_enabled=_flag(lib.EnabledUnchange_SVODB, raw),
        user_parameter=bool(text["flags"].get("user_parameter")),
        kept_in_nv=bool(text["flags"].get("kept_in_nv")),
        labels=tuple(_core.labels(name)),
    )


def catalogue(node: int = 1) -> List[Variable]:
    """The catalogue's variables in catalogue order. Enumeration labels are
    those of ``node``'s image (1 by default: an offline image, so the drive
    is not asked); the labels of a few variables follow the image's model
    and mode."""
    lib = _core.lib()
    variables = []
    with _core.selected(_core.require_node(node)):
        for position in range(1, lib.GetVarNum_SVODB() + 1):
            name = ctypes.create_string_buffer(_core.NAME_SIZE)
            if lib.GetVarName_SVODB(position, name):
                variables.append(_variable(position, _core.decode(name)))
    return variables
