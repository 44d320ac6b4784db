"""Result codes become exceptions of their family with the library's words."""

import pytest

import svodb
from svodb import _core, errors


@pytest.mark.parametrize(
    "code, family, message",
    [
        (0, svodb.DriveConnectionError, "No Response from drive"),
        (80000, svodb.DriveConnectionError, "No Response from drive when geting drive mode or model"),
        (8, svodb.UnknownParameterError, "Invalid parameter"),
        (10408, svodb.UnknownParameterError, "Invalid parameter when loading from FPGA at variable--AFBMitEn"),
        (23, svodb.OutOfRangeError, "Data is out of range"),
        (100923, svodb.OutOfRangeError, "Data is out of range when loading default value"),
        (50731, svodb.ParameterFileError, "Can't open file when reading file at No.7 variable"),
        (10, svodb.DriveError, "Error during data transfer"),
        (41, svodb.DriveError, "Wrong Checksum of TRX data"),
        (-1, svodb.SvodbError, "System Error"),
    ],
)
def test_code_gives_family_and_message(code, family, message):
    error = _core.error(code)
    assert type(error) is family
    # The families are also the Python kinds a caller catches.
    assert isinstance(error, {svodb.DriveConnectionError: ConnectionError, svodb.UnknownParameterError: KeyError,
                              svodb.OutOfRangeError: ValueError, svodb.ParameterFileError: OSError}.get(family, family))
    assert (error.code, error.message, str(error)) == (code, message, f"{message} (code {code})")


@pytest.mark.parametrize(
    "code, parts", [(10408, (1, 4, 8)), (50032, (5, 0, 32)), (110008, (11, 0, 8)), (-1, (0, 0, -1)), (-10408, (-1, -4, -8))]
)
def test_split_truncates_like_the_library(code, parts):
    assert errors.split(code) == parts
    assert (svodb.SvodbError(code, "").context, svodb.SvodbError(code, "").detail) == parts[:2]
