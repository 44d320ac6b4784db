// The transport as a library loaded at run time (CommSVODB.dll on Windows,
// libCommSVODB.so elsewhere). It is loaded at the first operation that needs
// it. When the library or one of its functions is missing, the library still
// works offline: the connection type counts as 0, every operation that needs
// the drive answers "No Response from drive" (0) and the version texts are
// empty.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "drive/transport.h"
#include "platform/shared_library.h"

namespace svodb {

#ifdef _WIN32
inline constexpr const char* kTransportLibraryName = "CommSVODB.dll";
#else
inline constexpr const char* kTransportLibraryName = "libCommSVODB.so";
#endif

// Loads kTransportLibraryName from the places of CompanionPlaces(): a
// transport kept beside the library, in a folder that is not the
// application's, is found first.
LibraryLookup LoadTransportLibrary();

// Whether the transport is there, for a client to tell its user why every
// online operation answers "No Response from drive".
struct TransportStatus {
  enum class State { kNotFound = 0, kLoaded = 1, kIncomplete = 2 };
  State state = State::kNotFound;
  // kLoaded: the library's path; kNotFound: each place looked at and why it
  // failed; kIncomplete: the library's path and the functions it lacks.
  std::string text;
};

class TransportLibrary final : public Transport {
 public:
  explicit TransportLibrary(SharedLibraryLoader loader = LoadTransportLibrary);
  ~TransportLibrary() override;

  int32_t InitComPort(int32_t port, int32_t baudRate) override;
  int32_t InitMotoBus(const std::array<int32_t, 8>& args) override;
  int32_t KillMotoBus() override;
  int32_t GetCommType() override;
  int32_t GetVarFromFPGA(int32_t address, int32_t* data, int32_t* second) override;
  int32_t PutVarToFPGA(int32_t address, int32_t data) override;
  int32_t GetVarFromEEPROM(int32_t entry, int32_t* fpgaRegister, int32_t* data) override;
  int32_t PutVarToEEPROM(int32_t entry, int32_t fpgaRegister, int32_t data) override;
  int32_t NVEraseUnit(int32_t entry) override;
  int32_t FlushPort() override;
  int32_t ChangeBaudRate(int32_t baudRate) override;
  int32_t SendISPByte(int32_t byte, int32_t* status) override;
  int32_t GetISPStatus(int32_t* status, int32_t timeout_ms) override;
  int32_t ChangeGetSleepTime(int32_t value) override;
  int32_t GetMaxNumMotoBusAxes(int32_t* axes) override;
  void CommSVODBVersion(char* text) override;
  void CommNCLVersion(char* text) override;

  // Whether the library was found (loading it if not tried yet).
  bool IsLoaded();
  // Loads the library if not tried yet.
  TransportStatus Status();

 private:
  struct Functions;
  const Functions& Bound();

  SharedLibraryLoader loader_;
  std::unique_ptr<SharedLibrary> library_;
  std::unique_ptr<Functions> functions_;
  std::string problem_;                // why no library was loaded
  std::vector<std::string> missing_;  // functions the loaded library lacks
};

}  // namespace svodb
