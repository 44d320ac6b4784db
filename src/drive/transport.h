// The library's view of the transport that owns the serial port or the
// network connection. One implementation binds the transport library at run
// time, the virtual drive is another, and tests write their own.
//
// Every operation that returns a code returns 1 for success and otherwise a
// code that the library passes back unchanged. Data bytes travel as int32_t;
// the library masks and sign-handles them where the drive's rules say so.
#pragma once

#include <array>
#include <cstdint>

#include "catalog/result_codes.h"

namespace svodb {

// Room the version texts of the transport need, terminator included.
inline constexpr std::size_t kTransportVersionCapacity = 60;

// Connection types reported by GetCommType and recorded per node.
inline constexpr int32_t kNoConnection = 0;
inline constexpr int32_t kSerialConnection = 1;
inline constexpr int32_t kNetworkConnection = 2;

// What NVEraseUnit answers when the drive was busy with the entry.
inline constexpr int32_t kNvEraseBusy = 2;

class Transport {
 public:
  virtual ~Transport() = default;

  virtual int32_t InitComPort(int32_t port, int32_t baudRate) = 0;
  virtual int32_t InitMotoBus(const std::array<int32_t, 8>& args) = 0;
  virtual int32_t KillMotoBus() = 0;
  virtual int32_t GetCommType() = 0;
  virtual int32_t GetVarFromFPGA(int32_t address, int32_t* data, int32_t* second) = 0;
  virtual int32_t PutVarToFPGA(int32_t address, int32_t data) = 0;
  virtual int32_t GetVarFromEEPROM(int32_t entry, int32_t* fpgaRegister, int32_t* data) = 0;
  virtual int32_t PutVarToEEPROM(int32_t entry, int32_t fpgaRegister, int32_t data) = 0;
  virtual int32_t NVEraseUnit(int32_t entry) = 0;
  virtual int32_t FlushPort() = 0;
  virtual int32_t ChangeBaudRate(int32_t baudRate) = 0;
  virtual int32_t SendISPByte(int32_t byte, int32_t* status) = 0;
  virtual int32_t GetISPStatus(int32_t* status, int32_t timeout_ms) = 0;
  virtual int32_t ChangeGetSleepTime(int32_t value) = 0;
  virtual int32_t GetMaxNumMotoBusAxes(int32_t* axes) = 0;
  // Both write a zero-terminated text of at most kTransportVersionCapacity
  // bytes into text.
  virtual void CommSVODBVersion(char* text) = 0;
  virtual void CommNCLVersion(char* text) = 0;
};

// The transport when no transport library could be bound: no connection,
// every drive operation answers "No Response from drive", empty versions.
class NoTransport : public Transport {
 public:
  int32_t InitComPort(int32_t, int32_t) override { return code::kNoResponse; }
  int32_t InitMotoBus(const std::array<int32_t, 8>&) override { return code::kNoResponse; }
  int32_t KillMotoBus() override { return code::kNoResponse; }
  int32_t GetCommType() override { return kNoConnection; }
  int32_t GetVarFromFPGA(int32_t, int32_t*, int32_t*) override { return code::kNoResponse; }
  int32_t PutVarToFPGA(int32_t, int32_t) override { return code::kNoResponse; }
  int32_t GetVarFromEEPROM(int32_t, int32_t*, int32_t*) override { return code::kNoResponse; }
  int32_t PutVarToEEPROM(int32_t, int32_t, int32_t) override { return code::kNoResponse; }
  int32_t NVEraseUnit(int32_t) override { return code::kNoResponse; }
  int32_t FlushPort() override { return code::kNoResponse; }
  int32_t ChangeBaudRate(int32_t) override { return code::kNoResponse; }
  int32_t SendISPByte(int32_t, int32_t*) override { return code::kNoResponse; }
  int32_t GetISPStatus(int32_t*, int32_t) override { return code::kNoResponse; }
  int32_t ChangeGetSleepTime(int32_t) override { return code::kNoResponse; }
  int32_t GetMaxNumMotoBusAxes(int32_t*) override { return code::kNoResponse; }
  void CommSVODBVersion(char* text) override { text[0] = '\0'; }
  void CommNCLVersion(char* text) override { text[0] = '\0'; }
};

}  // namespace svodb
