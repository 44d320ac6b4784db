"""The connected drive and the offline images (nodes), with item access to
their variables in engineering units."""

from __future__ import annotations

import ctypes
import dataclasses
import os
import time
from typing import Callable, Dict, List, Optional, Sequence, Tuple, Union

from . import _core, _library
from .errors import SUCCESS, OutOfRangeError
from .motor_data import MotorData

Value = Union[float, int, str]

# The two variables that are texts on the drive rather than numbers.
_TEXT_VARIABLES = ("SerialNum", "VerLW")
_FAULT_RECORDS = 64
_FAULT_RECORD_BYTES = 8
_SERIAL_LINK = 1
_NETWORK = 2


class _Image:
    """Item access shared by the drive and the offline images: names
    without regard to case, enumerated values as enum members (write a
    member, its number or its label)."""

    node: int

    def _read(self, name: str) -> float:
        raise NotImplementedError

    def _write(self, name: str, value: float) -> None:
        raise NotImplementedError

    def __getitem__(self, name: str):
        std = _core.standard_name(name)
        with _core.selected(self.node):
            return _core.as_member(std, self._read(std))

    def __setitem__(self, name: str, value: Value) -> None:
        std = _core.standard_name(name)
        with _core.selected(self.node):
            self._write(std, _core.from_label(std, value))

    def get(self, names: Sequence[str]) -> Dict[str, object]:
        """Several variables at once, by name."""
        return {name: self[name] for name in names}

    def labels(self, name: str) -> Optional[type]:
        """The variable's enumeration on this image as an IntEnum (members
        by label, e.g. ``labels("OpMode")["Velocity"]``), or None."""
        std = _core.standard_name(name)
        with _core.selected(self.node):
            return _core.enum_class(std)

    def unit(self, name: str) -> str:
        """The variable's unit text on this image (empty when it has none)."""
        return self.properties(name).unit

    def properties(self, name: str) -> "Properties":
        """Conversion code, minimum, maximum, default and unit on this image."""
        std = _core.standard_name(name)
        code = ctypes.c_int32()
        low, high, default = ctypes.c_double(), ctypes.c_double(), ctypes.c_double()
        unit = ctypes.create_string_buffer(_core.UNIT_SIZE)
        with _core.selected(self.node):
            result = _core.lib().GetProp_SVODB(
                _core.encode(std), ctypes.byref(code), ctypes.byref(low), ctypes.byref(high),
                ctypes.byref(default), unit,
            )
        # 99 says the numbers are there but the unit text is not.
        if result not in (SUCCESS, 99):
            raise _core.error(result)
        return Properties(code.value, low.value, high.value, default.value, _core.decode(unit).strip())


@dataclasses.dataclass(frozen=True)
class Properties:
    conversion_code: int
    minimum: float
    maximum: float
    default: float
    unit: str


class Node(_Image):
    """An offline image of a drive's parameter set (node 1 to 6; node 0 is
    the connected drive's image). ``Node(3, fresh=True)`` starts it over as
    an image of a logic-version-3 drive."""

    def __init__(self, node: int, fresh: bool = False):
        self.node = _core.require_node(node)
        if fresh:
            _core.check(_core.lib().SetupOfflineNode_SVODB(self.node))

    def __repr__(self) -> str:
        return f"svodb.Node({self.node})"

    def _read(self, name: str) -> float:
        value = ctypes.c_double()
        _core.check(_core.lib().GetVariable_SVODB(_core.encode(name), ctypes.byref(value)))
        return value.value

    def _write(self, name: str, value: float) -> None:
        _core.check(_core.lib().PutVariable_SVODB(_core.encode(name), value))

    def _number(self, getter) -> int:
        value = ctypes.c_int32()
        with _core.selected(self.node):
            _core.check(getter(ctypes.byref(value)))
        return value.value

    def _store(self, setter, value: int) -> None:
        with _core.selected(self.node):
            _core.check(setter(value))

    @property
    def model(self) -> int:
        """The image's model code."""
        return self._number(_core.lib().GetModel_SVODB)

    @model.setter
    def model(self, code: int) -> None:
        self._store(_core.lib().SetModel_SVODB, code)

    @property
    def mode(self) -> int:
        """The image's command units: 0 torque (current), 1 velocity."""
        return self._number(_core.lib().GetMode_SVODB)

    @property
    def drive_type(self) -> int:
        """1 a drive on a serial port, 2 on the network."""
        return self._number(_core.lib().GetDriveType_SVODB)

    @drive_type.setter
    def drive_type(self, value: int) -> None:
        self._store(_core.lib().SetDriveType_SVODB, value)

    def load_file(self, path: os.PathLike, manufacturing: bool = False) -> None:
        """Loads a parameter file into the image."""
        lib = _core.lib()
        reader = lib.RDFromFileMfg_SVODB if manufacturing else lib.RDFromFileUser_SVODB
        with _core.selected(self.node):
            _core.check(reader(_core.encode(os.fspath(path))))

    def save_file(self, path: os.PathLike, manufacturing: bool = False) -> None:
        """Writes the image as a parameter file."""
        lib = _core.lib()
        writer = lib.WRToFileMfg_SVODB if manufacturing else lib.WRToFileUser_SVODB
        with _core.selected(self.node):
            _core.check(writer(_core.encode(os.fspath(path))))


