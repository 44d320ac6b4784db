#include "fault_plan.h"

#include <algorithm>

namespace svodb::sim {

namespace {

bool Matches(std::optional<int32_t> wanted, std::optional<int32_t> actual) noexcept {
  return !wanted || wanted == actual;
}

}  // namespace

void FaultPlan::FailCall(Operation operation, int callNumber, int32_t code,
                         std::optional<int32_t> firstArgument) {
  if (callNumber < 1) return;
  failures_.push_back(CallFailure{operation, firstArgument, callNumber, 0, code});
}

void FaultPlan::FailEveryCall(Operation operation, int32_t code, std::optional<int32_t> firstArgument) {
  failures_.push_back(CallFailure{operation, firstArgument, 0, 0, code});
}

void FaultPlan::ChangeSecondRead(int32_t fpgaAddress, uint8_t xorMask, Persistence persistence) {
  secondReads_.push_back(AddressRule{fpgaAddress, persistence, 0, xorMask});
}

void FaultPlan::DistortCall(Operation operation, int callNumber, uint8_t xorMask) {
  if (callNumber < 1) return;
  distortedCalls_.push_back(CallDistortion{operation, callNumber, 0, xorMask});
}

void FaultPlan::DropFpgaWrite(int32_t fpgaAddress, Persistence persistence) {
  droppedFpgaWrites_.push_back(AddressRule{fpgaAddress, persistence, 0, 0});
}

void FaultPlan::DropNvWrite(int32_t entry, Persistence persistence) {
  droppedNvWrites_.push_back(AddressRule{entry, persistence, 0, 0});
}

void FaultPlan::ReportWrongNvRegister(int32_t entry, int32_t fpgaRegister) {
  wrongRegisters_[entry] = fpgaRegister;
}

void FaultPlan::EraseAnswersBusy(int32_t entry, Persistence persistence) {
  busyErases_.push_back(AddressRule{entry, persistence, 0, 0});
}

void FaultPlan::Clear() noexcept {
  failures_.clear();
  distortedCalls_.clear();
  secondReads_.clear();
  droppedFpgaWrites_.clear();
  droppedNvWrites_.clear();
  busyErases_.clear();
  wrongRegisters_.clear();
  refusedTrxDiagnostics_.clear();
  trxWordsNotSticking_.clear();
  trxPagesProgrammedWrong_.clear();
  deadTrxPort_.reset();
}

bool FaultPlan::IsEmpty() const noexcept {
  return failures_.empty() && distortedCalls_.empty() && secondReads_.empty() && droppedFpgaWrites_.empty() &&
         droppedNvWrites_.empty() && busyErases_.empty() && wrongRegisters_.empty() &&
         refusedTrxDiagnostics_.empty() && trxWordsNotSticking_.empty() && trxPagesProgrammedWrong_.empty() &&
         !deadTrxPort_;
}

std::optional<int32_t> FaultPlan::TakeFailure(Operation operation, std::optional<int32_t> firstArgument) {
  std::optional<int32_t> code;
  // Every matching rule counts the call, even when an earlier one fires.
  for (CallFailure& rule : failures_) {
    if (rule.operation != operation || !Matches(rule.firstArgument, firstArgument)) continue;
    ++rule.seen;
    const bool fires = rule.callNumber == 0 || rule.seen == rule.callNumber;
    if (fires && !code) code = rule.code;
  }
  std::erase_if(failures_,
                [](const CallFailure& rule) { return rule.callNumber != 0 && rule.seen >= rule.callNumber; });
  return code;
}

uint8_t FaultPlan::TakeCallDistortion(Operation operation) {
  uint8_t mask = 0;
  for (CallDistortion& rule : distortedCalls_) {
    if (rule.operation == operation && ++rule.seen == rule.callNumber) mask ^= rule.xorMask;
  }
  std::erase_if(distortedCalls_, [](const CallDistortion& rule) { return rule.seen >= rule.callNumber; });
  return mask;
}

uint8_t FaultPlan::TakeReadDistortion(int32_t fpgaAddress) {
  uint8_t mask = 0;
  for (AddressRule& rule : secondReads_) {
    if (rule.address != fpgaAddress) continue;
    ++rule.seen;
    if (rule.seen % 2 == 0) mask ^= rule.xorMask;
  }
  std::erase_if(secondReads_, [](const AddressRule& rule) {
    return rule.persistence == Persistence::kOnce && rule.seen >= 2;
  });
  return mask;
}

bool FaultPlan::TakeAddressRule(std::vector<AddressRule>& rules, int32_t address) {
  const auto it = std::find_if(rules.begin(), rules.end(),
                               [address](const AddressRule& rule) { return rule.address == address; });
  if (it == rules.end()) return false;
  if (it->persistence == Persistence::kOnce) rules.erase(it);
  return true;
}

bool FaultPlan::TakeDroppedFpgaWrite(int32_t fpgaAddress) {
  return TakeAddressRule(droppedFpgaWrites_, fpgaAddress);
}

bool FaultPlan::TakeDroppedNvWrite(int32_t entry) { return TakeAddressRule(droppedNvWrites_, entry); }

bool FaultPlan::TakeBusyErase(int32_t entry) { return TakeAddressRule(busyErases_, entry); }

std::optional<int32_t> FaultPlan::WrongRegisterFor(int32_t entry) const {
  const auto it = wrongRegisters_.find(entry);
  if (it == wrongRegisters_.end()) return std::nullopt;
  return it->second;
}

void FaultPlan::ForgetWrongRegister(int32_t entry) noexcept { wrongRegisters_.erase(entry); }

// --- the motor's feedback device ---

// Diagnostics refusals are not tied to an address; they share the address
// rules' bookkeeping under address 0.
void FaultPlan::RefuseTrxDiagnostics(Persistence persistence) {
  refusedTrxDiagnostics_.push_back(AddressRule{0, persistence, 0, 0});
}

void FaultPlan::TrxWordDoesNotStick(int32_t wordAddress, Persistence persistence) {
  trxWordsNotSticking_.push_back(AddressRule{wordAddress, persistence, 0, 0});
}

void FaultPlan::TrxPageProgramsWrong(int32_t pageAddress, uint8_t xorMask, Persistence persistence) {
  trxPagesProgrammedWrong_.push_back(AddressRule{pageAddress, persistence, 0, xorMask});
}

void FaultPlan::KillTrxPort(uint8_t stuckInput) { deadTrxPort_ = stuckInput; }

bool FaultPlan::TakeRefusedTrxDiagnostics() { return TakeAddressRule(refusedTrxDiagnostics_, 0); }

bool FaultPlan::TakeTrxWordNotSticking(int32_t wordAddress) {
  return TakeAddressRule(trxWordsNotSticking_, wordAddress);
}

uint8_t FaultPlan::TakeTrxPageDistortion(int32_t pageAddress) {
  const auto it = std::find_if(trxPagesProgrammedWrong_.begin(), trxPagesProgrammedWrong_.end(),
                               [pageAddress](const AddressRule& rule) { return rule.address == pageAddress; });
  if (it == trxPagesProgrammedWrong_.end()) return 0;
  const uint8_t mask = it->xorMask;
  if (it->persistence == Persistence::kOnce) trxPagesProgrammedWrong_.erase(it);
  return mask;
}

}  // namespace svodb::sim
