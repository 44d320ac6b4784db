"""Finding and binding the svodb library through ctypes.

Every export is declared once, in ``EXPORTS``, in the order and with the
types of ``svodb/svodb.h``; a test reads the header and checks the table
against it, so the two cannot drift apart.
"""

from __future__ import annotations

import ctypes
import os
import sys
import threading
from pathlib import Path
from typing import Callable, NamedTuple, Optional, Sequence

from .errors import LibraryNotFound

LIBRARY_ENVIRONMENT = "SVODB_LIBRARY"

_IS_WINDOWS = sys.platform == "win32"
_IS_WIN32 = _IS_WINDOWS and ctypes.sizeof(ctypes.c_void_p) == 4

# The short type names of the table, as ctypes types. "text" is a const
# char* argument, "buffer" a char* the library writes into; "const ..." marks
# pointers the library only reads.
_TYPES = {
    "void": None,
    "bool": ctypes.c_bool,
    "int32": ctypes.c_int32,
    "uint8": ctypes.c_uint8,
    "uint32": ctypes.c_uint32,
    "uintptr": ctypes.c_size_t,
    "intptr": ctypes.c_ssize_t,
    "double": ctypes.c_double,
    "text": ctypes.c_char_p,
    "buffer": ctypes.c_char_p,
    "int32*": ctypes.POINTER(ctypes.c_int32),
    "uint8*": ctypes.POINTER(ctypes.c_uint8),
    "uint32*": ctypes.POINTER(ctypes.c_uint32),
    "double*": ctypes.POINTER(ctypes.c_double),
    "const uint8*": ctypes.POINTER(ctypes.c_uint8),
    "const uint32*": ctypes.POINTER(ctypes.c_uint32),
}


class Export(NamedTuple):
    """One exported function: its C name, the name a Windows caller imports
    when that differs (the nine decorated stdcall names), result and
    argument types."""

    name: str
    result: str
    arguments: tuple
    windows_name: Optional[str] = None


def _e(name: str, result: str, *arguments: str, windows: Optional[str] = None) -> Export:
    return Export(name, result, tuple(arguments), windows)


