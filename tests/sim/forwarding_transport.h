// A transport that hands every call to the virtual drive, for tests that
// watch or alter the traffic on its way: After() sees each call's result.
#pragma once

#include <array>
#include <cstdint>

#include "drive/transport.h"
#include "virtual_drive.h"

namespace svodb::testing {

class ForwardingTransport : public Transport {
 public:
  explicit ForwardingTransport(sim::VirtualDrive& drive) : drive_(drive) {}

  int32_t InitComPort(int32_t p, int32_t b) override { return After(drive_.InitComPort(p, b)); }
  int32_t InitMotoBus(const std::array<int32_t, 8>& a) override { return After(drive_.InitMotoBus(a)); }
  int32_t KillMotoBus() override { return After(drive_.KillMotoBus()); }
  int32_t GetCommType() override { return After(drive_.GetCommType()); }
  int32_t GetVarFromFPGA(int32_t a, int32_t* d, int32_t* s) override {
    return After(drive_.GetVarFromFPGA(a, d, s));
  }
  int32_t PutVarToFPGA(int32_t a, int32_t d) override { return After(drive_.PutVarToFPGA(a, d)); }
  int32_t GetVarFromEEPROM(int32_t e, int32_t* r, int32_t* d) override {
    return After(drive_.GetVarFromEEPROM(e, r, d));
  }
  int32_t PutVarToEEPROM(int32_t e, int32_t r, int32_t d) override {
    return After(drive_.PutVarToEEPROM(e, r, d));
  }
  int32_t NVEraseUnit(int32_t e) override { return After(drive_.NVEraseUnit(e)); }
  int32_t FlushPort() override { return After(drive_.FlushPort()); }
  int32_t ChangeBaudRate(int32_t b) override { return After(drive_.ChangeBaudRate(b)); }
  int32_t SendISPByte(int32_t b, int32_t* s) override { return After(drive_.SendISPByte(b, s)); }
  int32_t GetISPStatus(int32_t* s, int32_t t) override { return After(drive_.GetISPStatus(s, t)); }
  int32_t ChangeGetSleepTime(int32_t v) override { return After(drive_.ChangeGetSleepTime(v)); }
  int32_t GetMaxNumMotoBusAxes(int32_t* a) override { return After(drive_.GetMaxNumMotoBusAxes(a)); }
  void CommSVODBVersion(char* text) override {
    drive_.CommSVODBVersion(text);
    After(0);
  }
  void CommNCLVersion(char* text) override {
    drive_.CommNCLVersion(text);
    After(0);
  }

 protected:
  virtual int32_t After(int32_t result) { return result; }
  sim::VirtualDrive& drive_;
};

}  // namespace svodb::testing
