// The transport library over one process-wide virtual drive, so any client
// of the transport's interface runs without hardware.
//
// The drive is built on first use from environment variables of its own:
//   SVODB_SIM_MODEL        model code, 0-31 (default 31)
//   SVODB_SIM_LOGIC        logic version, 2, 3 or 4 (default 4)
//   SVODB_SIM_VERSION      version text of the logic, e.g. "3.2A" (default "4.0A")
//   SVODB_SIM_TRX          generation of the motor's feedback device, 1 or 2 (default 1)
//   SVODB_SIM_NODES        network addresses at which a drive answers, e.g. "1,2,5" (default "1")
//   SVODB_SIM_STATE        path of a state file (default: none)
//   SVODB_SIM_POWER_CYCLE  "1": switch the drive off and on before the first call
//   SVODB_SIM_VIRTUAL_CLOCK  "1": read by the svodb tool, which then runs the
//                          library's waits on a virtual clock (the drive answers at once)
// A value the virtual drive does not model is refused: the library prints
// why on standard error once and every call answers "No Response from
// drive", so a client never runs against a drive it did not ask for.
//
// With a state file the drive stays switched on from one process to the
// next: NV memory, the motor data copy and the working registers (the whole
// FPGA space and the biquad memory) are loaded at start and the file is
// rewritten after every call that changed any of them (the motor's feedback
// device is kept beside it, in the state file's name with ".trx" appended).
// The drive powers up from NV only when the state file is new or has no
// working registers, or when SVODB_SIM_POWER_CYCLE says so. A state file
// that cannot be written fails the call that changed the drive (after a
// message on standard error): a write that would be lost is no success.
// The configuration flash is kept beside it, in the state file's name with
// ".flash" appended, rewritten when an ISP function that may have changed it
// ends.
#define COMMSVODB_BUILDING_LIBRARY
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "drive_state_file.h"
#include "svodb/commsvodb.h"
#include "virtual_drive.h"

namespace {

using svodb::sim::DriveConfig;
using svodb::sim::VirtualDrive;

std::optional<std::string> Environment(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value == '\0') return std::nullopt;
  return std::string(value);
}

// The variable's integer when it lies in [min, max]; throws
// std::invalid_argument naming the variable and what it may be otherwise.
std::optional<int32_t> IntegerFromEnvironment(const char* name, int32_t min, int32_t max, const char* what) {
  const std::optional<std::string> text = Environment(name);
  if (!text) return std::nullopt;
  char* end = nullptr;
  errno = 0;
  const long value = std::strtol(text->c_str(), &end, 10);
  if (errno != 0 || *end != '\0' || value < min || value > max) {
    throw std::invalid_argument(std::string(name) + " is '" + *text + "'; the virtual drive models " + what);
  }
  return static_cast<int32_t>(value);
}

DriveConfig ConfigFromEnvironment() {
  DriveConfig config;
  if (const auto model = IntegerFromEnvironment("SVODB_SIM_MODEL", 0, 31, "model codes 0-31"))
    config.modelCode = *model;
  if (const auto logic = IntegerFromEnvironment("SVODB_SIM_LOGIC", 2, 4, "logic versions 2, 3 and 4"))
    config.logicVersion = *logic;
  if (const auto version = Environment("SVODB_SIM_VERSION")) {
    if (!svodb::sim::VersionTextBytes(*version))
      throw std::invalid_argument("SVODB_SIM_VERSION is '" + *version +
                                  "'; the virtual drive models version texts such as 3.2A, S1.0B or 102.1A");
    config.versionText = *version;
  }
  if (const auto generation = IntegerFromEnvironment("SVODB_SIM_TRX", 1, 2, "feedback device generations 1 and 2"))
    config.feedbackGeneration = *generation;
  IntegerFromEnvironment("SVODB_SIM_POWER_CYCLE", 0, 1, "0 or 1 (switch the drive off and on first)");
  IntegerFromEnvironment("SVODB_SIM_VIRTUAL_CLOCK", 0, 1, "0 or 1 (the client's waits on a virtual clock)");
  return config;
}