# The 98 exports, in the header's order.
# fmt: off
EXPORTS: tuple = (
    _e("DLLCompileTime_SVODB", "void", "buffer"),
    _e("DLLVersion_SVODB", "void", "buffer"),
    _e("NCLVersion_SVODB", "void", "buffer"),
    _e("UsePort", "int32", "int32", "int32", "int32", "int32", "int32", "int32"),
    _e("UsePort2", "int32", "int32", "int32", "int32", "int32", "int32", "uint8", "int32", "int32"),
    _e("UsePort3", "int32", "int32", "int32", "int32", "int32", "int32", "uint8", "int32", "int32",
       "int32", "int32", "int32"),
    _e("ClosePort", "int32"),
    _e("ChangeGetSleepTime_SVODB", "int32", "int32", windows="_ChangeGetSleepTime_SVODB@4"),
    _e("GetMaxNumMotoBusAxes_SVODB", "int32", "int32*"),
    _e("SetNode_SVODB", "int32", "int32"),
    _e("SetupOfflineNode_SVODB", "int32", "int32"),
    _e("Reset_Drive", "int32"),
    _e("ReadUnitFPGA_SVODB", "int32", "int32", "int32*"),
    _e("WriteUnitFPGA_SVODB", "int32", "int32", "int32"),
    _e("ReadUnitEEPROM_SVODB", "int32", "int32", "int32*", "int32*"),
    _e("WriteUnitEEPROM_SVODB", "int32", "int32", "int32", "int32"),
    _e("GetVarNum_SVODB", "int32"),
    _e("GetVarName_SVODB", "bool", "int32", "buffer"),
    _e("GetStdVarName_SVODB", "bool", "text", "buffer"),
    _e("ReadOnly_SVODB", "bool", "text", "uint8*"),
    _e("ForUser_SVODB", "bool", "text", "uint8*"),
    _e("UserNVPara_SVODB", "bool", "text", "uint8*"),
    _e("MfgNVPara_SVODB", "bool", "text", "uint8*"),
    _e("StatVar_SVODB", "bool", "text", "uint8*"),
    _e("TRXSelect_SVODB", "bool", "text", "uint8*"),
    _e("EnabledUnchange_SVODB", "bool", "text", "uint8*"),
    _e("GetValStr_SVODB", "bool", "text", "int32", "buffer"),
    _e("GetIdxStr_SVODB", "bool", "text", "int32", "buffer"),
    _e("GetValIdx_SVODB", "int32", "text", "int32", "int32*"),
    _e("GetIdxVal_SVODB", "int32", "text", "int32", "int32*"),
    _e("GetModel_SVODB", "int32", "int32*"),
    _e("SetModel_SVODB", "int32", "int32"),
    _e("GetModelOnline_SVODB", "int32", "int32*"),
    _e("CKModel_SVODB", "int32"),
    _e("GetMode_SVODB", "int32", "int32*"),
    _e("SetOpMode_SVODB", "int32", "int32"),
    _e("GetModeOnline_SVODB", "int32", "int32*"),
    _e("GetModeOnline_GUI_SVODB", "int32", "int32*", windows="_GetModeOnline_GUI_SVODB@4"),
    _e("SetOpModeOnline_SVODB", "int32", "int32"),
    _e("GetSetupS21_SVODB", "int32", "int32*"),
    _e("SetSetupS21_SVODB", "int32", "int32"),
    _e("GetDriveType_SVODB", "int32", "int32*"),
    _e("SetDriveType_SVODB", "int32", "int32"),
    _e("CKLogicVersion_SVODB", "int32", "uint8*"),
    _e("ParamSupportedByVersion_SVODB", "int32", "text", "text", "int32", "uint8*"),
    _e("GetVariable_SVODB", "int32", "text", "double*"),
    _e("PutVariable_SVODB", "int32", "text", "double"),
    _e("GetProp_SVODB", "int32", "text", "int32*", "double*", "double*", "double*", "buffer"),
    _e("GetVariableOnline_SVODB", "int32", "text", "double*"),
    _e("PutVariableOnline_SVODB", "int32", "text", "double"),
    _e("GetParamEnabled_SVODB", "int32", "text", "int32", "int32*"),
    _e("GetParamStaticOrDynamic_SVODB", "int32", "text", "int32*"),
    _e("Check_gen_of_TRX", "int32", "uint32*", "uint32*", "uint32*"),
    _e("Read_TRX_2_Memory", "int32", "uint32*"),
    _e("Correct_chs", "int32", "uint32"),
    _e("Write_Verify_TRX_2_MDB", "int32", "const uint32*", "const uint8*", "const uint8*",
       windows="_Write_Verify_TRX_2_MDB@12"),
    _e("check_check_sum_all", "int32", windows="_check_check_sum_all@0"),
    _e("compute_check_sum_all", "int32", windows="_compute_check_sum_all@0"),
    _e("LoadShowData_TRXMDB", "int32"),
    _e("GetMotorData_TRXMDB", "int32", "text", "buffer"),
    _e("GetDataUnit_TRXMDB", "int32", "text", "buffer"),
    _e("Read_TRXMDB", "int32", "uint32*"),
    _e("Check_TRXMDB", "int32", "const uint32*", "uint32*", "uint32*", "uint32*", "uint32*"),
    _e("Read_TRXFPGA", "int32", "uint32*"),
    _e("Write_Verify_TRXMDB", "int32", "const uint32*", "uint32*", "uint32*", "uint32*", "uint32*"),
    _e("Write_TRXMDB", "int32", "const uint32*"),
    _e("Write_TRX", "int32", "text", "double"),
    _e("Read_TRX", "int32", "text", "double*"),
    _e("Write_Verify_TRXMDB_v2", "int32", "const uint32*", "const uint32*", "const uint32*"),
    _e("RDFromDriveUser_SVODB", "int32"),
    _e("RDFromDriveMfg_SVODB", "int32"),
    _e("WRToDriveUser_SVODB", "int32"),
    _e("WRToDriveMfg_SVODB", "int32"),
    _e("RDFromNVUser_SVODB", "int32"),
    _e("RDFromNVMfg_SVODB", "int32"),
    _e("WRToNVUser_SVODB", "int32"),
    _e("WRToNVMfg_SVODB", "int32"),
    _e("SetDefaultUser_SVODB", "int32"),
    _e("SetDefaultMfg_SVODB", "int32"),
    _e("WRToFileUser_SVODB", "int32", "text"),
    _e("WRToFileMfg_SVODB", "int32", "text"),
    _e("RDFromFileUser_SVODB", "int32", "text"),
    _e("RDFromFileMfg_SVODB", "int32", "text"),
    _e("SetUserParamsNV_SVODBT", "int32", "text"),
    _e("SetMfgParamsNV_SVODBT", "int32", "text"),
    _e("GetUserParamsNV_SVODBT", "int32", "text"),
    _e("GetMfgParamsNV_SVODBT", "int32", "text"),
    _e("SetParamsArray_SVODB", "int32"),
    _e("HandleISCFile_SVODB", "int32", "text", "uint8", "uintptr", "int32"),
    _e("HandleI00File_SVODB", "int32", "text", "uint8", "uintptr", "int32"),
    _e("EraseFlash_SVODB", "int32"),
    _e("ConfigFlash_SVODB", "int32", windows="_ConfigFlash_SVODB@0"),
    _e("ErrorMessage_SVODB", "void", "int32", "buffer"),
    _e("GetFaultHistory_SVODB", "int32", "int32", "int32", "uint8*", windows="_GetFaultHistory_SVODB@12"),
    _e("GetParmMeanRMS_SVODB", "int32", "text", "int32", "double*", "double*", "buffer"),
    _e("GetParmMeanRMS_SVODBT", "int32", "text", "int32", "double*", "double*"),
    _e("GetStringOnline_SVODB", "int32", "text", "int32", "buffer", windows="_GetStringOnline_SVODB@12"),
    _e("PutStringOnline_SVODB", "int32", "text", "text", windows="_PutStringOnline_SVODB@8"),
)
# fmt: on

