// Exports of whole parameter sets on the current node: transfers between
// its image and the drive's working registers or NV memory, and the
// factory defaults.
#include "api/global_state.h"
#include "api/guard.h"
#include "paramset/parameter_sets.h"
#include "svodb/svodb.h"

using svodb::LibraryContext;
using svodb::api::CurrentNode;
namespace code = svodb::code;

namespace {

// An internal failure, running out of memory for a list included, is 99.
int32_t OnCurrentNode(svodb::Result (*operation)(LibraryContext&, uint32_t)) {
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    return operation(ctx, CurrentNode());
  });
}

}  // namespace

extern "C" {

SVODB_API int32_t SVODB_CALL RDFromDriveUser_SVODB(void) {
  return OnCurrentNode(svodb::ReadUserSetFromDrive);
}

SVODB_API int32_t SVODB_CALL RDFromDriveMfg_SVODB(void) { return OnCurrentNode(svodb::ReadMfgSetFromDrive); }

SVODB_API int32_t SVODB_CALL WRToDriveUser_SVODB(void) { return OnCurrentNode(svodb::WriteUserSetToDrive); }

SVODB_API int32_t SVODB_CALL WRToDriveMfg_SVODB(void) { return OnCurrentNode(svodb::WriteMfgSetToDrive); }

SVODB_API int32_t SVODB_CALL RDFromNVUser_SVODB(void) { return OnCurrentNode(svodb::ReadUserSetFromNV); }

SVODB_API int32_t SVODB_CALL RDFromNVMfg_SVODB(void) { return OnCurrentNode(svodb::ReadMfgSetFromNV); }

SVODB_API int32_t SVODB_CALL WRToNVUser_SVODB(void) { return OnCurrentNode(svodb::WriteUserSetToNV); }

SVODB_API int32_t SVODB_CALL WRToNVMfg_SVODB(void) { return OnCurrentNode(svodb::WriteMfgSetToNV); }

SVODB_API int32_t SVODB_CALL SetDefaultUser_SVODB(void) { return OnCurrentNode(svodb::LoadUserDefaults); }

SVODB_API int32_t SVODB_CALL SetDefaultMfg_SVODB(void) { return OnCurrentNode(svodb::LoadMfgDefaults); }

}  // extern "C"
