// Every call the virtual drive answered, in order, so tests can check the
// exact bus traffic and benchmarks can count it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace svodb::sim {

// The seventeen transport operations, in the order of the transport's
// interface.
enum class Operation : uint8_t {
  kInitComPort,
  kInitMotoBus,
  kKillMotoBus,
  kGetCommType,
  kGetVarFromFPGA,
  kPutVarToFPGA,
  kGetVarFromEEPROM,
  kPutVarToEEPROM,
  kNVEraseUnit,
  kFlushPort,
  kChangeBaudRate,
  kSendISPByte,
  kGetISPStatus,
  kChangeGetSleepTime,
  kGetMaxNumMotoBusAxes,
  kCommSVODBVersion,
  kCommNCLVersion,
};

inline constexpr std::size_t kOperationCount = 17;

// The undecorated name under which the transport library exports the
// operation.
std::string_view OperationName(Operation operation) noexcept;

// One call as the drive saw and answered it. Outputs are kept only for a
// call that succeeded, because only then does the caller get them.
struct CallRecord {
  Operation operation = Operation::kGetCommType;
  std::array<int32_t, 8> arguments{};
  std::size_t argumentCount = 0;
  std::optional<int32_t> result;  // none for the two version texts
  std::array<int32_t, 2> outputs{};
  std::size_t outputCount = 0;
  std::string text;  // the version text handed out

  CallRecord() = default;
  CallRecord(Operation op, std::initializer_list<int32_t> args) noexcept;

  void SetOutputs(std::initializer_list<int32_t> values) noexcept;
  std::optional<int32_t> FirstArgument() const noexcept;

  // "GetVarFromFPGA(16) -> 1 [64]", "PutVarToFPGA(42, 3) -> 1",
  // "GetVarFromEEPROM(23) -> 1 [16, 4]", "CommSVODBVersion() [\"text\"]".
  std::string ToString() const;
};

class CallLog {
 public:
  void Record(const CallRecord& record);

  // With recording off the log keeps counting calls but stores no records,
  // so long runs (flash programming, benchmarks) stay cheap.
  void SetRecording(bool on) noexcept { recording_ = on; }
  bool IsRecording() const noexcept { return recording_; }

  const std::vector<CallRecord>& Records() const noexcept { return records_; }
  std::vector<std::string> Lines() const;
  std::string Text() const;  // one line per record, each ending in '\n'

  std::size_t TotalCount() const noexcept { return total_; }
  std::size_t Count(Operation operation) const noexcept;

  // Forgets records and counts.
  void Clear() noexcept;

 private:
  std::vector<CallRecord> records_;
  std::array<std::size_t, kOperationCount> counts_{};
  std::size_t total_ = 0;
  bool recording_ = true;
};

}  // namespace svodb::sim
