// What one whole-set or file operation knows of the connected drive: its
// logic version and, when the operation converts DeadBand, the power-board
// byte that decides the field's width. They are read once, at the start,
// and every conversion, availability check and table choice inside the
// operation takes them from here. A transient bus fault in one of many
// repeated reads would otherwise pick the old formats or the narrow
// DeadBand for some values and not for others; a fault in the single read
// at the start fails the operation before anything is written.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "catalog/result_codes.h"
#include "context.h"

namespace svodb {

// The motor-data memory byte that names the drive's power board.
inline constexpr int32_t kPowerBoardByte = 511;

struct DriveFacts {
  std::optional<int32_t> logicVersion;  // the raw LogicVer
  std::optional<uint8_t> powerBoard;    // byte 511 of the motor-data memory
};

struct FactNeeds {
  bool logicVersion = false;
  bool powerBoard = false;
  // For work on an offline image, which needs no drive: when a read fails
  // and the transport reports no connection at all, the fact stays unknown
  // and the operation goes on as without a drive (DeadBand narrow). With a
  // drive connected a failed read fails the operation as always; asking
  // for the connection only after a failed read keeps a single fault from
  // passing for "no drive".
  bool driveOptional = false;
};

// Holds the facts for the length of one operation. The outermost holder
// owns them; an operation run inside another (a file load followed by an
// NV write) shares its caller's and reads only what is still missing.
class OperationFacts {
 public:
  explicit OperationFacts(LibraryContext& ctx) noexcept;
  ~OperationFacts();
  OperationFacts(const OperationFacts&) = delete;
  OperationFacts& operator=(const OperationFacts&) = delete;

  // Reads what the operation needs and does not know yet; 1 when all is
  // known. A failed LogicVer read is a failed logic-version check (context
  // 9); a failed power-board read fails the operation's own context at
  // DeadBand, the variable it is read for. With context kNone, for inner
  // operations that return plain codes, the code without a context.
  Result Read(FactNeeds needs, Context context);

 private:
  LibraryContext& ctx_;
  DriveFacts own_;
  bool owner_;
};

// Runs body() once the facts it needs are read; a failed read is the
// operation's result (see OperationFacts::Read).
template <typename Body>
Result WithDriveFacts(LibraryContext& ctx, FactNeeds needs, Context context, Body&& body) {
  OperationFacts facts(ctx);
  const Result known = facts.Read(needs, context);
  return known == code::kOk ? body() : known;
}

// The connected drive's raw LogicVer as the running operation read it at
// its start; none outside an operation or when it did not read it.
std::optional<int32_t> KnownLogicVersion(const LibraryContext& ctx) noexcept;
std::optional<uint8_t> KnownPowerBoard(const LibraryContext& ctx) noexcept;

// The connected drive's logic version (its raw LogicVer): every part of the
// library asks here. Inside a whole-set or file operation the answer is the
// value read at the operation's start; otherwise LogicVer is read now.
// Failure policy, the same for every caller of the three below: when
// LogicVer cannot be read, logicVersion is 0 (the oldest logic) and the
// read's code is returned. A caller that goes on without an answer thus
// takes the oldest formats, tables and layouts; a caller that must not guess
// returns or checks the code. ReadLogicVersionOfKnownModel adds one failure:
// a connected model the library does not know fails it with code 9 (after
// the read, as every converted value of that drive fails); the whole-set,
// file, text and identity operations that work in the drive's units use it.
Result ReadLogicVersion(LibraryContext& ctx, int32_t& logicVersion);
Result ReadLogicVersionOfKnownModel(LibraryContext& ctx, int32_t& logicVersion);
// The same answer for callers that go on without one: 0 when unreadable.
int32_t LogicVersionOrOldest(LibraryContext& ctx);

// LogicVer in any spelling: the catalogue finds names without regard to case.
bool IsLogicVersionName(std::string_view name);

}  // namespace svodb
