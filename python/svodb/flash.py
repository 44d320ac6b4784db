"""Programming the drive's configuration flash, with the library's progress
messages handed to a Python callback."""

from __future__ import annotations

import os
import sys
import threading
from typing import Callable, Optional

from . import _core, _library

PROGRESS_MESSAGE = 0x40E
# The handle passed as the "window": on Linux it only comes back to our own
# post handler, which checks it to ignore anything else.
_WINDOW = 0x5D0DB
_flash_lock = threading.Lock()


def _programmer(path: str):
    """The library's function for the file's kind: an .i00 file its I00
    reader, anything else (.isc) the ISC reader."""
    lib = _core.lib()
    return lib.HandleI00File_SVODB if path.lower().endswith(".i00") else lib.HandleISCFile_SVODB


def program(path: os.PathLike, verify: bool, progress: Optional[Callable[[int, int], None]]) -> None:
    """Programs or verifies the flash; raises the family's error on failure."""
    name = os.fspath(path)
    failures = []

    def post(_context, window, message, step, total) -> int:
        if window != _WINDOW or message != PROGRESS_MESSAGE or progress is None:
            return 0
        try:
            progress(int(step), int(total))
        except BaseException as exception:  # pylint: disable=broad-except
            # An exception cannot cross the library; keep it for the caller.
            failures.append(exception)
        return 1

    on_linux = sys.platform != "win32"
    # One flash at a time: the handlers are process-wide in the library.
    with _flash_lock:
        handler = _library.POST_HANDLER(post)
        if on_linux:
            _core.lib().svodb_set_message_handlers(_library.PUMP_HANDLER(), handler, None)
        try:
            result = _programmer(name)(_core.encode(name), int(bool(verify)), _WINDOW if on_linux else 0, 0)
        finally:
            if on_linux:
                # a handler made without a function is the null pointer
                _core.lib().svodb_set_message_handlers(_library.PUMP_HANDLER(), _library.POST_HANDLER(), None)
    _core.check(result)
    if failures:
        raise failures[0]
