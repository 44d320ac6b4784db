// The transport as a library loaded at run time (CommSVODB.dll on Windows,
// libCommSVODB.so elsewhere). It is loaded at the first operation that needs
// it. When the library or one of its functions is missing, the library still
// works offline: the connection type counts as 0, every operation that needs
// the drive answers "No Response from drive" (0) and the version texts are
// empty.
#pragma once

#include <memory>

#include "drive/transport.h"
#include "platform/shared_library.h"

namespace svodb {

#ifdef _WIN32
inline constexpr const char* kTransportLibraryName = "CommSVODB.dll";
#else
inline constexpr const char* kTransportLibraryName = "libCommSVODB.so";
#endif

// Loads kTransportLibraryName.
std::unique_ptr<SharedLibrary> LoadTransportLibrary();

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

 private:
  struct Functions;
  const Functions& Bound();

  SharedLibraryLoader loader_;
  std::unique_ptr<SharedLibrary> library_;
  std::unique_ptr<Functions> functions_;
};

}  // namespace svodb
