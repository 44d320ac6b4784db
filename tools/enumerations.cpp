#include "enumerations.h"

#include "svodb/svodb.h"
#include "svodb/svodb_linux.h"

namespace svodb_tool {
namespace {

// The enumerations have at most 32 entries; the bound keeps a runaway
// lookup from going on for ever.
constexpr int32_t kMaxEnumEntries = 256;

}  // namespace

std::optional<std::vector<EnumEntry>> EnumerationOf(const std::string& name) {
  int32_t value = 0;
  if (GetIdxVal_SVODB(name.c_str(), 0, &value) == -1) return std::nullopt;
  std::vector<EnumEntry> entries;
  for (int32_t index = 0; index < kMaxEnumEntries; ++index) {
    // The answer 2 means both "value 2" and "no such index": an entry
    // whose value is 2 finds its own index again.
    value = 0;
    const int32_t answer = GetIdxVal_SVODB(name.c_str(), index, &value);
    if (answer == -1) break;
    if (answer == 2) {
      int32_t found = -1;
      if (GetValIdx_SVODB(name.c_str(), 2, &found) != index) break;
      value = 2;
    }
    EnumEntry entry{index, value, std::nullopt, std::nullopt};
    char display[SVODB_COMPOSED_LABEL_SIZE] = "", file[SVODB_LABEL_SIZE] = "";
    if (GetIdxStr_SVODB(name.c_str(), index, display)) entry.display = display;
    if (svodb_file_label(name.c_str(), value, file) == 1) entry.file = file;
    entries.push_back(entry);
  }
  return entries;
}

}  // namespace svodb_tool
