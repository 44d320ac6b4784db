"""The tests run against the built library and the virtual drive's transport
library (ctest passes their paths in SVODB_LIBRARY and SVODB_TRANSPORT)."""

import os

import pytest

import svodb


def pytest_configure(config):
    if not os.environ.get("SVODB_LIBRARY"):
        raise pytest.UsageError("SVODB_LIBRARY must name the built svodb library (ctest sets it)")


@pytest.fixture()
def drive():
    with svodb.Drive(port=1, baud=19200) as connected:
        yield connected


def source_file(variable: str) -> str:
    """A file of the source tree that ctest names in an environment variable."""
    path = os.environ.get(variable)
    if not path:
        pytest.skip(f"{variable} is not set (ctest sets it)")
    return path


def tool_environment() -> dict:
    """The environment for running the svodb tool: no virtual-drive state, and
    without the sanitizer runtime that a sanitized build preloads into Python
    (the tool brings its own, and two runtimes refuse to run together)."""
    environment = {key: value for key, value in os.environ.items() if key != "LD_PRELOAD"}
    environment["SVODB_SIM_STATE"] = ""
    return environment