# The post handler of svodb/svodb_linux.h; the pump handler is not used:
# nothing in this package runs a message loop that would need pumping.
POST_HANDLER = ctypes.CFUNCTYPE(
    ctypes.c_int, ctypes.c_void_p, ctypes.c_size_t, ctypes.c_uint32, ctypes.c_size_t, ctypes.c_ssize_t
)
PUMP_HANDLER = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p)
NOW_HANDLER = ctypes.CFUNCTYPE(ctypes.c_uint32, ctypes.c_void_p)
SLEEP_HANDLER = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_uint32)
# The line handler of svodb_read_file_lines; the line comes as a pointer.
FILE_LINE_HANDLER = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p)

# The functions of the Linux library only (svodb/svodb_linux.h).
LINUX_EXPORTS: tuple = (
    _e("svodb_set_message_handlers", "void", "pump handler", "post handler", "void*"),
    _e("svodb_set_clock_handlers", "void", "now handler", "sleep handler", "void*"),
    _e("svodb_file_label", "int32", "text", "int32", "buffer"),
    _e("svodb_read_file_lines", "int32", "text", "file line handler", "void*"),
)
# Beyond the 98, on Linux and Windows alike (svodb_ext.h).
EXTENSION_EXPORTS: tuple = (
    _e("svodb_transport_status", "int32", "buffer", "int32"),
)
_TYPES.update({"pump handler": PUMP_HANDLER, "post handler": POST_HANDLER, "now handler": NOW_HANDLER,
               "sleep handler": SLEEP_HANDLER, "file line handler": FILE_LINE_HANDLER,
               "void*": ctypes.c_void_p})


def _library_file_names() -> Sequence[str]:
    if _IS_WINDOWS:
        return ("svodb.dll",)
    if sys.platform == "darwin":
        return ("libsvodb.1.dylib", "libsvodb.dylib")
    return ("libsvodb.so.1", "libsvodb.so")


