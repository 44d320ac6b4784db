// Exports that read and write one variable of the connected drive in
// engineering units.
#include "api/global_state.h"
#include "api/guard.h"
#include "svodb/svodb.h"
#include "values/online_values.h"

using svodb::LibraryContext;
namespace code = svodb::code;

extern "C" {

SVODB_API int32_t SVODB_CALL GetVariableOnline_SVODB(const char* name, double* value) {
  if (name == nullptr || value == nullptr) return code::kInvalidParameter;
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    return svodb::GetVariableOnline(ctx, name, *value);
  });
}

SVODB_API int32_t SVODB_CALL PutVariableOnline_SVODB(const char* name, double value) {
  if (name == nullptr) return code::kInvalidParameter;
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    return svodb::PutVariableOnline(ctx, name, value);
  });
}

}  // extern "C"
