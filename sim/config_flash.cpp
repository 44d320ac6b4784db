#include "config_flash.h"

#include <algorithm>
#include <fstream>
#include <span>
#include <string_view>
#include <system_error>

#include "catalog/result_codes.h"
#include "drive_state_file.h"

namespace svodb::sim {

namespace {

constexpr uint8_t kUnlockKey1 = 0x55;
constexpr uint8_t kUnlockKey2 = 0xAA;
constexpr uint8_t kProgram = 3;
constexpr uint8_t kVerify = 5;
constexpr uint8_t kErase = 9;
constexpr uint8_t kConfigure = 17;
constexpr int32_t kIspBaudRate = 115200;

IspAnswer Answer(int32_t status) noexcept { return IspAnswer{code::kOk, status}; }
constexpr IspAnswer kNoAnswer{code::kNoResponse, 0};

}  // namespace

void ConfigFlash::SetNetworkBacklog(std::size_t every, int statusReads) noexcept {
  backlogEvery_ = every;
  backlogReads_ = statusReads;
}

bool ConfigFlash::Load(const std::vector<uint8_t>& bytes) {
  if (bytes.size() != kConfigFlashSize) return false;
  bytes_ = bytes;
  return true;
}

bool ConfigFlash::Answers(const IspLink& link) const noexcept {
  return function_ != IspFunction::kNone && link.flashReachable &&
         (!link.serial || link.baudRate == kIspBaudRate);
}

int32_t ConfigFlash::FinishedStatus() const noexcept {
  return behaviour_ == IspBehaviour::kBusyAtEnd ? isp_status::kBusy : isp_status::kFinished;
}

ConfigFlash::Event ConfigFlash::WriteIspRegister(uint8_t value, const IspLink& link) {
  if (value == kUnlockKey1) {
    unlockStage_ = 1;
  } else if (unlockStage_ == 1 && value == kUnlockKey2) {
    unlockStage_ = 2;
  } else if (unlockStage_ == 2) {
    unlockStage_ = 0;
    return Start(value, link);
  } else {
    unlockStage_ = 0;
  }
  return Event::kNone;
}

ConfigFlash::Event ConfigFlash::Start(uint8_t functionByte, const IspLink& link) {
  End();  // a new unlock supersedes whatever ran
  if (!link.flashReachable) return Event::kNone;
  switch (functionByte) {
    case kProgram:
      std::fill(bytes_.begin(), bytes_.end(), uint8_t{0xFF});
      ++revision_;
      function_ = IspFunction::kProgram;
      break;
    case kVerify:
      verify_ = VerifyOutcome{};
      function_ = IspFunction::kVerify;
      break;
    case kErase: function_ = IspFunction::kErase; break;
    case kConfigure: ++reconfigurations_; return Event::kReconfigure;
    default: return Event::kNone;
  }
  phase_ = Phase::kPreparing;
  busyLeft_ = busyBeforeReady_;
  notTakenReads_ = 0;
  dataSinceStatus_ = false;
  streamed_ = 0;
  return Event::kNone;
}

void ConfigFlash::End() noexcept {
  if (function_ == IspFunction::kProgram || function_ == IspFunction::kErase) ++revision_;
  function_ = IspFunction::kNone;
}

IspAnswer ConfigFlash::ReadStatus(const IspLink& link) {
  if (!Answers(link)) return kNoAnswer;
  if (behaviour_ == IspBehaviour::kBusyForEver) return Answer(isp_status::kBusy);
  if (function_ == IspFunction::kErase) {
    if (phase_ == Phase::kPreparing && behaviour_ != IspBehaviour::kBusyAtEnd) {
      std::fill(bytes_.begin(), bytes_.end(), uint8_t{0xFF});
      phase_ = Phase::kDone;
    }
    return Answer(FinishedStatus());
  }
  switch (phase_) {
    case Phase::kPreparing:
      if (behaviour_ == IspBehaviour::kNeverReady) return Answer(isp_status::kFailed);
      if (busyLeft_ > 0) {
        --busyLeft_;
        return Answer(isp_status::kBusy);
      }
      phase_ = Phase::kReceiving;
      return Answer(isp_status::kReady);
    case Phase::kReceiving:
      if (notTakenReads_ > 0) {
        --notTakenReads_;
        return Answer(isp_status::kNotYetTaken);
      }
      if (dataSinceStatus_ || streamed_ == 0) {
        dataSinceStatus_ = false;
        return Answer(isp_status::kReady);
      }
      phase_ = Phase::kDone;
      return Answer(FinishedStatus());
    case Phase::kDone: return Answer(FinishedStatus());
    case Phase::kFailed: break;
  }
  return Answer(isp_status::kFailed);
}

IspAnswer ConfigFlash::SendByte(uint8_t byte, const IspLink& link) {
  if (!Answers(link)) return kNoAnswer;
  if (function_ == IspFunction::kErase || phase_ == Phase::kPreparing || phase_ == Phase::kDone) {
    End();  // the closing byte
    return Answer(isp_status::kReady);
  }
  return TakeData(byte, link);
}

IspAnswer ConfigFlash::TakeData(uint8_t byte, const IspLink& link) {
  dataSinceStatus_ = true;
  if (phase_ == Phase::kFailed) return Answer(isp_status::kFailed);
  if (streamed_ >= bytes_.size()) {
    phase_ = Phase::kFailed;
    return Answer(isp_status::kFailed);
  }
  const std::size_t address = streamed_++;
  if (function_ == IspFunction::kProgram) {
    bytes_[address] = byte;
  } else {
    ++verify_.compared;
    if (bytes_[address] != byte) {
      verify_.firstDifference = address;
      phase_ = Phase::kFailed;
      return Answer(isp_status::kFailed);
    }
  }
  if (streamed_ == bytes_.size()) {
    phase_ = Phase::kDone;
    return Answer(FinishedStatus());
  }
  if (!link.serial && backlogEvery_ != 0 && streamed_ % backlogEvery_ == 0) {
    notTakenReads_ = backlogReads_;
    return Answer(isp_status::kNotYetTaken);
  }
  return Answer(isp_status::kReady);
}

bool WriteFlashFile(const std::filesystem::path& path, const ConfigFlash& flash) {
  const std::span<const uint8_t> bytes = flash.Bytes();
  return ReplaceFileContent(path, std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

bool ReadFlashFile(const std::filesystem::path& path, ConfigFlash& flash) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::vector<uint8_t> bytes(kConfigFlashSize + 1);
  in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (in.gcount() != static_cast<std::streamsize>(kConfigFlashSize)) return false;
  bytes.pop_back();
  return flash.Load(bytes);
}

}  // namespace svodb::sim
