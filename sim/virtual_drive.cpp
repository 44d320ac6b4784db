#include "virtual_drive.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "catalog/result_codes.h"

namespace svodb::sim {

namespace {

// NVEraseUnit's answer when the NV memory wants the erase tried once more.
constexpr int32_t kEraseBusy = 2;

bool IsByteIndex(int32_t value) noexcept { return value >= 0 && value <= 255; }

// The drive takes the low eight bits of a data argument, so a character
// sent as a negative signed byte arrives as its code.
uint8_t DataByte(int32_t value) noexcept { return static_cast<uint8_t>(value & 0xFF); }

void Put(int32_t* out, int32_t value) noexcept {
  if (out != nullptr) *out = value;
}

void CopyText(char* out, std::string_view text) noexcept {
  if (out == nullptr) return;
  const std::size_t length = std::min(text.size(), kTransportVersionCapacity - 1);
  std::memcpy(out, text.data(), length);
  out[length] = '\0';
}

}  // namespace

VirtualDrive::VirtualDrive(DriveConfig config) : config_(std::move(config)) {
  ValidateConfig(config_);
  nv_ = FactoryNvImage(config_);
  fpga_.MotorData().Bytes() = FactoryMotorData(config_);
  for (const FaultRecord& record : config_.faultHistory) fpga_.Faults().Record(record);
  PowerCycle();
}

// Every transport call passes here: the fault plan first, then the link,
// then the drive's own answer. Outputs reach the log only on success.
template <typename Answer>
int32_t VirtualDrive::Serve(CallRecord& call, Link link, Answer&& answer) {
  int32_t result = code::kNoResponse;
  if (const auto failure = faults_.TakeFailure(call.operation, call.FirstArgument())) {
    result = *failure;
  } else if (link == Link::kNeeded && connection_ == Connection::kClosed) {
    result = code::kNoResponse;
  } else {
    result = answer();
  }
  call.result = result;
  if (result != code::kOk) call.outputCount = 0;
  log_.Record(call);
  return result;
}

// --- connection ---

int32_t VirtualDrive::InitComPort(int32_t port, int32_t baudRate) {
  CallRecord call(Operation::kInitComPort, {port, baudRate});
  return Serve(call, Link::kNotNeeded, [&] {
    if (port == 0) {
      if (connection_ == Connection::kSerial) connection_ = Connection::kClosed;
      return code::kOk;
    }
    if (port != config_.serialPort) return code::kNoSuchPort;
    connection_ = Connection::kSerial;
    baudRate_ = baudRate;
    return code::kOk;
  });
}

int32_t VirtualDrive::InitMotoBus(const std::array<int32_t, 8>& args) {
  CallRecord call(Operation::kInitMotoBus,
                  {args[0], args[1], args[2], args[3], args[4], args[5], args[6], args[7]});
  return Serve(call, Link::kNotNeeded, [&] {
    connection_ = Connection::kNetwork;
    networkArguments_ = args;
    return code::kOk;
  });
}

int32_t VirtualDrive::KillMotoBus() {
  CallRecord call(Operation::kKillMotoBus, {});
  return Serve(call, Link::kNotNeeded, [&] {
    if (connection_ == Connection::kNetwork) connection_ = Connection::kClosed;
    return code::kOk;
  });
}

int32_t VirtualDrive::GetCommType() {
  CallRecord call(Operation::kGetCommType, {});
  return Serve(call, Link::kNotNeeded, [&] {
    switch (connection_) {
      case Connection::kSerial: return kSerialConnection;
      case Connection::kNetwork: return kNetworkConnection;
      case Connection::kClosed: break;
    }
    return int32_t{0};
  });
}

// --- FPGA registers ---

uint8_t VirtualDrive::ReadFpga(uint8_t address) {
  if (motion_.IsSampledBy(address)) motion_.Advance(fpga_);
  if (const auto port = trx_.Read(address, faults_))
    return static_cast<uint8_t>(*port ^ faults_.TakeReadDistortion(address));
  return static_cast<uint8_t>(fpga_.Read(address) ^ faults_.TakeReadDistortion(address));
}

void VirtualDrive::WriteFpga(uint8_t address, uint8_t value) {
  if (faults_.TakeDroppedFpgaWrite(address)) return;
  fpga_.Write(address, value);
  if (trx_.AfterWrite(address, value, fpga_, faults_)) ++persistentRevision_;
  // Reconfiguring reloads the FPGA from the flash: the drive starts over.
  if (address == fpga::kIspRegister &&
      flash_.WriteIspRegister(value, FlashLink()) == ConfigFlash::Event::kReconfigure) {
    PowerCycle();
  }
}

IspLink VirtualDrive::FlashLink() const noexcept {
  constexpr uint8_t kSpiEnabled = 0x80;
  constexpr int32_t kSpiLogicVersion = 4;
  return IspLink{connection_ == Connection::kSerial, baudRate_,
                 config_.logicVersion != kSpiLogicVersion || (fpga_.Byte(fpga::kSpiEnable) & kSpiEnabled) != 0};
}

int32_t VirtualDrive::GetVarFromFPGA(int32_t address, int32_t* data, int32_t* second) {
  CallRecord call(Operation::kGetVarFromFPGA, {address});
  const uint8_t distortion = faults_.TakeCallDistortion(Operation::kGetVarFromFPGA);
  const int32_t result = Serve(call, Link::kNeeded, [&] {
    if (!IsByteIndex(address)) return code::kWrongAddress;
    call.SetOutputs({ReadFpga(static_cast<uint8_t>(address)) ^ distortion});
    return code::kOk;
  });
  if (result == code::kOk) {
    Put(data, call.outputs[0]);
    Put(second, 0);
  }
  return result;
}

int32_t VirtualDrive::PutVarToFPGA(int32_t address, int32_t data) {
  CallRecord call(Operation::kPutVarToFPGA, {address, data});
  return Serve(call, Link::kNeeded, [&] {
    if (!IsByteIndex(address)) return code::kWrongAddress;
    WriteFpga(static_cast<uint8_t>(address), DataByte(data));
    return code::kOk;
  });
}

// --- NV memory ---

void VirtualDrive::StoreNvEntry(int32_t entry, NvEntry value) {
  faults_.ForgetWrongRegister(entry);
  NvEntry& stored = nv_[static_cast<std::size_t>(entry)];
  if (stored == value) return;
  stored = value;
  ++persistentRevision_;
}

int32_t VirtualDrive::GetVarFromEEPROM(int32_t entry, int32_t* fpgaRegister, int32_t* data) {
  CallRecord call(Operation::kGetVarFromEEPROM, {entry});
  const uint8_t distortion = faults_.TakeCallDistortion(Operation::kGetVarFromEEPROM);
  const int32_t result = Serve(call, Link::kNeeded, [&] {
    if (!IsByteIndex(entry)) return code::kWrongAddress;
    const NvEntry& stored = nv_[static_cast<std::size_t>(entry)];
    call.SetOutputs({faults_.WrongRegisterFor(entry).value_or(stored.fpgaRegister), stored.data ^ distortion});
    return code::kOk;
  });
  if (result == code::kOk) {
    Put(fpgaRegister, call.outputs[0]);
    Put(data, call.outputs[1]);
  }
  return result;
}

int32_t VirtualDrive::PutVarToEEPROM(int32_t entry, int32_t fpgaRegister, int32_t data) {
  CallRecord call(Operation::kPutVarToEEPROM, {entry, fpgaRegister, data});
  return Serve(call, Link::kNeeded, [&] {
    if (!IsByteIndex(entry) || !IsByteIndex(fpgaRegister)) return code::kWrongAddress;
    if (!faults_.TakeDroppedNvWrite(entry))
      StoreNvEntry(entry, NvEntry{static_cast<uint8_t>(fpgaRegister), DataByte(data)});
    return code::kOk;
  });
}

int32_t VirtualDrive::NVEraseUnit(int32_t entry) {
  CallRecord call(Operation::kNVEraseUnit, {entry});
  return Serve(call, Link::kNeeded, [&] {
    if (!IsByteIndex(entry)) return code::kWrongAddress;
    if (faults_.TakeBusyErase(entry)) return kEraseBusy;
    StoreNvEntry(entry, kErasedNvEntry);
    return code::kOk;
  });
}

// --- port services ---

int32_t VirtualDrive::FlushPort() {
  CallRecord call(Operation::kFlushPort, {});
  return Serve(call, Link::kNeeded, [] { return code::kOk; });
}

int32_t VirtualDrive::ChangeBaudRate(int32_t baudRate) {
  CallRecord call(Operation::kChangeBaudRate, {baudRate});
  return Serve(call, Link::kNeeded, [&] {
    baudRate_ = baudRate;
    return code::kOk;
  });
}

int32_t VirtualDrive::SendISPByte(int32_t byte, int32_t* status) {
  CallRecord call(Operation::kSendISPByte, {byte});
  const int32_t result = Serve(call, Link::kNeeded, [&] {
    const IspAnswer answer = flash_.SendByte(DataByte(byte), FlashLink());
    call.SetOutputs({answer.status});
    return answer.code;
  });
  if (result == code::kOk) Put(status, call.outputs[0]);
  return result;
}

int32_t VirtualDrive::GetISPStatus(int32_t* status, int32_t timeout_ms) {
  CallRecord call(Operation::kGetISPStatus, {timeout_ms});
  const int32_t result = Serve(call, Link::kNeeded, [&] {
    const IspAnswer answer = flash_.ReadStatus(FlashLink());
    call.SetOutputs({answer.status});
    return answer.code;
  });
  if (result == code::kOk) Put(status, call.outputs[0]);
  return result;
}

int32_t VirtualDrive::ChangeGetSleepTime(int32_t value) {
  CallRecord call(Operation::kChangeGetSleepTime, {value});
  return Serve(call, Link::kNotNeeded, [&] {
    sleepTime_ = value;
    return code::kOk;
  });
}

int32_t VirtualDrive::GetMaxNumMotoBusAxes(int32_t* axes) {
  CallRecord call(Operation::kGetMaxNumMotoBusAxes, {});
  const int32_t result = Serve(call, Link::kNotNeeded, [&] {
    call.SetOutputs({kMotoBusAxes});
    return code::kOk;
  });
  if (result == code::kOk) Put(axes, call.outputs[0]);
  return result;
}

void VirtualDrive::CommSVODBVersion(char* text) {
  CallRecord call(Operation::kCommSVODBVersion, {});
  call.text = kTransportVersionText;
  log_.Record(call);
  CopyText(text, kTransportVersionText);
}

void VirtualDrive::CommNCLVersion(char* text) {
  CallRecord call(Operation::kCommNCLVersion, {});
  call.text = kNetworkVersionText;
  log_.Record(call);
  CopyText(text, kNetworkVersionText);
}

// --- the drive's life ---

void VirtualDrive::PowerCycle() {
  fpga_.ClearVolatile();
  ApplyHardwareState(fpga_, config_);
  motion_.Reset(fpga_);
  for (const NvEntry& entry : nv_) {
    if (entry.fpgaRegister != kErasedNvEntry.fpgaRegister) fpga_.Write(entry.fpgaRegister, entry.data);
  }
  trx_.PowerUp(fpga_, faults_);
}

void VirtualDrive::SetMoving(bool moving) {
  if (moving) {
    motion_.Start();
  } else {
    motion_.Stop(fpga_);
  }
}

void VirtualDrive::RecordFault(const FaultRecord& record) {
  fpga_.Faults().Record(record);
  if (const RegisterDescriptor* pointer = FindTableRow("FAULTHISPNTR"))
    fpga_.SetField(*pointer, static_cast<int32_t>(fpga_.Faults().NextRecord()));
}

// --- direct access and persistence ---

void VirtualDrive::SetNvEntry(uint8_t entry, NvEntry value) noexcept {
  if (nv_[entry] == value) return;
  nv_[entry] = value;
  ++persistentRevision_;
}

void VirtualDrive::SetMotorByte(std::size_t address, uint8_t value) {
  fpga_.MotorData().Set(address, value);
  ++persistentRevision_;
}

PersistentState VirtualDrive::SaveState() const { return PersistentState{nv_, fpga_.MotorData().Bytes()}; }

WorkingRegisters VirtualDrive::SaveWorkingRegisters() const {
  WorkingRegisters working;
  for (std::size_t address = 0; address < working.registers.size(); ++address)
    working.registers[address] = fpga_.Byte(static_cast<uint8_t>(address));
  working.biquads = fpga_.Biquads().Bytes();
  return working;
}

void VirtualDrive::ResumeWorkingRegisters(const WorkingRegisters& working) {
  PowerCycle();
  for (std::size_t address = 0; address < working.registers.size(); ++address)
    fpga_.SetByte(static_cast<uint8_t>(address), working.registers[address]);
  fpga_.Biquads().Bytes() = working.biquads;
  ApplyHardwareState(fpga_, config_);
}

void VirtualDrive::RestoreState(const PersistentState& state) {
  nv_ = state.nv;
  auto& motorData = fpga_.MotorData().Bytes();
  const auto ownVersion = FactoryMotorData(config_);
  motorData = state.motorData;
  // The device holds what the drive last read from it.
  trx_.SetBlock(BlockOf(motorData));
  std::copy(ownVersion.begin() + kLogicVersionBytesStart, ownVersion.end(),
            motorData.begin() + kLogicVersionBytesStart);
  ++persistentRevision_;
}

}  // namespace svodb::sim