def _installed_candidates() -> list:
    """Where an installation puts the library, seen from this package: the
    package's folder (a Windows DLL beside it), and the prefix it was
    installed under (…/lib/python3.X/site-packages/svodb → …/lib and the
    multiarch …/lib/<triplet>) or a folder beside it."""
    package = Path(__file__).resolve().parent
    folders = [package]
    for parent in list(package.parents)[:5]:
        folders += [parent, parent / "lib", parent / "lib64"]
        if hasattr(sys.implementation, "_multiarch"):
            folders.append(parent / "lib" / sys.implementation._multiarch)
    return [folder / name for folder in folders for name in _library_file_names()]


def find_library(build_tree: Optional[os.PathLike] = None) -> str:
    """The path (or loader name) of the library to load.

    ``SVODB_LIBRARY`` first, then the installed location, then the standard
    loader search, then ``<build_tree>/bin`` when a build tree is given."""
    explicit = os.environ.get(LIBRARY_ENVIRONMENT)
    if explicit:
        return explicit
    for candidate in _installed_candidates():
        if candidate.is_file():
            return str(candidate)
    for name in _library_file_names():
        try:
            ctypes.CDLL(name)
            return name
        except OSError:
            continue
    if build_tree is not None:
        for name in _library_file_names():
            candidate = Path(build_tree) / "bin" / name
            if candidate.is_file():
                return str(candidate)
    raise LibraryNotFound(
        f"cannot find the svodb library: set {LIBRARY_ENVIRONMENT} to its path, install it, "
        "or call svodb.load(build_tree=...)"
    )


class Library:
    """The loaded library with every export bound under its C name."""

    def __init__(self, path: str):
        loader = ctypes.WinDLL if _IS_WIN32 else ctypes.CDLL
        self.path = path
        self.handle = loader(path)
        for export in EXPORTS + EXTENSION_EXPORTS + (() if _IS_WINDOWS else LINUX_EXPORTS):
            setattr(self, export.name, self._bind(export))

    def _bind(self, export: Export) -> Callable:
        function = getattr(self.handle, export.windows_name if _IS_WINDOWS and export.windows_name else export.name)
        function.restype = _TYPES[export.result]
        function.argtypes = [_TYPES[argument] for argument in export.arguments]
        return function


_loaded: Optional[Library] = None
_load_lock = threading.Lock()


def load(path: Optional[str] = None, build_tree: Optional[os.PathLike] = None) -> Library:
    """The process's library, loaded on first use (from ``path`` when given,
    else as ``find_library`` finds it). Later calls return the same one:
    the library's state (nodes, connection) is process-wide."""
    global _loaded
    with _load_lock:
        if _loaded is None:
            library = Library(path or find_library(build_tree))
            # svodb binds its transport once, at the first call that needs
            # it, so the transport is loaded before any call can.
            transport = _default_transport(library.path)
            if transport is not None:
                load_transport(transport)
            _loaded = library
        return _loaded


TRANSPORT_FILE_NAME = "CommSVODB.dll" if _IS_WINDOWS else "libCommSVODB.so"
TRANSPORT_ENVIRONMENT = "SVODB_TRANSPORT"


def _default_transport(library_path: str) -> Optional[Path]:
    """``SVODB_TRANSPORT``, else the virtual drive's transport lying beside
    the svodb library (a build tree) or in its private folder ``svodb/``
    beside it (an installation), as the svodb tool chooses it."""
    explicit = os.environ.get(TRANSPORT_ENVIRONMENT)
    if explicit:
        return Path(explicit)
    if os.path.dirname(library_path) == "":
        return None  # found by the loader's search: the loader finds the transport too
    folder = Path(library_path).parent
    for candidate in (folder / TRANSPORT_FILE_NAME, folder / "svodb" / TRANSPORT_FILE_NAME):
        if candidate.is_file():
            return candidate
    return None


def load_transport(path: os.PathLike) -> None:
    """Loads a transport library so that svodb binds it: svodb looks the
    transport up by its soname (libCommSVODB.so) at the first call that
    needs it, and a library already loaded under that name is the one it
    gets. Once svodb has bound a transport it keeps it for the process. Windows finds CommSVODB.dll by the DLL search path instead, so the
    transport's folder is added to it."""
    if _IS_WINDOWS:
        os.add_dll_directory(str(Path(path).resolve().parent))
        return
    ctypes.CDLL(str(path), mode=ctypes.RTLD_GLOBAL)
