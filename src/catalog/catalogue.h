// The catalogue as the library uses it: its records, indexed by name without
// regard to case, and the parameter sets chosen by flags.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "catalog/catalogue_table.h"

namespace svodb {

// Folds only the letters A-Z, as the drive's tools do.
std::string FoldCase(std::string_view name);

class Catalogue {
 public:
  Catalogue();
  // From the catalogue's rows, at compile time for the process's own one.
  constexpr explicit Catalogue(const std::array<VariableRecord, kCatalogueRecordCount>& rows)
      : records_(rows) {}
  Catalogue(const Catalogue&) = delete;
  Catalogue& operator=(const Catalogue&) = delete;

  static constexpr int32_t kRecordCount = static_cast<int32_t>(kCatalogueRecordCount);
  static constexpr int32_t kVariableCount = kRecordCount - 1;

  // The record whose name folds to the same key, or null.
  const VariableRecord* Find(std::string_view name) const;
  VariableRecord* Find(std::string_view name);

  // The record at a 1-based position, or null outside 1-160; the terminator
  // at 160 is returned (its name is null).
  const VariableRecord* AtPosition(int32_t position) const;
  // The name at a 1-based position, or null for a position that names no
  // variable.
  const char* NameAt(int32_t position) const;

  // The conversion code of a name; 9 for an unknown name.
  int32_t GetConversionCode(std::string_view name) const;

  const std::array<VariableRecord, kCatalogueRecordCount>& Records() const { return records_; }

 private:
  // One field changes at run time (flag 0 of Command); the current limits'
  // conversion codes are derived per node where they are read, never stored
  // here. So the catalogue owns a copy of the constant table;
  // the name index is constant (names never change).
  std::array<VariableRecord, kCatalogueRecordCount> records_;
};

// The 1-based catalogue position of a name as a result code's detail can
// carry it: 0 for a name the catalogue does not know or whose position is
// beyond the detail's two digits.
int32_t PositionOf(const Catalogue& catalogue, std::string_view name);

// The parameter sets that whole-set transfers and files are built from.
enum class ParameterSet {
  kDriveRead,             // flags 2, 13
  kUserWrite,             // flags 1, 2, 11, 13
  kNetworkUserWrite,      // flags 1, 2, 3, 11, 13
  kManufacturing,         // flags 2, 13; flag 1 clear
  kManufacturingFile,     // flags 2, 12; flag 1 clear
  kUserFile,              // flags 1, 2, 11, 12 (the caller drops unsupported ones)
};

using ParameterList = std::vector<const VariableRecord*>;

// Appends, in catalogue order, the records of a set.
void AppendParameterSet(const Catalogue& catalogue, ParameterSet set, ParameterList& list);

// The unit column for a command source and mode: command source 1 selects
// the percent columns 2 and 3, torque mode (0) the odd columns.
int UnitColumn(int32_t commandSource, uint32_t mode);

}  // namespace svodb
