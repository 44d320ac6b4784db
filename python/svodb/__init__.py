"""svodb from Python: the parameter database of the servo drive family.

>>> import svodb
>>> with svodb.Drive(port=1) as drive:
...     drive["KVP"] = 0.05
...     print(drive["KVP"], drive.unit("KVP"), drive["OpMode"])

The package calls the svodb library through ctypes. It finds the library
through the ``SVODB_LIBRARY`` environment variable, then where it was
installed, then the system's loader; ``svodb.load(build_tree=...)`` names a
build tree.
"""

from ._library import EXPORTS, find_library, load
from .catalogue import Variable, catalogue
from .drive import Drive, FaultRecord, Info, Node, Properties, Recording, Sample
from .errors import (
    Base,
    Context,
    DriveConnectionError,
    DriveError,
    LibraryNotFound,
    OutOfRangeError,
    ParameterFileError,
    SvodbError,
    UnknownParameterError,
)
from .files import LineResult, ParameterFile, defaults
from .motor_data import MotorData
from ._core import message

__version__ = "1.60.0"


def version() -> str:
    """The transport's version text, " and ", then the library's version."""
    from . import _core

    return _core.text_of(_core.lib().DLLVersion_SVODB, _core.VERSION_SIZE)


def transport_status() -> tuple:
    """Whether the transport library loaded, and why not: (state, text), where
    state is 0 (not found; the text names every place looked at), 1 (loaded;
    the text is its path) or 2 (loaded, some functions missing)."""
    import ctypes

    from . import _core

    text = ctypes.create_string_buffer(1024)
    state = _core.lib().svodb_transport_status(text, len(text))
    return state, text.value.decode("latin-1")


__all__ = [
    "Base", "Context", "Drive", "DriveConnectionError", "DriveError", "EXPORTS", "FaultRecord", "Info",
    "LibraryNotFound", "LineResult", "MotorData", "Node", "OutOfRangeError", "ParameterFile",
    "ParameterFileError", "Properties", "Recording", "Sample", "SvodbError", "UnknownParameterError",
    "Variable", "catalogue", "defaults", "find_library", "load", "message", "transport_status", "version",
]
