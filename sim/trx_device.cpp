#include "trx_device.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "drive_state_file.h"

namespace svodb::sim {

namespace {

// Register 22 in bit mode.
constexpr uint8_t kChipSelect = 0x01;
constexpr uint8_t kClock = 0x02;
constexpr uint8_t kDataIn = 0x04;
constexpr uint8_t kPortEnable = 0x08;
constexpr uint8_t kDataOutBit = 0x10;  // register 24

// Engine functions.
constexpr uint8_t kReadData = 112;
constexpr uint8_t kWriteData = 113;
constexpr uint8_t kReadStatus = 114;
constexpr uint8_t kSendInstruction = 115;

// Flash instructions and status bits.
constexpr uint8_t kPageProgram = 2;
constexpr uint8_t kRead = 3;
constexpr uint8_t kWriteDisable = 4;
constexpr uint8_t kWriteEnable = 6;
constexpr uint8_t kSectorErase = 0xD8;
constexpr uint8_t kCloseSequence = 0xFF;
constexpr uint8_t kBusy = 0x01;
constexpr uint8_t kWriteEnabled = 0x02;
constexpr uint8_t kDataReady = 0x04;

constexpr int kEraseBusyReads = 3;
constexpr int kProgramBusyReads = 2;

// Microwire opcodes (the two bits after the start bit).
constexpr uint32_t kOpcodeSpecial = 0;
constexpr uint32_t kOpcodeWrite = 1;
constexpr uint32_t kOpcodeRead = 2;

// What the factory leaves in the device besides the block: generation 1
// has RDSINOffset 128 and SINGain 512 in words 0-2 and erased words up to
// 63; generation 2 has calibration tables in the region's first three
// pages, blank pages after them, and two device bytes below the block.
constexpr uint16_t kFactoryParameterWords[3] = {0x0580, 0x0700, 0x0980};
constexpr std::size_t kCalibrationBytes = 0x300;
constexpr std::size_t kOffsetByte = 16642;
constexpr std::size_t kSecondByte = 16692;
constexpr uint8_t kFactoryOffsetByte = 118;
constexpr uint8_t kFactorySecondByte = 5;

bool DiagnosticsReported(const FpgaSpace& fpga) {
  return (fpga.Byte(fpga::kDriveControl) & fpga::kDiagnosticsActive) != 0;
}

}  // namespace

MotorDataBlock BlockOf(const std::array<uint8_t, MotorDataMemory::kSize>& motorData) {
  MotorDataBlock block{};
  std::copy_n(motorData.begin(), block.size(), block.begin());
  return block;
}

// --- generation 1 ---------------------------------------------------------

bool MicrowireEeprom::Drive(bool chipSelect, bool clock, bool dataIn, FaultPlan& faults) {
  bool changed = false;
  if (chipSelect && !chipSelect_) {
    // Selecting a device that is still writing is its status check.
    phase_ = busy_ ? Phase::kStatus : Phase::kStart;
    count_ = 0;
    shift_ = 0;
  } else if (!chipSelect && chipSelect_) {
    if (phase_ == Phase::kWriteComplete) {
      busy_ = true;
    } else if (phase_ == Phase::kStatus) {
      changed = FinishWrite(faults);
    }
    phase_ = Phase::kIdle;
    dataOut_ = false;
  } else if (chipSelect && clock && !clock_) {
    Clock(dataIn);
  }
  chipSelect_ = chipSelect;
  clock_ = clock;
  return changed;
}

bool MicrowireEeprom::Release(FaultPlan& faults) {
  bool changed = Drive(false, false, false, faults);
  if (busy_) changed = FinishWrite(faults) || changed;
  return changed;
}

bool MicrowireEeprom::FinishWrite(FaultPlan& faults) {
  busy_ = false;
  if (faults.TakeTrxWordNotSticking(address_) || words_[address_] == pending_) return false;
  words_[address_] = pending_;
  return true;
}

void MicrowireEeprom::Clock(bool dataIn) {
  const uint32_t bit = dataIn ? 1 : 0;
  switch (phase_) {
    case Phase::kStart:
      if (dataIn) phase_ = Phase::kHeader;
      break;
    case Phase::kHeader: {
      shift_ = (shift_ << 1) | bit;
      if (++count_ < 10) break;
      const uint32_t opcode = shift_ >> 8;
      address_ = static_cast<uint8_t>(shift_ & 0xFF);
      count_ = 0;
      shift_ = 0;
      if (opcode == kOpcodeRead) {
        phase_ = Phase::kRead;
        dataOut_ = false;  // the dummy bit
      } else if (opcode == kOpcodeWrite) {
        phase_ = Phase::kWriteData;
      } else {
        // Write enable (11xxxxxx) and disable (00xxxxxx); the library never
        // sends the erase-all and write-all forms, nor the erase opcode.
        if (opcode == kOpcodeSpecial && (address_ >> 6) == 3) writeEnabled_ = true;
        if (opcode == kOpcodeSpecial && (address_ >> 6) == 0) writeEnabled_ = false;
        phase_ = Phase::kIgnore;
      }
      break;
    }
    case Phase::kRead:
      // Data bits follow, most significant first; clocking on reads the
      // next word.
      dataOut_ = ((words_[address_] >> (15 - count_)) & 1) != 0;
      if (++count_ == 16) {
        count_ = 0;
        address_ = static_cast<uint8_t>(address_ + 1);
      }
      break;
    case Phase::kWriteData:
      shift_ = (shift_ << 1) | bit;
      if (++count_ == 16) {
        pending_ = static_cast<uint16_t>(shift_);
        phase_ = writeEnabled_ ? Phase::kWriteComplete : Phase::kIgnore;
      }
      break;
    case Phase::kIdle:
    case Phase::kWriteComplete:
    case Phase::kIgnore:
    case Phase::kStatus: break;
  }
}

bool MicrowireEeprom::DataOut() const noexcept {
  if (!chipSelect_) return false;
  if (phase_ == Phase::kStatus) return true;  // ready
  return phase_ == Phase::kRead && dataOut_;
}

// --- the device and the engine ------------------------------------------

FeedbackDevice::FeedbackDevice(int32_t generation, const MotorDataBlock& block) : generation_(generation) {
  if (generation != 1 && generation != 2)
    throw std::invalid_argument("feedback device generation not 1 or 2");
  if (generation == 1) {
    for (std::size_t w = 0; w < MicrowireEeprom::kWordCount; ++w) eeprom_.SetWord(w, 0xFFFF);
    for (std::size_t w = 0; w < 3; ++w) eeprom_.SetWord(w, kFactoryParameterWords[w]);
  } else {
    for (std::size_t i = 0; i < kCalibrationBytes; ++i)
      flash_.SetByte(kRegionStart + i, static_cast<uint8_t>((i * 7 + 3) & 0xFF));
    flash_.SetByte(kRegionStart + kOffsetByte, kFactoryOffsetByte);
    flash_.SetByte(kRegionStart + kSecondByte, kFactorySecondByte);
  }
  SetBlock(block);
}

MotorDataBlock FeedbackDevice::Block() const {
  MotorDataBlock block{};
  for (std::size_t i = 0; i < block.size(); ++i) {
    if (generation_ == 1) {
      const uint16_t word = eeprom_.Word(kBlockFirstWord + i / 2);
      block[i] = static_cast<uint8_t>(i % 2 == 0 ? word & 0xFF : word >> 8);
    } else {
      block[i] = flash_.Byte(kBlockAddress + i);
    }
  }
  return block;
}

void FeedbackDevice::SetBlock(const MotorDataBlock& block) {
  for (std::size_t i = 0; i < block.size(); ++i) {
    if (generation_ == 1) {
      if (i % 2 == 1)
        eeprom_.SetWord(kBlockFirstWord + i / 2, static_cast<uint16_t>(block[i] << 8 | block[i - 1]));
    } else {
      flash_.SetByte(kBlockAddress + i, block[i]);
    }
  }
}

std::optional<uint8_t> FeedbackDevice::Read(uint8_t address, FaultPlan& faults) const {
  if (address != trx_port::kInput) return std::nullopt;
  if (const auto stuck = faults.DeadTrxPortInput()) return *stuck;
  if (!diagnostics_) return 0;
  return output_;
}

bool FeedbackDevice::AfterWrite(uint8_t address, uint8_t value, FpgaSpace& fpga, FaultPlan& faults) {
  if (address == fpga::kDriveControl) {
    bool active = DiagnosticsReported(fpga);
    if (active && faults.TakeRefusedTrxDiagnostics()) {
      fpga.SetByte(address, static_cast<uint8_t>(fpga.Byte(address) & ~fpga::kDiagnosticsActive));
      active = false;
    }
    const bool leaving = diagnostics_ && !active;
    diagnostics_ = active;
    return leaving && LoadDriveCopy(fpga, faults);
  }
  if ((address != trx_port::kOutput && address != trx_port::kFunction) || !diagnostics_ ||
      faults.DeadTrxPortInput())
    return false;

  const uint8_t function = fpga.Byte(trx_port::kFunction);
  if (address == trx_port::kFunction) {
    // Leaving bit mode drops the lines; the engine's output is the
    // function's own until the next byte is passed.
    output_ = 0;
    return function != trx_port::kBitMode && eeprom_.Release(faults);
  }
  if (function == trx_port::kBitMode) {
    bool changed = false;
    if (generation_ == 1) {
      const bool enabled = (value & kPortEnable) != 0;
      changed = eeprom_.Drive(enabled && (value & kChipSelect) != 0, enabled && (value & kClock) != 0,
                              enabled && (value & kDataIn) != 0, faults);
      output_ = eeprom_.DataOut() ? kDataOutBit : 0;
    }
    return changed;
  }
  if (function >= trx_port::kFirstEngineFunction && function <= trx_port::kLastEngineFunction)
    return Engine(function, value, faults);
  return false;
}

void FeedbackDevice::PowerUp(FpgaSpace& fpga, FaultPlan& faults) {
  eeprom_.Release(faults);
  readOpen_ = false;
  programOpen_ = false;
  busyReads_ = 0;
  writeEnabled_ = false;
  output_ = 0;
  LoadDriveCopy(fpga, faults);
  diagnostics_ = DiagnosticsReported(fpga);
}

bool FeedbackDevice::LoadDriveCopy(FpgaSpace& fpga, FaultPlan& faults) {
  bool changed = eeprom_.Release(faults);
  const MotorDataBlock block = Block();
  auto& copy = fpga.MotorData().Bytes();
  if (!std::equal(block.begin(), block.end(), copy.begin())) {
    std::copy(block.begin(), block.end(), copy.begin());
    changed = true;
  }
  address_ = generation_ == 2 ? kGeneration2AddressAfterLoad : 0;
  output_ = 0;
  return changed;
}

uint8_t FeedbackDevice::Status() {
  if (generation_ != 2) return 0xFF;  // no flash answers: the line floats high
  uint8_t status = 0;
  if (busyReads_ > 0) {
    status = kBusy | kWriteEnabled;
    if (--busyReads_ == 0) writeEnabled_ = false;
  } else if (writeEnabled_) {
    status = kWriteEnabled;
  }
  if (readOpen_) {
    if (readyReads_ == 0) status |= kDataReady;
    if (readyReads_ > 0) --readyReads_;
  }
  return status;
}

bool FeedbackDevice::Engine(uint8_t function, uint8_t byte, FaultPlan& faults) {
  const int shift = function >= 116 ? (function - 116) / 2 * 8 : 0;
  switch (function) {
    case kReadData:
      if (generation_ != 2 || !readOpen_ || readyReads_ > 0) {
        output_ = generation_ != 2 ? 0xFF : 0x00;
      } else {
        output_ = flash_.Byte(readPointer_ % SerialFlash::kSize);
        ++readPointer_;
      }
      return false;
    case kWriteData:
      if (programOpen_) {
        programBuffer_[programOffset_ % SerialFlash::kPageSize] = byte;
        ++programOffset_;
      } else {
        held_ = byte;
      }
      return false;
    case kReadStatus: output_ = Status(); return false;
    case kSendInstruction: return Instruction(byte, faults);
    case 116:
    case 118:
    case 120: output_ = static_cast<uint8_t>(address_ >> shift); return false;
    default:  // 117, 119, 121: load a byte of the address
      address_ = (address_ & ~(0xFFu << shift)) | (static_cast<uint32_t>(byte) << shift);
      return false;
  }
}

bool FeedbackDevice::Instruction(uint8_t instruction, FaultPlan& faults) {
  if (generation_ != 2 || busyReads_ > 0) return false;  // a busy flash hears only its status
  if (instruction != kRead) readOpen_ = false;
  switch (instruction) {
    case kRead:
      readOpen_ = true;
      readyReads_ = 1;
      readPointer_ = address_;
      return false;
    case kWriteEnable: writeEnabled_ = true; return false;
    case kWriteDisable: writeEnabled_ = false; return false;
    case kSectorErase: {
      if (!writeEnabled_) return false;
      const std::size_t start =
          (address_ % SerialFlash::kSize) / SerialFlash::kSectorSize * SerialFlash::kSectorSize;
      std::fill_n(flash_.bytes_.begin() + static_cast<std::ptrdiff_t>(start), SerialFlash::kSectorSize, 0xFF);
      busyReads_ = kEraseBusyReads;
      return true;
    }
    case kPageProgram:
      if (!writeEnabled_) return false;
      programOpen_ = true;
      programPage_ = (address_ % SerialFlash::kSize) & ~static_cast<uint32_t>(SerialFlash::kPageSize - 1);
      programOffset_ = address_ % SerialFlash::kPageSize;
      programBuffer_.fill(0xFF);
      programBuffer_[programOffset_] = held_;
      ++programOffset_;
      return false;
    case kCloseSequence: {
      if (!programOpen_) return false;
      programOpen_ = false;
      programBuffer_[0] ^= faults.TakeTrxPageDistortion(static_cast<int32_t>(programPage_));
      // Programming only clears bits; an unerased page keeps its ones.
      for (std::size_t i = 0; i < SerialFlash::kPageSize; ++i)
        flash_.bytes_[programPage_ + i] &= programBuffer_[i];
      busyReads_ = kProgramBusyReads;
      return true;
    }
    default: return false;  // read status: every status read reports afresh
  }
}

// --- the device's memory as a file -----------------------------------------

namespace {

constexpr std::string_view kDeviceHeader = "svodb-feedback-device 1";
constexpr std::size_t kWordsPerRow = 8;
constexpr std::size_t kBytesPerRow = 16;

void AppendHex(std::string& out, unsigned value, int digits) {
  constexpr char kDigits[] = "0123456789abcdef";
  for (int d = digits - 1; d >= 0; --d) out += kDigits[(value >> (4 * d)) & 0xF];
}

}  // namespace

std::string FormatDeviceMemory(const FeedbackDevice& device) {
  std::string out(kDeviceHeader);
  out += "\ngeneration " + std::to_string(device.Generation()) + '\n';
  if (device.Generation() == 1) {
    for (std::size_t w = 0; w < MicrowireEeprom::kWordCount; w += kWordsPerRow) {
      out += "word " + std::to_string(w);
      for (std::size_t i = 0; i < kWordsPerRow; ++i) {
        out += ' ';
        AppendHex(out, device.Eeprom().Word(w + i), 4);
      }
      out += '\n';
    }
  } else {
    for (std::size_t offset = 0; offset < FeedbackDevice::kRegionSize; offset += kBytesPerRow) {
      out += "flash " + std::to_string(offset);
      for (std::size_t i = 0; i < kBytesPerRow; ++i) {
        out += ' ';
        AppendHex(out, device.Flash().Byte(FeedbackDevice::kRegionStart + offset + i), 2);
      }
      out += '\n';
    }
  }
  return out;
}

bool ParseDeviceMemory(std::string_view text, FeedbackDevice& device) {
  std::istringstream in{std::string(text)};
  std::string line;
  if (!std::getline(in, line) || line != kDeviceHeader) return false;
  int generation = 0;
  if (!std::getline(in, line) || std::sscanf(line.c_str(), "generation %d", &generation) != 1 ||
      generation != device.Generation())
    return false;
  const bool words = generation == 1;
  const std::size_t perRow = words ? kWordsPerRow : kBytesPerRow;
  const std::size_t total = words ? MicrowireEeprom::kWordCount : FeedbackDevice::kRegionSize;
  std::vector<unsigned> values(total);
  std::vector<bool> seen(total / perRow);
  while (std::getline(in, line)) {
    std::istringstream row(line);
    std::string keyword;
    std::size_t start = 0;
    if (!(row >> keyword >> std::dec >> start) || keyword != (words ? "word" : "flash") ||
        start % perRow != 0 || start >= total || seen[start / perRow])
      return false;
    for (std::size_t i = 0; i < perRow; ++i) {
      if (!(row >> std::hex >> values[start + i]) || values[start + i] > (words ? 0xFFFFu : 0xFFu))
        return false;
    }
    std::string rest;
    if (row >> rest) return false;
    seen[start / perRow] = true;
  }
  if (std::find(seen.begin(), seen.end(), false) != seen.end()) return false;
  for (std::size_t i = 0; i < total; ++i) {
    if (words) {
      device.Eeprom().SetWord(i, static_cast<uint16_t>(values[i]));
    } else {
      device.Flash().SetByte(FeedbackDevice::kRegionStart + i, static_cast<uint8_t>(values[i]));
    }
  }
  return true;
}

bool WriteDeviceFile(const std::filesystem::path& path, const FeedbackDevice& device) {
  return ReplaceFileContent(path, FormatDeviceMemory(device));
}

bool ReadDeviceFile(const std::filesystem::path& path, FeedbackDevice& device) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream text;
  text << in.rdbuf();
  return ParseDeviceMemory(text.str(), device);
}

}  // namespace svodb::sim
