// Exports that read and write one variable of the connected drive in
// engineering units.
#include "api/global_state.h"
#include "api/guard.h"
#include "drive/online_values.h"
#include "svodb/svodb.h"

using svodb::LibraryContext;
using svodb::api::Context;
using svodb::api::Guarded;
namespace code = svodb::code;

extern "C" {

SVODB_API int32_t SVODB_CALL GetVariableOnline_SVODB(const char* name, double* value) {
  if (name == nullptr || value == nullptr) return code::kInvalidParameter;
  return Guarded(code::kSystemError, [&] {
    LibraryContext ctx = Context();
    return svodb::GetVariableOnline(ctx, name, *value);
  });
}

SVODB_API int32_t SVODB_CALL PutVariableOnline_SVODB(const char* name, double value) {
  if (name == nullptr) return code::kInvalidParameter;
  return Guarded(code::kSystemError, [&] {
    LibraryContext ctx = Context();
    return svodb::PutVariableOnline(ctx, name, value);
  });
}

}  // extern "C"
