// The drive's FPGA configuration flash (512 Kbytes) and the ISP engine that
// programs it from the host's byte stream.
//
// The host unlocks the engine by writing 0x55, 0xAA and a function byte to
// the ISP register (77): 3 program, 5 verify, 9 erase, 17 reconfigure the
// FPGA from the flash. On logic version 4 the engine reaches the flash only
// while SPI_EN (register 111, bit 7) is on; otherwise the unlock starts
// nothing. On a serial link the ISP byte channel runs at 115200 baud only.
// Where the engine does not answer, the transport reports "No Response" (0).
//
// Program and verify: after the unlock the engine is busy (status 4) for a
// few status reads while it prepares (program erases the flash), then ready
// (1). Each byte is stored at, or compared with, the next flash address.
// The engine reports "finished" (2) when the flash is full, or at a status
// read with no data since the previous one (the host has stopped sending);
// a verify difference or data beyond the flash makes it report "failed"
// (8) from then on. The byte after "finished" is the closing byte that ends
// the function; so is any byte while the engine is not yet ready. On the
// network a byte may be answered "not yet taken" (0) for some status reads.
// Erase reports "finished" at its status read, the flash being blank then.
//
// The transport's own failures (a byte refused, a status read that fails)
// come from the drive's fault plan; the engine's misbehaviour is set here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

namespace svodb::sim {

inline constexpr std::size_t kConfigFlashSize = 512 * 1024;

namespace isp_status {
inline constexpr int32_t kNotYetTaken = 0;
inline constexpr int32_t kReady = 1;
inline constexpr int32_t kFinished = 2;
inline constexpr int32_t kBusy = 4;
inline constexpr int32_t kFailed = 8;
}  // namespace isp_status

enum class IspFunction : uint8_t { kNone, kProgram, kVerify, kErase };

enum class IspBehaviour : uint8_t {
  kNormal,
  kNeverReady,   // answers "failed" instead of getting ready
  kBusyForEver,  // answers "busy" to every status read
  kBusyAtEnd,    // answers "busy" where it would report "finished"
};

// How the host reaches the engine at the moment of a call.
struct IspLink {
  bool serial = true;  // else the network
  int32_t baudRate = 19200;
  bool flashReachable = true;
};

struct IspAnswer {
  int32_t code;
  int32_t status;
};

struct VerifyOutcome {
  std::size_t compared = 0;
  std::optional<std::size_t> firstDifference;
};

class ConfigFlash {
 public:
  enum class Event : uint8_t { kNone, kReconfigure };

  // --- the drive's side ---
  Event WriteIspRegister(uint8_t value, const IspLink& link);
  IspAnswer SendByte(uint8_t byte, const IspLink& link);
  IspAnswer ReadStatus(const IspLink& link);

  // --- behaviour ---
  void SetBehaviour(IspBehaviour behaviour) noexcept { behaviour_ = behaviour; }
  void SetBusyRepliesBeforeReady(int replies) noexcept { busyBeforeReady_ = replies; }
  // On the network every `every`-th data byte is answered "not yet taken",
  // and so are the next `statusReads` status reads; 0 turns this off.
  void SetNetworkBacklog(std::size_t every, int statusReads) noexcept;

  // --- inspection and direct access ---
  IspFunction ActiveFunction() const noexcept { return function_; }
  std::size_t StreamedBytes() const noexcept { return streamed_; }
  const VerifyOutcome& LastVerify() const noexcept { return verify_; }
  int Reconfigurations() const noexcept { return reconfigurations_; }
  // Rises whenever a function that may have changed the flash ends or
  // blanks it, so a holder knows when to save.
  uint64_t Revision() const noexcept { return revision_; }
  const std::vector<uint8_t>& Bytes() const noexcept { return bytes_; }
  // Throws std::out_of_range beyond the flash.
  void SetByte(std::size_t address, uint8_t value) { bytes_.at(address) = value; }
  // The whole content; false (nothing changed) unless it has the flash's size.
  bool Load(const std::vector<uint8_t>& bytes);

 private:
  enum class Phase : uint8_t { kPreparing, kReceiving, kDone, kFailed };

  bool Answers(const IspLink& link) const noexcept;
  Event Start(uint8_t functionByte, const IspLink& link);
  void End() noexcept;
  int32_t FinishedStatus() const noexcept;
  IspAnswer TakeData(uint8_t byte, const IspLink& link);

  std::vector<uint8_t> bytes_ = std::vector<uint8_t>(kConfigFlashSize, 0xFF);
  IspBehaviour behaviour_ = IspBehaviour::kNormal;
  int busyBeforeReady_ = 2;
  std::size_t backlogEvery_ = 0;
  int backlogReads_ = 0;

  int unlockStage_ = 0;
  IspFunction function_ = IspFunction::kNone;
  Phase phase_ = Phase::kPreparing;
  int busyLeft_ = 0;
  int notTakenReads_ = 0;
  bool dataSinceStatus_ = false;
  std::size_t streamed_ = 0;
  VerifyOutcome verify_;
  int reconfigurations_ = 0;
  uint64_t revision_ = 0;
};

// The flash content as a raw 512-Kbyte file beside the drive's state file.
// Writing goes through a temporary file renamed over the target.
bool WriteFlashFile(const std::filesystem::path& path, const ConfigFlash& flash);
// False (flash untouched) when the file is missing or not exactly the
// flash's size.
bool ReadFlashFile(const std::filesystem::path& path, ConfigFlash& flash);

}  // namespace svodb::sim
