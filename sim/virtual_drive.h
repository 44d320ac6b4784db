// A servo drive of the family in software, answering the transport's
// operations the way the drive does: FPGA registers with the biquad and
// motor-data windows, the fault log, NV memory replayed at power-up, a
// motor that can turn, and a fault plan to make it misbehave on purpose.
// Every call is logged.
//
// Beyond the transport, the drive offers direct access for tests: such
// access is not logged, not subject to the fault plan and needs no
// connection.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "call_log.h"
#include "config_flash.h"
#include "drive/transport.h"
#include "drive_image.h"
#include "drive_memories.h"
#include "fault_plan.h"
#include "fpga_space.h"
#include "motor_motion.h"
#include "trx_device.h"

namespace svodb::sim {

enum class Connection : uint8_t { kClosed, kSerial, kNetwork };

// What the transport reports about itself.
inline constexpr std::string_view kTransportVersionText = "SVODB virtual drive 1.0";
inline constexpr std::string_view kNetworkVersionText = "SVODB virtual MotoBus 1.0";
inline constexpr int32_t kMotoBusAxes = 8;

class VirtualDrive final : public Transport {
 public:
  // Throws std::invalid_argument for a configuration no drive has. The
  // drive starts powered up from its factory NV image, with no connection.
  explicit VirtualDrive(DriveConfig config = {});

  // --- the transport ---
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

  // --- the drive's life ---

  // Switch off and on: registers and biquad memory cleared, the hardware's
  // own values back, then every NV entry replayed in entry order as a
  // register write (erased entries skipped). The motor stands afterwards.
  void PowerCycle();
  void SetMoving(bool moving);
  bool IsMoving() const noexcept { return motion_.IsMoving(); }
  // A trip: the record goes to the fault log at the drive's pointer, which
  // moves on.
  void RecordFault(const FaultRecord& record);

  // --- the link as the drive's end sees it ---
  Connection CurrentConnection() const noexcept { return connection_; }
  int32_t BaudRate() const noexcept { return baudRate_; }
  int32_t SleepTime() const noexcept { return sleepTime_; }
  const std::array<int32_t, 8>& NetworkArguments() const noexcept { return networkArguments_; }

  // --- direct access ---

  // The register's plain byte; 44, 62 and 108 are windows whose content
  // lives in the memories below.
  uint8_t FpgaByte(uint8_t address) const noexcept { return fpga_.Byte(address); }
  void SetFpgaByte(uint8_t address, uint8_t value) noexcept { fpga_.SetByte(address, value); }
  NvEntry NvEntryAt(uint8_t entry) const noexcept { return nv_[entry]; }
  void SetNvEntry(uint8_t entry, NvEntry value) noexcept;
  // The following throw std::out_of_range beyond their memory.
  uint8_t BiquadByte(std::size_t address) const { return fpga_.Biquads().At(address); }
  void SetBiquadByte(std::size_t address, uint8_t value) { fpga_.Biquads().Set(address, value); }
  uint8_t MotorByte(std::size_t address) const { return fpga_.MotorData().At(address); }
  void SetMotorByte(std::size_t address, uint8_t value);
  uint8_t FaultLogByte(std::size_t address) const { return fpga_.Faults().Bytes().At(address); }
  void SetFaultLogByte(std::size_t address, uint8_t value) { fpga_.Faults().Bytes().Set(address, value); }

  // --- persistence ---

  PersistentState SaveState() const;
  // Takes NV and the motor data block as given; call PowerCycle() for the
  // registers to follow NV. Bytes 509-511 are the logic's own version and
  // stay as configured.
  void RestoreState(const PersistentState& state);
  WorkingRegisters SaveWorkingRegisters() const;
  // Powers up from NV and then puts the registers back as they were, as if
  // the drive had never been switched off; what the hardware itself drives
  // (model and logic strapping, measurements, the setup switches) reads as
  // the hardware has it now.
  void ResumeWorkingRegisters(const WorkingRegisters& working);
  // Rises whenever NV or motor data change, so a holder knows when to save.
  uint64_t PersistentRevision() const noexcept { return persistentRevision_; }

  // The FPGA configuration flash and its ISP engine.
  ConfigFlash& Flash() noexcept { return flash_; }
  const ConfigFlash& Flash() const noexcept { return flash_; }

  // The motor's feedback device on the port registers 22-24.
  FeedbackDevice& Trx() noexcept { return trx_; }
  const FeedbackDevice& Trx() const noexcept { return trx_; }

  FaultPlan& Faults() noexcept { return faults_; }
  CallLog& Log() noexcept { return log_; }
  const CallLog& Log() const noexcept { return log_; }
  const DriveConfig& Config() const noexcept { return config_; }

 private:
  enum class Link : uint8_t { kNotNeeded, kNeeded };

  template <typename Answer>
  int32_t Serve(CallRecord& call, Link link, Answer&& answer);

  uint8_t ReadFpga(uint8_t address);
  void WriteFpga(uint8_t address, uint8_t value);
  IspLink FlashLink() const noexcept;
  void StoreNvEntry(int32_t entry, NvEntry value);

  DriveConfig config_;
  FpgaSpace fpga_;
  NvImage nv_{};
  MotorMotion motion_;
  ConfigFlash flash_;
  FaultPlan faults_;
  CallLog log_;
  FeedbackDevice trx_{config_.feedbackGeneration, BlockOf(FactoryMotorData(config_))};
  Connection connection_ = Connection::kClosed;
  int32_t baudRate_ = 0;
  int32_t sleepTime_ = 0;
  std::array<int32_t, 8> networkArguments_{};
  uint64_t persistentRevision_ = 0;
};

}  // namespace svodb::sim
