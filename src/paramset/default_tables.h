// The factory defaults of every drive model: one table per parameter set
// (user, manufacturing), drive type (serial port, network) and logic
// generation (before 4.0, from 4.0 on). Values are parameter-file texts, so
// defaults go through the same per-line setter as a parameter file does.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace svodb {

inline constexpr std::size_t kDefaultModelCount = 8;

// The model codes of the columns: X7101 ... X7106 (240 Vac), X7201, X7202
// (90 Vdc).
inline constexpr std::array<uint32_t, kDefaultModelCount> kDefaultColumnModels{30, 31, 28, 29,
                                                                               27, 26, 14, 15};

// The column of a model code; none for a code that is not one of the eight.
std::optional<std::size_t> DefaultColumn(uint32_t modelCode);

using ModelTexts = std::array<const char*, kDefaultModelCount>;

// One default: the row's 1-based position (-1 ends a table), the variable
// (names compare without regard to case) and its text for each model.
struct DefaultRow {
  int32_t index;
  const char* name;  // null only for the terminator
  ModelTexts texts;

  constexpr bool IsTerminator() const { return index == -1; }
};

enum class DefaultSet { kUser, kManufacturing };

// Rows without the terminator.
inline constexpr std::size_t kUserSerialRowCount = 44;
inline constexpr std::size_t kUserSerialLogic4RowCount = 46;
inline constexpr std::size_t kUserNetworkRowCount = 47;
inline constexpr std::size_t kUserNetworkLogic4RowCount = 49;
inline constexpr std::size_t kMfgSerialRowCount = 13;
inline constexpr std::size_t kMfgSerialLogic4RowCount = 13;
inline constexpr std::size_t kMfgNetworkRowCount = 12;
inline constexpr std::size_t kMfgNetworkLogic4RowCount = 12;

extern const std::array<DefaultRow, kUserSerialRowCount + 1> kUserSerialDefaults;
extern const std::array<DefaultRow, kUserSerialLogic4RowCount + 1> kUserSerialLogic4Defaults;
extern const std::array<DefaultRow, kUserNetworkRowCount + 1> kUserNetworkDefaults;
extern const std::array<DefaultRow, kUserNetworkLogic4RowCount + 1> kUserNetworkLogic4Defaults;
extern const std::array<DefaultRow, kMfgSerialRowCount + 1> kMfgSerialDefaults;
extern const std::array<DefaultRow, kMfgSerialLogic4RowCount + 1> kMfgSerialLogic4Defaults;
extern const std::array<DefaultRow, kMfgNetworkRowCount + 1> kMfgNetworkDefaults;
extern const std::array<DefaultRow, kMfgNetworkLogic4RowCount + 1> kMfgNetworkLogic4Defaults;

// The rows of the table for a set, a drive type (2 network, anything else
// serial) and a logic generation, without the terminator, in the order they
// are applied.
std::span<const DefaultRow> DefaultTable(DefaultSet set, uint32_t driveType, bool fromLogicFour);

}  // namespace svodb
