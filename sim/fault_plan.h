// Misbehaviour the virtual drive is told to show: failing calls, settings
// that read back differently, writes that do not stick, NV entries that
// name the wrong register, an NV erase that reports "busy".
//
// Counting starts when a rule is added: "the 2nd call" is the second
// matching call after FailCall returned. A rule marked kOnce is spent when
// it has acted; kAlways rules act until Clear().
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "call_log.h"

namespace svodb::sim {

enum class Persistence : uint8_t { kOnce, kAlways };

class FaultPlan {
 public:
  // --- setting up ---

  // The callNumber-th call (1-based) of the operation answers `code` and
  // does nothing else. With firstArgument given only calls whose first
  // argument (FPGA address, NV entry, port, byte ...) equals it count.
  void FailCall(Operation operation, int callNumber, int32_t code,
                std::optional<int32_t> firstArgument = std::nullopt);
  void FailEveryCall(Operation operation, int32_t code, std::optional<int32_t> firstArgument = std::nullopt);

  // The second read of the FPGA address (kAlways: every second read) comes
  // back with the bits of xorMask flipped, like a setting disturbed between
  // two reads.
  void ChangeSecondRead(int32_t fpgaAddress, uint8_t xorMask = 0x01,
                        Persistence persistence = Persistence::kOnce);

  // The callNumber-th read (1-based) of the operation (GetVarFromFPGA or
  // GetVarFromEEPROM) answers its data byte with the bits of xorMask
  // flipped: one read that disagrees with its twin, wherever it falls.
  void DistortCall(Operation operation, int callNumber, uint8_t xorMask = 0x01);

  // Writes are answered with success but leave the drive as it was.
  void DropFpgaWrite(int32_t fpgaAddress, Persistence persistence = Persistence::kOnce);
  void DropNvWrite(int32_t entry, Persistence persistence = Persistence::kOnce);

  // Reads of the NV entry report fpgaRegister as the entry's register until
  // the entry is next rewritten or erased (a write stores the register it is
  // given and so repairs the entry). The drive's power-up load is not a read
  // over the bus and uses the stored register.
  void ReportWrongNvRegister(int32_t entry, int32_t fpgaRegister);

  // NVEraseUnit of the entry answers 2 ("busy, try once more") and erases
  // nothing.
  void EraseAnswersBusy(int32_t entry, Persistence persistence = Persistence::kOnce);

  void Clear() noexcept;
  bool IsEmpty() const noexcept;

  // --- consulted by the drive, once per call ---

  // The code a failing rule makes this call answer; counts the call.
  std::optional<int32_t> TakeFailure(Operation operation, std::optional<int32_t> firstArgument);
  // The bits to flip in this read of the address (0 = read as it is).
  uint8_t TakeReadDistortion(int32_t fpgaAddress);
  // The bits to flip in this call's data; counts the call.
  uint8_t TakeCallDistortion(Operation operation);
  bool TakeDroppedFpgaWrite(int32_t fpgaAddress);
  bool TakeDroppedNvWrite(int32_t entry);
  bool TakeBusyErase(int32_t entry);
  std::optional<int32_t> WrongRegisterFor(int32_t entry) const;
  void ForgetWrongRegister(int32_t entry) noexcept;

 private:
  struct CallFailure {
    Operation operation;
    std::optional<int32_t> firstArgument;
    int callNumber;  // 0 = every call
    int seen;
    int32_t code;
  };
  struct AddressRule {
    int32_t address;
    Persistence persistence;
    int seen;
    uint8_t xorMask;
  };

  static bool TakeAddressRule(std::vector<AddressRule>& rules, int32_t address);

  struct CallDistortion {
    Operation operation;
    int callNumber;
    int seen;
    uint8_t xorMask;
  };

  std::vector<CallFailure> failures_;
  std::vector<CallDistortion> distortedCalls_;
  std::vector<AddressRule> secondReads_;
  std::vector<AddressRule> droppedFpgaWrites_;
  std::vector<AddressRule> droppedNvWrites_;
  std::vector<AddressRule> busyErases_;
  std::map<int32_t, int32_t> wrongRegisters_;

 public:
  // --- the motor's feedback device ---

  // The drive keeps the diagnostics request (register 58 bit 1) but does
  // not report diagnostics mode (bit 6); kOnce refuses only the first
  // request.
  void RefuseTrxDiagnostics(Persistence persistence = Persistence::kAlways);
  // A generation-1 word write finishes but leaves the word as it was.
  void TrxWordDoesNotStick(int32_t wordAddress, Persistence persistence = Persistence::kOnce);
  // A generation-2 program of the page at pageAddress stores its first byte
  // with the bits of xorMask flipped.
  void TrxPageProgramsWrong(int32_t pageAddress, uint8_t xorMask = 0x01,
                            Persistence persistence = Persistence::kOnce);
  // The port to the device is dead: register 24 reads stuckInput and
  // nothing written to registers 22 and 23 reaches the device.
  void KillTrxPort(uint8_t stuckInput = 0x00);

  bool TakeRefusedTrxDiagnostics();
  bool TakeTrxWordNotSticking(int32_t wordAddress);
  uint8_t TakeTrxPageDistortion(int32_t pageAddress);
  std::optional<uint8_t> DeadTrxPortInput() const noexcept { return deadTrxPort_; }

 private:
  std::vector<AddressRule> refusedTrxDiagnostics_;
  std::vector<AddressRule> trxWordsNotSticking_;
  std::vector<AddressRule> trxPagesProgrammedWrong_;
  std::optional<uint8_t> deadTrxPort_;
};

}  // namespace svodb::sim
