// Exports of the variable catalogue.
#include "api/global_state.h"
#include "api/guard.h"
#include "api/text_copy.h"
#include "catalog/parameter_database.h"
#include "svodb/svodb.h"
#include "values/catalogue_queries.h"

using svodb::LibraryContext;
using svodb::api::Context;
using svodb::api::CopyText;
using svodb::api::Guarded;

namespace {

using Query = bool (*)(LibraryContext&, std::string_view, uint8_t&);

bool Ask(Query query, const char* name, uint8_t* value) {
  if (name == nullptr || value == nullptr) return false;
  return svodb::api::OnContext(false, [&](LibraryContext& ctx) {
    return query(ctx, name, *value);
  });
}

template <svodb::Flag flag>
bool AskFlag(LibraryContext& ctx, std::string_view name, uint8_t& value) {
  return svodb::QueryFlag(ctx, name, flag, value);
}

}  // namespace

extern "C" {

SVODB_API int32_t SVODB_CALL GetVarNum_SVODB(void) { return svodb::Catalogue::kVariableCount; }

SVODB_API bool SVODB_CALL GetVarName_SVODB(int32_t position, char* name) {
  if (name == nullptr) return false;
  return Guarded(false, [&] {
    const char* found = Context().db.catalogue.NameAt(position);
    if (found == nullptr) return false;
    CopyText(found, name);
    return true;
  });
}

SVODB_API bool SVODB_CALL GetStdVarName_SVODB(const char* name, char* stdName) {
  if (name == nullptr || stdName == nullptr) return false;
  return Guarded(false, [&] {
    const svodb::VariableRecord* record = Context().db.catalogue.Find(name);
    if (record == nullptr || !record->Has(svodb::kListedFlag)) return false;
    CopyText(record->name, stdName);
    return true;
  });
}

SVODB_API bool SVODB_CALL ReadOnly_SVODB(const char* name, uint8_t* value) {
  return Ask(svodb::QueryReadOnly, name, value);
}

SVODB_API bool SVODB_CALL ForUser_SVODB(const char* name, uint8_t* value) {
  return Ask(svodb::QueryForUser, name, value);
}

SVODB_API bool SVODB_CALL UserNVPara_SVODB(const char* name, uint8_t* value) {
  return Ask(svodb::QueryUserNvParameter, name, value);
}

SVODB_API bool SVODB_CALL MfgNVPara_SVODB(const char* name, uint8_t* value) {
  return Ask(svodb::QueryMfgNvParameter, name, value);
}

SVODB_API bool SVODB_CALL StatVar_SVODB(const char* name, uint8_t* value) {
  return Ask(AskFlag<svodb::kStatusFlag>, name, value);
}

SVODB_API bool SVODB_CALL TRXSelect_SVODB(const char* name, uint8_t* value) {
  return Ask(AskFlag<svodb::kTrxMotorFlag>, name, value);
}

SVODB_API bool SVODB_CALL EnabledUnchange_SVODB(const char* name, uint8_t* value) {
  return Ask(AskFlag<svodb::kUnchangeableFlag>, name, value);
}

}  // extern "C"