void Complain(const std::string& message) { std::fprintf(stderr, "svodb virtual drive: %s\n", message.c_str()); }

// One drive of the network: the drive and the files that keep it powered.
class DriveUnit {
 public:
  DriveUnit(VirtualDrive drive, std::optional<std::filesystem::path> statePath)
      : drive_(std::move(drive)), statePath_(std::move(statePath)) {
    if (statePath_) flashPath_ = std::filesystem::path(*statePath_) += ".flash";
    if (statePath_) devicePath_ = std::filesystem::path(*statePath_) += ".trx";
    // A long-running client would otherwise grow the log without end.
    drive_.Log().SetRecording(false);
    LoadState();
  }

  // Runs one transport call and saves the state when the call changed it.
  // Clients call the transport from one thread at a time, as they do the
  // library, so there is no lock.
  template <typename Call>
  auto Run(Call&& call) -> decltype(call(std::declval<VirtualDrive&>())) {
    const uint64_t before = drive_.PersistentRevision();
    const svodb::sim::WorkingRegisters working = drive_.SaveWorkingRegisters();
    auto result = call(drive_);
    unsaved_ = unsaved_ || drive_.PersistentRevision() != before || drive_.SaveWorkingRegisters() != working;
    if (unsaved_ && !SaveState()) return {};
    if (drive_.Flash().Revision() != savedFlashRevision_) SaveFlash();
    return result;
  }

 private:
  void LoadState() {
    if (flashPath_) svodb::sim::ReadFlashFile(*flashPath_, drive_.Flash());
    savedFlashRevision_ = drive_.Flash().Revision();
    if (!statePath_) return;
    // A new drive is saved with its first call, powered or not.
    unsaved_ = true;
    const auto saved = svodb::sim::ReadSavedDrive(*statePath_);
    if (!saved) return;
    drive_.RestoreState(saved->persistent);
    // The motor's feedback device, when a file of its generation is there;
    // else it holds the block the drive's copy was saved with.
    if (devicePath_) svodb::sim::ReadDeviceFile(*devicePath_, drive_.Trx());
    if (saved->working && Environment("SVODB_SIM_POWER_CYCLE") != "1") {
      drive_.ResumeWorkingRegisters(*saved->working);
    } else {
      drive_.PowerCycle();
    }
  }

  bool SaveState() {
    if (!statePath_) return true;
    const svodb::sim::WorkingRegisters working = drive_.SaveWorkingRegisters();
    if (!svodb::sim::WriteStateFile(*statePath_, drive_.SaveState(), &working) ||
        (devicePath_ && !svodb::sim::WriteDeviceFile(*devicePath_, drive_.Trx()))) {
      Complain("cannot write the state file " + statePath_->string() + " (" + std::strerror(errno) +
               "); the drive's last change is not kept");
      return false;
    }
    unsaved_ = false;
    return true;
  }

  void SaveFlash() {
    savedFlashRevision_ = drive_.Flash().Revision();
    if (flashPath_) svodb::sim::WriteFlashFile(*flashPath_, drive_.Flash());
  }

  VirtualDrive drive_;
  std::optional<std::filesystem::path> statePath_;
  std::optional<std::filesystem::path> flashPath_;
  std::optional<std::filesystem::path> devicePath_;
  uint64_t savedFlashRevision_ = 0;
  bool unsaved_ = false;
};

