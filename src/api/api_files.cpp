// Exports that save images to parameter files, load files into images or the
// drive's NV memory, and load the factory defaults into an image.
#include <string>

#include "api/global_state.h"
#include "api/guard.h"
#include "paramset/file_interfaces.h"
#include "svodb/svodb.h"

using svodb::LibraryContext;
using svodb::api::CurrentNode;
namespace code = svodb::code;

namespace {

using FileOperation = svodb::Result (*)(LibraryContext&, uint32_t, const std::string&);

int32_t OnCurrentNode(FileOperation operation, const char* fileName) {
  if (fileName == nullptr) return code::kCantOpenFile;
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    return operation(ctx, CurrentNode(), fileName);
  });
}

}  // namespace

extern "C" {

SVODB_API int32_t SVODB_CALL WRToFileUser_SVODB(const char* fileName) {
  return OnCurrentNode(svodb::WriteUserFile, fileName);
}

SVODB_API int32_t SVODB_CALL WRToFileMfg_SVODB(const char* fileName) {
  return OnCurrentNode(svodb::WriteMfgFile, fileName);
}

SVODB_API int32_t SVODB_CALL RDFromFileUser_SVODB(const char* fileName) {
  return OnCurrentNode(svodb::ReadUserFile, fileName);
}

SVODB_API int32_t SVODB_CALL RDFromFileMfg_SVODB(const char* fileName) {
  return OnCurrentNode(svodb::ReadMfgFile, fileName);
}

SVODB_API int32_t SVODB_CALL SetUserParamsNV_SVODBT(const char* fileName) {
  if (fileName == nullptr) return code::kCantOpenFile;
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    return svodb::CopyUserFileToNv(ctx, CurrentNode(), fileName);
  });
}

SVODB_API int32_t SVODB_CALL SetMfgParamsNV_SVODBT(const char* fileName) {
  return OnCurrentNode(svodb::CopyMfgFileToNv, fileName);
}

SVODB_API int32_t SVODB_CALL GetUserParamsNV_SVODBT(const char* fileName) {
  return OnCurrentNode(svodb::SaveNvAsUserFile, fileName);
}

SVODB_API int32_t SVODB_CALL GetMfgParamsNV_SVODBT(const char* fileName) {
  return OnCurrentNode(svodb::SaveNvAsMfgFile, fileName);
}

SVODB_API int32_t SVODB_CALL SetParamsArray_SVODB(void) {
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    return svodb::LoadDefaultsIntoImage(ctx, CurrentNode());
  });
}

}  // extern "C"
