#include "catalog/catalogue.h"

#include <algorithm>
#include <initializer_list>

namespace svodb {

std::string FoldCase(std::string_view name) {
  std::string key(name);
  for (char& c : key) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return key;
}

Catalogue::Catalogue() : records_(kCatalogueTable) {}

VariableRecord* Catalogue::Find(std::string_view name) {
  const int row = kCatalogueNameIndex.Find(name);
  return row < 0 ? nullptr : &records_[static_cast<std::size_t>(row)];
}

const VariableRecord* Catalogue::Find(std::string_view name) const {
  return const_cast<Catalogue*>(this)->Find(name);
}

const VariableRecord* Catalogue::AtPosition(int32_t position) const {
  if (position < 1 || position > kRecordCount) return nullptr;
  return &records_[static_cast<std::size_t>(position - 1)];
}

const char* Catalogue::NameAt(int32_t position) const {
  const VariableRecord* record = AtPosition(position);
  return record == nullptr ? nullptr : record->name;
}

int32_t PositionOf(const Catalogue& catalogue, std::string_view name) {
  const VariableRecord* record = catalogue.Find(name);
  if (record == nullptr) return 0;
  const auto position = static_cast<int32_t>(record - catalogue.Records().data()) + 1;
  return position <= 99 ? position : 0;
}

int32_t Catalogue::GetConversionCode(std::string_view name) const {
  const VariableRecord* record = Find(name);
  return record == nullptr ? 9 : record->conversionCode;
}

namespace {

struct SetRule {
  ParameterSet set;
  std::initializer_list<Flag> required;
  std::initializer_list<Flag> cleared;
};

// clang-format off
const SetRule kSetRules[] = {
    {ParameterSet::kDriveRead,         {kNvFlag, kStoredRegisterFlag},                                    {}},
    {ParameterSet::kUserWrite,         {kUserFlag, kNvFlag, kListedFlag, kStoredRegisterFlag},             {}},
    {ParameterSet::kNetworkUserWrite,  {kUserFlag, kNvFlag, kNetworkWriteFlag, kListedFlag, kStoredRegisterFlag}, {}},
    {ParameterSet::kManufacturing,     {kNvFlag, kStoredRegisterFlag},                                    {kUserFlag}},
    {ParameterSet::kManufacturingFile, {kNvFlag, kPresentedFlag},                                         {kUserFlag}},
    {ParameterSet::kUserFile,          {kUserFlag, kNvFlag, kListedFlag, kPresentedFlag},                 {}},
};
// clang-format on

bool Satisfies(const VariableRecord& record, const SetRule& rule) {
  return std::all_of(rule.required.begin(), rule.required.end(),
                     [&](Flag flag) { return record.Has(flag); }) &&
         std::none_of(rule.cleared.begin(), rule.cleared.end(),
                      [&](Flag flag) { return record.Has(flag); });
}

}  // namespace

void AppendParameterSet(const Catalogue& catalogue, ParameterSet set, ParameterList& list) {
  const SetRule& rule = *std::find_if(std::begin(kSetRules), std::end(kSetRules),
                                      [&](const SetRule& r) { return r.set == set; });
  for (const VariableRecord& record : catalogue.Records()) {
    if (record.name != nullptr && Satisfies(record, rule)) list.push_back(&record);
  }
}

int UnitColumn(int32_t commandSource, uint32_t mode) {
  const int torque = mode == 0 ? 1 : 0;
  return (commandSource == 1 ? 2 : 0) + torque;
}

}  // namespace svodb
