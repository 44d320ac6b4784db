#include "drive/transport_library.h"

#include <cstring>

#include "catalog/result_codes.h"
#include "svodb/commsvodb.h"

namespace svodb {

// Pointers to the transport's functions, null where the library lacks one.
struct TransportLibrary::Functions {
  decltype(&::InitComPort) initComPort = nullptr;
  decltype(&::InitMotoBus) initMotoBus = nullptr;
  decltype(&::KillMotoBus) killMotoBus = nullptr;
  decltype(&::GetCommType) getCommType = nullptr;
  decltype(&::GetVarFromFPGA) getVarFromFpga = nullptr;
  decltype(&::PutVarToFPGA) putVarToFpga = nullptr;
  decltype(&::GetVarFromEEPROM) getVarFromEeprom = nullptr;
  decltype(&::PutVarToEEPROM) putVarToEeprom = nullptr;
  decltype(&::NVEraseUnit) nvEraseUnit = nullptr;
  decltype(&::FlushPort) flushPort = nullptr;
  decltype(&::ChangeBaudRate) changeBaudRate = nullptr;
  decltype(&::SendISPByte) sendIspByte = nullptr;
  decltype(&::GetISPStatus) getIspStatus = nullptr;
  decltype(&::ChangeGetSleepTime) changeGetSleepTime = nullptr;
  decltype(&::GetMaxNumMotoBusAxes) getMaxNumMotoBusAxes = nullptr;
  decltype(&::CommSVODBVersion) commSvodbVersion = nullptr;
  decltype(&::CommNCLVersion) commNclVersion = nullptr;
};

namespace {

// The four functions that 32-bit Windows callers import decorated.
#if defined(_WIN32)
constexpr const char* kInitMotoBus = "_InitMotoBus@32";
constexpr const char* kKillMotoBus = "_KillMotoBus@0";
constexpr const char* kGetCommType = "_GetCommType@0";
constexpr const char* kGetIspStatus = "_GetISPStatus@8";
#else
constexpr const char* kInitMotoBus = "InitMotoBus";
constexpr const char* kKillMotoBus = "KillMotoBus";
constexpr const char* kGetCommType = "GetCommType";
constexpr const char* kGetIspStatus = "GetISPStatus";
#endif

template <typename Function>
void Resolve(const SharedLibrary& library, const char* name, Function& function, std::vector<std::string>& missing) {
  function = reinterpret_cast<Function>(library.FindFunction(name));
  if (function == nullptr) missing.emplace_back(name);
}

}  // namespace

LibraryLookup LoadTransportLibrary() { return LoadFromPlaces(kTransportLibraryName, CompanionPlaces()); }

TransportLibrary::TransportLibrary(SharedLibraryLoader loader) : loader_(std::move(loader)) {}

TransportLibrary::~TransportLibrary() = default;

const TransportLibrary::Functions& TransportLibrary::Bound() {
  if (functions_) return *functions_;
  functions_ = std::make_unique<Functions>();
  LibraryLookup lookup = loader_ ? loader_() : LibraryLookup{nullptr, "no way to load it"};
  library_ = std::move(lookup.library);
  problem_ = std::move(lookup.problem);
  if (!library_) return *functions_;
  const SharedLibrary& lib = *library_;
  Functions& f = *functions_;
  Resolve(lib, "InitComPort", f.initComPort, missing_);
  Resolve(lib, kInitMotoBus, f.initMotoBus, missing_);
  Resolve(lib, kKillMotoBus, f.killMotoBus, missing_);
  Resolve(lib, kGetCommType, f.getCommType, missing_);
  Resolve(lib, "GetVarFromFPGA", f.getVarFromFpga, missing_);
  Resolve(lib, "PutVarToFPGA", f.putVarToFpga, missing_);
  Resolve(lib, "GetVarFromEEPROM", f.getVarFromEeprom, missing_);
  Resolve(lib, "PutVarToEEPROM", f.putVarToEeprom, missing_);
  Resolve(lib, "NVEraseUnit", f.nvEraseUnit, missing_);
  Resolve(lib, "FlushPort", f.flushPort, missing_);
  Resolve(lib, "ChangeBaudRate", f.changeBaudRate, missing_);
  Resolve(lib, "SendISPByte", f.sendIspByte, missing_);
  Resolve(lib, kGetIspStatus, f.getIspStatus, missing_);
  Resolve(lib, "ChangeGetSleepTime", f.changeGetSleepTime, missing_);
  Resolve(lib, "GetMaxNumMotoBusAxes", f.getMaxNumMotoBusAxes, missing_);
  Resolve(lib, "CommSVODBVersion", f.commSvodbVersion, missing_);
  Resolve(lib, "CommNCLVersion", f.commNclVersion, missing_);
  return f;
}

bool TransportLibrary::IsLoaded() {
  Bound();
  return library_ != nullptr;
}

TransportStatus TransportLibrary::Status() {
  Bound();
  if (!library_) {
    return {TransportStatus::State::kNotFound, std::string(kTransportLibraryName) + " not found: " + problem_};
  }
  if (missing_.empty()) return {TransportStatus::State::kLoaded, library_->Path()};
  std::string text = library_->Path() + " lacks";
  for (const std::string& name : missing_) text += " " + name;
  return {TransportStatus::State::kIncomplete, text};
}

namespace {

// Calls the function when the library has it; otherwise answers as a drive
// that does not respond.
template <typename Function, typename... Args>
int32_t CallOrNoResponse(Function function, Args... args) {
  return function != nullptr ? function(args...) : code::kNoResponse;
}

// Texts from outside get the room their callers reserve and no more.
void CopyVersion(void(COMMSVODB_CALL* function)(char*), char* text) {
  char buffer[COMMSVODB_VERSION_SIZE + 1] = {};
  if (function != nullptr) function(buffer);
  buffer[COMMSVODB_VERSION_SIZE - 1] = '\0';
  std::memcpy(text, buffer, std::strlen(buffer) + 1);
}

}  // namespace

int32_t TransportLibrary::InitComPort(int32_t port, int32_t baudRate) {
  return CallOrNoResponse(Bound().initComPort, port, baudRate);
}
int32_t TransportLibrary::InitMotoBus(const std::array<int32_t, 8>& a) {
  return CallOrNoResponse(Bound().initMotoBus, a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7]);
}
int32_t TransportLibrary::KillMotoBus() { return CallOrNoResponse(Bound().killMotoBus); }
int32_t TransportLibrary::GetCommType() { return CallOrNoResponse(Bound().getCommType); }
int32_t TransportLibrary::GetVarFromFPGA(int32_t address, int32_t* data, int32_t* second) {
  return CallOrNoResponse(Bound().getVarFromFpga, address, data, second);
}
int32_t TransportLibrary::PutVarToFPGA(int32_t address, int32_t data) {
  return CallOrNoResponse(Bound().putVarToFpga, address, data);
}
int32_t TransportLibrary::GetVarFromEEPROM(int32_t entry, int32_t* fpgaRegister, int32_t* data) {
  return CallOrNoResponse(Bound().getVarFromEeprom, entry, fpgaRegister, data);
}
int32_t TransportLibrary::PutVarToEEPROM(int32_t entry, int32_t fpgaRegister, int32_t data) {
  return CallOrNoResponse(Bound().putVarToEeprom, entry, fpgaRegister, data);
}
int32_t TransportLibrary::NVEraseUnit(int32_t entry) { return CallOrNoResponse(Bound().nvEraseUnit, entry); }
int32_t TransportLibrary::FlushPort() { return CallOrNoResponse(Bound().flushPort); }
int32_t TransportLibrary::ChangeBaudRate(int32_t baudRate) {
  return CallOrNoResponse(Bound().changeBaudRate, baudRate);
}
int32_t TransportLibrary::SendISPByte(int32_t byte, int32_t* status) {
  return CallOrNoResponse(Bound().sendIspByte, byte, status);
}
int32_t TransportLibrary::GetISPStatus(int32_t* status, int32_t timeout_ms) {
  return CallOrNoResponse(Bound().getIspStatus, status, timeout_ms);
}
int32_t TransportLibrary::ChangeGetSleepTime(int32_t value) {
  return CallOrNoResponse(Bound().changeGetSleepTime, value);
}
int32_t TransportLibrary::GetMaxNumMotoBusAxes(int32_t* axes) {
  return CallOrNoResponse(Bound().getMaxNumMotoBusAxes, axes);
}
void TransportLibrary::CommSVODBVersion(char* text) { CopyVersion(Bound().commSvodbVersion, text); }
void TransportLibrary::CommNCLVersion(char* text) { CopyVersion(Bound().commNclVersion, text); }

}  // namespace svodb
