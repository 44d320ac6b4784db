// Exports of configuration-flash programming: ISC and I00 files, erase and
// configure.
#include "api/global_state.h"
#include "api/guard.h"
#include "isp/i00_file.h"
#include "isp/isc_file.h"
#include "isp/isp_protocol.h"
#include "svodb/svodb.h"

using svodb::LibraryContext;
using svodb::isp::Function;
namespace code = svodb::code;

namespace {

Function FileFunction(uint8_t verify) { return verify != 0 ? Function::kVerify : Function::kProgram; }

}  // namespace

extern "C" {

SVODB_API int32_t SVODB_CALL HandleISCFile_SVODB(const char* fileName, uint8_t verify, uintptr_t window,
                                                 int32_t /*unused*/) {
  if (fileName == nullptr) return code::kInvalidParameter;
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    return svodb::isp::ProgramIscFile(ctx, fileName, FileFunction(verify), window);
  });
}

SVODB_API int32_t SVODB_CALL HandleI00File_SVODB(const char* fileName, uint8_t verify, uintptr_t window,
                                                 int32_t /*unused*/) {
  if (fileName == nullptr) return code::kInvalidParameter;
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    return svodb::isp::ProgramI00File(ctx, fileName, FileFunction(verify), window);
  });
}

SVODB_API int32_t SVODB_CALL EraseFlash_SVODB(void) {
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    return svodb::isp::EraseFlash(ctx);
  });
}

SVODB_API int32_t SVODB_CALL ConfigFlash_SVODB(void) {
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    return svodb::isp::ConfigureFlash(ctx);
  });
}

}  // extern "C"
