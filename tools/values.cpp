#include "values.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "catalog/catalogue_table.h"
#include "cli.h"
#include "svodb/svodb.h"
#include "svodb/svodb_linux.h"

namespace svodb_tool {
namespace {

// The enumerations have at most 32 entries; the bound keeps a runaway
// lookup from running for ever.
constexpr int32_t kMaxEnumEntries = 256;
// A suggestion further than this many edits away would confuse more than help.
constexpr std::size_t kMaxSuggestionDistance = 2;

std::string Folded(const std::string& text) {
  std::string folded;
  for (char c : text) {
    const char lower = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    const char blank = lower == '_' ? ' ' : lower;
    if (blank == ' ' && (folded.empty() || folded.back() == ' ')) continue;
    folded += blank;
  }
  if (!folded.empty() && folded.back() == ' ') folded.pop_back();
  return folded;
}

std::size_t EditDistance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t above = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
      diagonal = above;
    }
  }
  return row[b.size()];
}

}  // namespace

// The values of an enumerated variable, by index. The answer 2 means both
// "value 2" and "no such index": an entry whose value is 2 finds its own
// index again.
std::vector<int32_t> EnumeratedValues(const std::string& name) {
  std::vector<int32_t> values;
  for (int32_t index = 0; index < kMaxEnumEntries; ++index) {
    int32_t value = 0;
    const int32_t answer = GetIdxVal_SVODB(name.c_str(), index, &value);
    if (answer == -1) break;
    if (answer == 2) {
      int32_t found = -1;
      if (GetValIdx_SVODB(name.c_str(), 2, &found) != index) break;
      value = 2;
    }
    values.push_back(value);
  }
  return values;
}

std::vector<std::string> CatalogueNames() {
  std::vector<std::string> names;
  const int32_t count = GetVarNum_SVODB();
  for (int32_t position = 1; position <= count; ++position) {
    char name[SVODB_NAME_SIZE] = "";
    if (GetVarName_SVODB(position, name)) names.emplace_back(name);
  }
  return names;
}

std::optional<std::string> CatalogueName(const std::string& typed) {
  char name[SVODB_NAME_SIZE] = "";
  if (typed.size() >= SVODB_NAME_SIZE || !GetStdVarName_SVODB(typed.c_str(), name)) return std::nullopt;
  return std::string(name);
}

std::string DidYouMean(const std::string& typed) {
  std::vector<std::string> best;
  std::size_t bestDistance = kMaxSuggestionDistance + 1;
  for (const std::string& name : CatalogueNames()) {
    const std::size_t distance = EditDistance(Folded(typed), Folded(name));
    if (distance < bestDistance) best.clear(), bestDistance = distance;
    if (distance == bestDistance) best.push_back(name);
  }
  if (best.empty()) return "";
  std::string hint = "did you mean " + best[0];
  for (std::size_t i = 1; i < best.size(); ++i) hint += (i + 1 == best.size() ? " or " : ", ") + best[i];
  return hint + "?";
}

namespace {

const svodb::VariableRecord* RecordOf(const std::string& name) {
  for (const svodb::VariableRecord& record : svodb::kCatalogueTable) {
    if (record.name != nullptr && name == record.name) return &record;
  }
  return nullptr;
}

// Conversion codes 0-3 hold the drive's integer as it is (switches, raw
// numbers, enumerations, the model, the auxiliary feedback type). The
// catalogue says so without the drive, so that a fraction is refused
// before the drive is touched.
bool HoldsInteger(const std::string& name) {
  const svodb::VariableRecord* record = RecordOf(name);
  return record != nullptr && record->conversionCode >= 0 && record->conversionCode <= 3;
}

bool Asked(bool(SVODB_CALL* query)(const char*, uint8_t*), const char* name) {
  uint8_t value = 0;
  return query(name, &value) && value != 0;
}

}  // namespace

const char* GroupOf(const std::string& name) {
  if (Asked(StatVar_SVODB, name.c_str()) || Asked(ReadOnly_SVODB, name.c_str())) return kGroups[2];
  const svodb::VariableRecord* record = RecordOf(name);
  return record != nullptr && !record->Has(svodb::kUserFlag) ? kGroups[1] : kGroups[0];
}

bool IsEnumerated(const std::string& name) {
  int32_t value = 0;
  return HoldsInteger(name) && GetIdxVal_SVODB(name.c_str(), 0, &value) != -1;
}

std::string UnitText(const std::string& name) {
  int32_t conversionCode = -1;
  double minimum = 0, maximum = 0, defaultValue = 0;
  char unit[SVODB_UNIT_SIZE] = "";
  if (GetProp_SVODB(name.c_str(), &conversionCode, &minimum, &maximum, &defaultValue, unit) != SVODB_OK)
    return "";
  return IsEnumerated(name) ? "" : Trim(unit);
}

std::optional<std::string> LabelOf(const std::string& name, int32_t value) {
  char label[SVODB_COMPOSED_LABEL_SIZE] = "";
  if (!GetValStr_SVODB(name.c_str(), value, label)) return std::nullopt;
  return std::string(label);
}

std::string ProblemBeforeTheDrive(const std::string& name, const std::string& text) {
  const std::optional<double> number = ParseNumber(text);
  const bool numeric = number && std::isfinite(*number);
  if (!numeric) return IsEnumerated(name) ? "" : "'" + text + "' is not a number";
  if (*number == std::trunc(*number) || !HoldsInteger(name)) return "";
  return name + " is an integer variable: it takes whole numbers, not '" + text + "'";
}

std::optional<double> ParseValue(const std::string& name, const std::string& text, std::string& problem) {
  problem = ProblemBeforeTheDrive(name, text);
  if (!problem.empty()) return std::nullopt;
  const std::optional<double> parsed = ParseNumber(text);
  const bool numeric = parsed && std::isfinite(*parsed);
  const double number = numeric ? *parsed : 0.0;
  if (!IsEnumerated(name)) return number;
  const std::vector<int32_t> values = EnumeratedValues(name);
  std::string offered;
  for (const int32_t value : values) {
    const std::optional<std::string> label = LabelOf(name, value);
    char file[SVODB_LABEL_SIZE] = "";
    const bool filed = svodb_file_label(name.c_str(), value, file) == SVODB_OK;
    if (numeric && number == value) return number;
    if ((label && Folded(*label) == Folded(text)) || (filed && Folded(file) == Folded(text))) return value;
    if (label) offered += (offered.empty() ? "" : ", ") + *label;
  }
  problem = "'" + text + "' is no value of " + name + (offered.empty() ? "" : " (one of: " + offered + ")");
  return std::nullopt;
}

std::string FormatValue(const std::string& name, double value) {
  if (IsEnumerated(name)) {
    if (const std::optional<std::string> label = LabelOf(name, static_cast<int32_t>(value))) return *label;
  }
  char number[32];
  std::snprintf(number, sizeof number, "%.10g", value);
  const std::string unit = UnitText(name);
  return unit.empty() ? std::string(number) : std::string(number) + " " + unit;
}

}  // namespace svodb_tool
