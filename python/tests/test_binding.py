"""The signature table against the public headers, the catalogue texts the
package carries against the tool's, and result codes as exceptions of their
family with the library's words."""

import json
import os
import re
import subprocess

import pytest

from conftest import source_file, tool_environment
import svodb
from svodb import _core, _library, errors

# C types of the headers as the table names them.
_C_TYPES = {
    "void": "void", "bool": "bool", "int32_t": "int32", "uint8_t": "uint8", "uint32_t": "uint32",
    "uintptr_t": "uintptr", "intptr_t": "intptr", "double": "double", "const char*": "text", "char*": "buffer",
    "int32_t*": "int32*", "uint8_t*": "uint8*", "uint32_t*": "uint32*", "double*": "double*",
    "const uint8_t*": "const uint8*", "const uint32_t*": "const uint32*", "void*": "void*",
    "svodb_pump_handler": "pump handler", "svodb_post_handler": "post handler",
    "svodb_now_handler": "now handler", "svodb_sleep_handler": "sleep handler",
    "svodb_file_line_handler": "file line handler",
}
_DECLARATION = re.compile(r"SVODB_API\s+([\w ]+?\**)\s*(?:SVODB_CALL\s+)?(\w+)\s*\(([^)]*)\)\s*;", re.S)


def declarations(header: str):
    with open(header, encoding="utf-8") as file:
        text = re.sub(r"/\*.*?\*/", "", file.read(), flags=re.S)
    for result, name, arguments in _DECLARATION.findall(text):
        # An argument's type is its words but the last, the parameter's name ("void" has none).
        types = [" ".join(a.replace("*", " * ").split()[:-1]).replace(" *", "*") for a in arguments.split(",")]
        yield name, _C_TYPES[result.strip().replace(" *", "*")], tuple(_C_TYPES[t] for t in types if t)


@pytest.mark.parametrize("header, table", [("svodb.h", _library.EXPORTS), ("svodb_linux.h", _library.LINUX_EXPORTS),
                                           ("svodb_ext.h", _library.EXTENSION_EXPORTS)])
def test_table_matches_header(header, table):
    declared = list(declarations(os.path.join(source_file("SVODB_HEADER_DIR"), header)))
    assert [(e.name, e.result, e.arguments) for e in table] == declared


def test_table_has_the_listed_exports_with_the_nine_decorated_windows_names():
    with open(source_file("SVODB_EXPORT_LIST"), encoding="utf-8") as file:
        listed = [line.split()[0] for line in file if line.strip() and not line.startswith("#")]
    decorated = sorted(name for name in listed if name.startswith("_"))
    assert (len(_library.EXPORTS), len(decorated)) == (98, 9)
    assert sorted(e.windows_name for e in _library.EXPORTS if e.windows_name) == decorated
    plain = {e.windows_name or e.name for e in _library.EXPORTS}
    assert plain | {e.name for e in _library.LINUX_EXPORTS + _library.EXTENSION_EXPORTS} == set(listed)


def test_catalogue_texts_are_the_tools_and_the_transport_is_the_virtual_drive():
    shown = subprocess.run([source_file("SVODB_TOOL"), "vars", "--json"], check=True, capture_output=True,
                           text=True, env=tool_environment()).stdout
    with open(os.path.join(os.path.dirname(_library.__file__), "catalogue.json"), encoding="utf-8") as file:
        # Regenerate with: svodb vars --json > python/svodb/catalogue.json
        assert json.load(file) == json.loads(shown)
    state, text = svodb.transport_status()
    assert state == 1 and os.path.samefile(text, source_file("SVODB_TRANSPORT"))


@pytest.mark.parametrize("code, family, kind, message", [
        (80000, svodb.DriveConnectionError, ConnectionError, "No Response from drive when geting drive mode or model"),
        (10008, svodb.UnknownParameterError, KeyError, "Invalid parameter when loading from FPGA"),
        (100923, svodb.OutOfRangeError, ValueError, "Data is out of range when loading default value"),
        (50731, svodb.ParameterFileError, OSError, "Can't open file when reading file at No.7 variable"),
        (41, svodb.DriveError, svodb.DriveError, "Wrong Checksum of TRX data"),
        (-1, svodb.SvodbError, svodb.SvodbError, "System Error")])
def test_code_gives_family_and_message(code, family, kind, message):
    error = _core.error(code)
    assert type(error) is family and isinstance(error, kind)  # the families are also the Python kinds
    assert (error.code, error.message, str(error)) == (code, message, f"{message} (code {code})")


@pytest.mark.parametrize("code, parts", [(10408, (1, 4, 8)), (50032, (5, 0, 32)), (110008, (11, 0, 8)),
                                         (-1, (0, 0, -1)), (-10408, (-1, -4, -8))])
def test_split_truncates_like_the_library(code, parts):
    assert errors.split(code) == parts
    assert (svodb.SvodbError(code, "").context, svodb.SvodbError(code, "").detail) == parts[:2]
