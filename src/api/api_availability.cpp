// Exports that tell the setup tool how to show a parameter: enabled,
// disabled or not applicable on a node, and static or dynamic.
#include "api/global_state.h"
#include "api/guard.h"
#include "paramset/availability.h"
#include "svodb/svodb.h"

using svodb::LibraryContext;
namespace code = svodb::code;

extern "C" {

SVODB_API int32_t SVODB_CALL GetParamEnabled_SVODB(const char* name, int32_t node, int32_t* enabled) {
  if (name == nullptr || enabled == nullptr) return code::kInvalidParameter;
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    return svodb::GetParamEnabled(ctx, name, node, *enabled);
  });
}

SVODB_API int32_t SVODB_CALL GetParamStaticOrDynamic_SVODB(const char* name, int32_t* dynamic) {
  if (name == nullptr || dynamic == nullptr) return code::kInvalidParameter;
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    return svodb::GetParamStaticOrDynamic(ctx, name, *dynamic);
  });
}

}  // extern "C"