// The network addresses at which a drive answers: distinct integers from 1
// to the number of axes the network carries, comma-separated.
std::vector<int32_t> NodesFromEnvironment() {
  const std::optional<std::string> text = Environment("SVODB_SIM_NODES");
  if (!text) return {1};
  const std::string refused = "SVODB_SIM_NODES is '" + *text +
                              "'; the virtual network models distinct addresses 1-" +
                              std::to_string(svodb::sim::kMotoBusAxes) + ", comma-separated";
  std::vector<int32_t> nodes;
  std::size_t start = 0;
  while (start <= text->size()) {
    const std::size_t comma = std::min(text->find(',', start), text->size());
    const std::string item = text->substr(start, comma - start);
    char* end = nullptr;
    errno = 0;
    const long node = std::strtol(item.c_str(), &end, 10);
    if (item.empty() || errno != 0 || *end != '\0' || node < 1 || node > svodb::sim::kMotoBusAxes ||
        std::ranges::find(nodes, node) != nodes.end())
      throw std::invalid_argument(refused);
    nodes.push_back(static_cast<int32_t>(node));
    start = comma + 1;
  }
  std::ranges::sort(nodes);
  return nodes;
}

// The drives of the virtual network. The network's first argument (A) is
// the address of the drive the connection talks to; an address where no
// drive answers opens the network, but every call to the drive there gets
// "No Response from drive". A serial port reaches the drive of the lowest
// address. The drives share the model and logic the environment sets and
// differ in their serial numbers, whose last digit is their address. Each
// is built on first use: the drive at address 1 keeps its state in
// SVODB_SIM_STATE, the drive at address N in that name with ".nodeN" added.
class SharedNetwork {
 public:
  SharedNetwork() {
    try {
      config_ = ConfigFromEnvironment();
      nodes_ = NodesFromEnvironment();
      svodb::sim::ValidateConfig(*config_);
      current_ = nodes_.front();
    } catch (const std::invalid_argument& refused) {
      Complain(refused.what());
      config_.reset();
      nodes_.clear();
    }
  }

  void SelectSerialDrive() {
    if (!nodes_.empty()) current_ = nodes_.front();
  }
  void SelectAddress(int32_t address) { current_ = address; }
  bool Answers() const { return std::ranges::find(nodes_, current_) != nodes_.end(); }

  template <typename Call>
  auto Run(Call&& call) -> decltype(call(std::declval<VirtualDrive&>())) {
    if (!Answers()) return {};
    return Unit(current_).Run(call);
  }
  // Calls that concern the transport itself, not the drive at an address.
  template <typename Call>
  auto RunOnAny(Call&& call) -> decltype(call(std::declval<VirtualDrive&>())) {
    if (nodes_.empty()) return {};
    return Unit(nodes_.front()).Run(call);
  }

 private:
  DriveUnit& Unit(int32_t address) {
    std::unique_ptr<DriveUnit>& unit = units_[address];
    if (!unit) {
      DriveConfig config = *config_;
      config.serialNumber.back() = static_cast<char>('0' + address);
      std::optional<std::filesystem::path> statePath = Environment("SVODB_SIM_STATE");
      if (statePath && address != 1) *statePath += ".node" + std::to_string(address);
      unit = std::make_unique<DriveUnit>(VirtualDrive(config), statePath);
    }
    return *unit;
  }

  std::optional<DriveConfig> config_;
  std::vector<int32_t> nodes_;
  int32_t current_ = 0;
  std::map<int32_t, std::unique_ptr<DriveUnit>> units_;
};

SharedNetwork& Shared() {
  static SharedNetwork shared;
  return shared;
}

// No exception leaves the library: a call that throws (out of memory, a
// state file that cannot be written) answers "No Response from drive".
template <typename Call>
int32_t Guarded(Call&& call) noexcept {
  try {
    return Shared().Run(call);
  } catch (...) {
    return 0;
  }
}

// Opening and closing the network reach the bus even where no drive answers.
template <typename Call>
int32_t GuardedOnBus(Call&& call) noexcept {
  try {
    return Shared().Answers() ? Shared().Run(call) : 1;
  } catch (...) {
    return 0;
  }
}

template <typename Call>
void GuardedOnAny(Call&& call) noexcept {
  try {
    Shared().RunOnAny(call);
  } catch (...) {
  }
}

}  // namespace

