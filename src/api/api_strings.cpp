// Exports of the drive's two text variables, the serial number and the
// version of its logic.
#include <algorithm>
#include <string>

#include "api/global_state.h"
#include "api/guard.h"
#include "api/text_copy.h"
#include "paramset/online_strings.h"
#include "svodb/svodb.h"

using svodb::LibraryContext;
namespace code = svodb::code;

extern "C" {

SVODB_API int32_t SVODB_CALL GetStringOnline_SVODB(const char* name, int32_t /*unused*/, char* text) {
  if (name == nullptr || text == nullptr) return code::kInvalidParameter;
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    std::string read;
    const svodb::Result result = svodb::GetStringOnline(ctx, name, read);
    if (result != code::kOk) return result;
    read.resize(std::min(read.size(), svodb::kOnlineTextLength));
    svodb::api::CopyText(read, text);
    return result;
  });
}

SVODB_API int32_t SVODB_CALL PutStringOnline_SVODB(const char* name, const char* text) {
  if (name == nullptr || text == nullptr) return code::kInvalidParameter;
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    return svodb::PutStringOnline(ctx, name, text);
  });
}

}  // extern "C"