@dataclasses.dataclass(frozen=True)
class Info:
    """What identifies the connected drive."""

    model: int
    model_label: str
    mode: int
    logic_version: float
    version_text: str
    serial_number: str
    drive_type: int


@dataclasses.dataclass(frozen=True)
class FaultRecord:
    record: int
    data: bytes


@dataclasses.dataclass(frozen=True)
class Sample:
    """Mean and population standard deviation of n reads of a variable."""

    mean: float
    spread: float
    unit: str


@dataclasses.dataclass
class Recording:
    """Timestamped values of ``drive.monitor``: ``times[k]`` seconds after
    the start, ``values[name][k]`` the value read then."""

    times: List[float]
    values: Dict[str, List[float]]
    units: Dict[str, str]


ProgressCallback = Callable[[int, int], None]


class Drive(Node):
    """The connected drive (node 0).

    ``Drive(port=1, baud=19200)`` opens a serial port, ``Drive(network=(a,
    b))`` (2, 4 or 7 numbers) the network; ``transport`` names the transport
    library to load (effective only before the library has bound one: by
    default ``SVODB_TRANSPORT`` or the one beside the svodb library, loaded
    with the library). The connection is open as soon as the object exists; use it as a
    context manager, or call ``close()``."""

    def __init__(
        self,
        port: int = 1,
        baud: int = 19200,
        network: Optional[Sequence[int]] = None,
        transport: Optional[os.PathLike] = None,
    ):
        super().__init__(0)
        if transport is not None:
            _library.load_transport(transport)
        self.motor_data = MotorData()
        _core.check(self._open(port, baud, network))
        lib, model, mode = _core.lib(), ctypes.c_int32(), ctypes.c_int32()
        # The scaling of node 0 follows the model and mode last read.
        _core.check(lib.GetModelOnline_SVODB(ctypes.byref(model)))
        _core.check(lib.GetModeOnline_SVODB(ctypes.byref(mode)))
        # Reading the version text makes it the one the library's version
        # checks use; a drive older than logic 3 has none (11), and that is
        # no reason to refuse the connection.
        self._text("VerLW")

    @staticmethod
    def _open(port: int, baud: int, network: Optional[Sequence[int]]) -> int:
        lib = _core.lib()
        if network is None:
            return lib.UsePort(port, baud, _SERIAL_LINK, 0, 0, 0)
        if len(network) not in (2, 4, 7):
            raise OutOfRangeError(23, f"{_core.message(23)}: network takes 2, 4 or 7 numbers")
        n = list(network) + [0] * (7 - len(network))
        return lib.UsePort3(port, baud, _NETWORK, n[0], n[1], int(len(network) >= 4), *n[2:])

    def close(self) -> None:
        """Closes the connection."""
        _core.check(_core.lib().ClosePort())

    def __enter__(self) -> "Drive":
        return self

    def __exit__(self, *exception) -> None:
        self.close()

    def __repr__(self) -> str:
        return "svodb.Drive()"

    # ---- single values ---------------------------------------------------

    def _read(self, name: str):
        if name in _TEXT_VARIABLES:
            text, result = self._text(name)
            _core.check(result)
            return text
        value = ctypes.c_double()
        _core.check(_core.lib().GetVariableOnline_SVODB(_core.encode(name), ctypes.byref(value)))
        return value.value

    def __getitem__(self, name: str):
        std = _core.standard_name(name)
        if std in _TEXT_VARIABLES:
            return self._read(std)
        return super().__getitem__(std)

    def __setitem__(self, name: str, value: Value) -> None:
        std = _core.standard_name(name)
        if std == "SerialNum":
            _core.check(_core.lib().PutStringOnline_SVODB(b"SerialNum", _core.encode(str(value))))
            return
        super().__setitem__(std, value)

    def _write(self, name: str, value: float) -> None:
        _core.check(_core.lib().PutVariableOnline_SVODB(_core.encode(name), value))

    def write(self, name: str, value: Value):
        """Writes a variable and returns what the drive holds afterwards."""
        self[name] = value
        return self[name]

    def _text(self, name: str) -> Tuple[str, int]:
        buffer = ctypes.create_string_buffer(_core.ONLINE_TEXT_SIZE)
        result = _core.lib().GetStringOnline_SVODB(_core.encode(name), 0, buffer)
        return _core.decode(buffer), result

    # ---- identity, faults, statistics ------------------------------------

    @property
    def model(self) -> int:
        """The connected drive's model code, read from the drive."""
        return self._number(_core.lib().GetModelOnline_SVODB)

    @property
    def mode(self) -> int:
        """The drive's command units as the drive reports them: 0 torque
        (current), 1 velocity."""
        return self._number(_core.lib().GetModeOnline_SVODB)

    @property
    def info(self) -> Info:
        """Model, mode, logic version, version text and serial number."""
        model, mode = self.model, self.mode
        with _core.selected(0):
            label = _core.text_of(_core.lib().GetValStr_SVODB, _core.LABEL_SIZE, b"Model", model)
        version, version_result = self._text("VerLW")
        serial, serial_result = self._text("SerialNum")
        return Info(
            model=model,
            model_label=label,
            mode=mode,
            logic_version=self._read("LogicVer"),
            version_text=version if version_result == SUCCESS else "",
            serial_number=serial if serial_result == SUCCESS else "",
            drive_type=self.drive_type,
        )

    def faults(self, include_erased: bool = False) -> List[FaultRecord]:
        """The records of the drive's fault log (8 bytes each); a record that
        reads all 0 or all 255 is erased and left out unless asked for."""
        records = []
        for record in range(_FAULT_RECORDS):
            data = bytes(self._fault_byte(record, b) for b in range(_FAULT_RECORD_BYTES))
            if include_erased or data.strip(b"\0") and data.strip(b"\xff"):
                records.append(FaultRecord(record, data))
        return records

    @staticmethod
    def _fault_byte(record: int, index: int) -> int:
        value = ctypes.c_uint8()
        _core.lib().GetFaultHistory_SVODB(record, index, ctypes.byref(value))
        return value.value

    def sample(self, name: str, count: int) -> Sample:
        """Reads the variable ``count`` times: mean and spread (population
        standard deviation) rounded to 6 decimals, with the drive's unit."""
        mean, spread = ctypes.c_double(), ctypes.c_double()
        unit = ctypes.create_string_buffer(_core.UNIT_SIZE)
        result = _core.lib().GetParmMeanRMS_SVODB(
            _core.encode(name), count, ctypes.byref(mean), ctypes.byref(spread), unit
        )
        if result not in (SUCCESS, 99):  # 99: the numbers without a unit
            raise _core.error(result)
        return Sample(mean.value, spread.value, _core.decode(unit).strip())

    def monitor(
        self,
        names: Sequence[str],
        seconds: float,
        rate: float = 10.0,
        clock: Callable[[], float] = time.monotonic,
        sleep: Callable[[float], None] = time.sleep,
    ) -> Recording:
        """Reads the variables ``rate`` times a second for ``seconds``, each
        read stamped with the time since the start. ``clock`` and ``sleep``
        can be replaced (a virtual clock in tests)."""
        if rate <= 0 or seconds < 0:
            raise OutOfRangeError(23, f"{_core.message(23)}: rate must be above 0 and seconds not below 0")
        stds = [_core.standard_name(name) for name in names]
        recording = Recording([], {name: [] for name in stds}, {name: self.unit(name) for name in stds})
        start = clock()
        for k in range(int(seconds * rate) + 1):
            delay = start + k / rate - clock()
            if delay > 0:
                sleep(delay)
            recording.times.append(clock() - start)
            for name in stds:
                recording.values[name].append(float(self[name]))
        return recording

    # There is deliberately no step-response helper for tuning the velocity
    # loop: the virtual drive's motor does not follow the command (it stands
    # still, or runs a fixed speed pattern that only its own tests can
    # switch on), so no such helper could be shown to measure anything.

    # ---- parameter sets ----------------------------------------------------

    def save(self) -> None:
        """Makes what the drive runs with what it starts with: reads the user
        parameters from its working registers and writes them to NV memory."""
        lib = _core.lib()
        with _core.selected(0):
            _core.check(lib.RDFromDriveUser_SVODB())
            _core.check(lib.WRToNVUser_SVODB())

    def backup(self, path: os.PathLike, manufacturing: bool = False) -> None:
        """Writes the drive's NV memory to a user (or manufacturing) file."""
        lib = _core.lib()
        writer = lib.GetMfgParamsNV_SVODBT if manufacturing else lib.GetUserParamsNV_SVODBT
        with _core.selected(0):
            _core.check(writer(_core.encode(os.fspath(path))))

    def restore(self, path: os.PathLike, dry_run: bool = True, manufacturing: bool = False):
        """Checks a parameter file line by line and, unless ``dry_run``,
        writes it to the drive's NV memory. Returns the per-line results
        (``svodb.files.LineResult``); with failing lines nothing is written
        and the first failure is raised."""
        from .files import check_lines, restore_to_nv

        results = check_lines(path, manufacturing)
        if not dry_run:
            failed = [line for line in results if not line.ok]
            if failed:
                raise failed[0].error()
            restore_to_nv(path, manufacturing)
        return results

    def flash(self, path: os.PathLike, verify: bool = False, progress: Optional[ProgressCallback] = None) -> None:
        """Programs (or with ``verify`` compares) the drive's configuration
        flash from an ISC or I00 file. ``progress(step, total)`` is called
        for every step the library reports (Linux only: on Windows the
        library posts progress to a window, which Python has not got)."""
        from .flash import program

        program(path, verify, progress)
