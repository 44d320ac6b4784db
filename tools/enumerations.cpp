#include "enumerations.h"

#include "svodb/svodb.h"
#include "svodb/svodb_linux.h"
#include "values.h"

namespace svodb_tool {

std::optional<std::vector<EnumEntry>> EnumerationOf(const std::string& name) {
  int32_t value = 0;
  if (GetIdxVal_SVODB(name.c_str(), 0, &value) == -1) return std::nullopt;
  std::vector<EnumEntry> entries;
  const std::vector<int32_t> values = EnumeratedValues(name);
  for (std::size_t index = 0; index < values.size(); ++index) {
    EnumEntry entry{static_cast<int32_t>(index), values[index], std::nullopt, std::nullopt};
    char display[SVODB_COMPOSED_LABEL_SIZE] = "", file[SVODB_LABEL_SIZE] = "";
    if (GetIdxStr_SVODB(name.c_str(), entry.index, display)) entry.display = display;
    if (svodb_file_label(name.c_str(), entry.value, file) == SVODB_OK) entry.file = file;
    entries.push_back(entry);
  }
  return entries;
}

}  // namespace svodb_tool
