#include "catalog/catalogue_table.h"

#include <string_view>

#include "catalog/catalogue_rows.h"

namespace svodb {
namespace {

// Every row but the last names a variable; the last is the terminator. A
// row left out of the list would arrive as an empty row and fail here.
consteval bool HasAllRows(const std::array<VariableRecord, kCatalogueRecordCount>& rows) {
  for (std::size_t i = 0; i + 1 < rows.size(); ++i) {
    if (rows[i].name == nullptr || std::string_view(rows[i].name).empty()) return false;
  }
  return rows.back().name == nullptr && rows.back().number == -1;
}

// The drive numbers its variables 1 to 135 in the catalogue's order (the
// variables added later carry 0 or numbers above 135 and sit where their
// names place them), so a moved or repeated row breaks the run.
consteval bool NumberedRowsInOrder(const std::array<VariableRecord, kCatalogueRecordCount>& rows) {
  constexpr int32_t kLastInOrder = 135;
  int32_t expected = 1;
  for (const VariableRecord& row : rows) {
    if (row.number < 1 || row.number > kLastInOrder) continue;
    if (row.number != expected) return false;
    ++expected;
  }
  return expected == kLastInOrder + 1;
}

constexpr NameIndex<kCatalogueVariableCount> kIndex =
    BuildNameIndex<kCatalogueVariableCount>(CatalogueRows());

}  // namespace

constexpr std::array<VariableRecord, kCatalogueRecordCount> kCatalogueTable = CatalogueRows();
constexpr NameIndex<kCatalogueVariableCount> kCatalogueNameIndex = kIndex;

static_assert(HasAllRows(kCatalogueTable), "the catalogue has 159 named rows and the terminator");
static_assert(NumberedRowsInOrder(kCatalogueTable), "the numbered rows run 1 to 135 in order");
static_assert(!kIndex.HasDuplicates(), "names are unique without regard to case");

}  // namespace svodb