extern "C" {

COMMSVODB_API int32_t COMMSVODB_CALL InitComPort(int32_t port, int32_t baudRate) {
  Shared().SelectSerialDrive();
  return Guarded([&](VirtualDrive& drive) { return drive.InitComPort(port, baudRate); });
}

COMMSVODB_API int32_t COMMSVODB_CALL InitMotoBus(int32_t a, int32_t b, int32_t extended, int32_t c, int32_t d,
                                                 int32_t e, int32_t f, int32_t g) {
  Shared().SelectAddress(a);
  return GuardedOnBus([&](VirtualDrive& drive) {
    return drive.InitMotoBus({a, b, extended, c, d, e, f, g});
  });
}

COMMSVODB_API int32_t COMMSVODB_CALL KillMotoBus(void) {
  return GuardedOnBus([](VirtualDrive& drive) { return drive.KillMotoBus(); });
}

COMMSVODB_API int32_t COMMSVODB_CALL GetCommType(void) {
  return Guarded([](VirtualDrive& drive) { return drive.GetCommType(); });
}

COMMSVODB_API int32_t COMMSVODB_CALL GetVarFromFPGA(int32_t address, int32_t* data, int32_t* second) {
  return Guarded([&](VirtualDrive& drive) { return drive.GetVarFromFPGA(address, data, second); });
}

COMMSVODB_API int32_t COMMSVODB_CALL PutVarToFPGA(int32_t address, int32_t data) {
  return Guarded([&](VirtualDrive& drive) { return drive.PutVarToFPGA(address, data); });
}

COMMSVODB_API int32_t COMMSVODB_CALL GetVarFromEEPROM(int32_t entry, int32_t* fpgaRegister, int32_t* data) {
  return Guarded([&](VirtualDrive& drive) { return drive.GetVarFromEEPROM(entry, fpgaRegister, data); });
}

COMMSVODB_API int32_t COMMSVODB_CALL PutVarToEEPROM(int32_t entry, int32_t fpgaRegister, int32_t data) {
  return Guarded([&](VirtualDrive& drive) { return drive.PutVarToEEPROM(entry, fpgaRegister, data); });
}

COMMSVODB_API int32_t COMMSVODB_CALL NVEraseUnit(int32_t entry) {
  return Guarded([&](VirtualDrive& drive) { return drive.NVEraseUnit(entry); });
}

COMMSVODB_API int32_t COMMSVODB_CALL FlushPort(void) {
  return Guarded([](VirtualDrive& drive) { return drive.FlushPort(); });
}

COMMSVODB_API int32_t COMMSVODB_CALL ChangeBaudRate(int32_t baudRate) {
  return Guarded([&](VirtualDrive& drive) { return drive.ChangeBaudRate(baudRate); });
}

COMMSVODB_API int32_t COMMSVODB_CALL SendISPByte(int32_t byte, int32_t* status) {
  return Guarded([&](VirtualDrive& drive) { return drive.SendISPByte(byte, status); });
}

COMMSVODB_API int32_t COMMSVODB_CALL GetISPStatus(int32_t* status, int32_t timeout_ms) {
  return Guarded([&](VirtualDrive& drive) { return drive.GetISPStatus(status, timeout_ms); });
}

COMMSVODB_API int32_t COMMSVODB_CALL ChangeGetSleepTime(int32_t value) {
  return Guarded([&](VirtualDrive& drive) { return drive.ChangeGetSleepTime(value); });
}

COMMSVODB_API int32_t COMMSVODB_CALL GetMaxNumMotoBusAxes(int32_t* axes) {
  return Guarded([&](VirtualDrive& drive) { return drive.GetMaxNumMotoBusAxes(axes); });
}

COMMSVODB_API void COMMSVODB_CALL CommSVODBVersion(char* text) {
  if (text != nullptr) text[0] = '\0';
  GuardedOnAny([&](VirtualDrive& drive) {
    drive.CommSVODBVersion(text);
    return 1;
  });
}

COMMSVODB_API void COMMSVODB_CALL CommNCLVersion(char* text) {
  if (text != nullptr) text[0] = '\0';
  GuardedOnAny([&](VirtualDrive& drive) {
    drive.CommNCLVersion(text);
    return 1;
  });
}

}  // extern "C"
