// Exports that read and write one variable of the current node's image and
// answer its properties.
#include "api/global_state.h"
#include "api/guard.h"
#include "api/text_copy.h"
#include "drive/unit_scaling.h"
#include "svodb/svodb.h"
#include "values/catalogue_queries.h"
#include "values/drive_identity.h"
#include "values/offline_values.h"

using svodb::LibraryContext;
using svodb::api::CurrentNode;
namespace code = svodb::code;

extern "C" {

SVODB_API int32_t SVODB_CALL GetVariable_SVODB(const char* name, double* value) {
  if (name == nullptr || value == nullptr) return code::kInvalidParameter;
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    return svodb::GetOfflineValue(ctx, name, CurrentNode(), *value);
  });
}

SVODB_API int32_t SVODB_CALL PutVariable_SVODB(const char* name, double value) {
  if (name == nullptr) return code::kInvalidParameter;
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    // OpMode, spelt exactly, also re-derives the node's mode.
    if (std::string_view(name) == "OpMode") return svodb::SetNodeOpMode(ctx, CurrentNode(), svodb::TruncateToRaw(value));
    return svodb::PutOfflineValue(ctx, name, CurrentNode(), value);
  });
}

SVODB_API int32_t SVODB_CALL GetProp_SVODB(const char* name, int32_t* conversionCode, double* minimum,
                                           double* maximum, double* defaultValue, char* unit) {
  if (name == nullptr || conversionCode == nullptr || minimum == nullptr || maximum == nullptr ||
      defaultValue == nullptr || unit == nullptr) {
    return code::kInvalidParameter;
  }
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    svodb::VariableProperties properties;
    const int32_t result = svodb::GetOfflineProperties(ctx, name, CurrentNode(), properties);
    if (result != code::kOk) return result;
    *conversionCode = properties.conversionCode;
    *minimum = properties.minimum;
    *maximum = properties.maximum;
    *defaultValue = properties.defaultValue;
    const auto text = svodb::GetUnitText(ctx, name, CurrentNode());
    if (!text) return code::kSystemError;
    svodb::api::CopyText(*text, unit);
    return code::kOk;
  });
}

}  // extern "C"
