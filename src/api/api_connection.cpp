// Exports that open and close the drive connection, choose the node and
// pass raw accesses straight to the transport.
#include <string>

#include "api/global_state.h"
#include "api/guard.h"
#include "api/text_copy.h"
#include "drive/connection.h"
#include "drive/transport.h"
#include "svodb/svodb.h"

using svodb::LibraryContext;
using svodb::NetworkArguments;
using svodb::api::Context;
using svodb::api::Guarded;
namespace code = svodb::code;

namespace {

int32_t OpenPort(int32_t port, int32_t baudRate, int32_t type, const NetworkArguments& network) {
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    return svodb::UsePort(ctx, port, baudRate, type, svodb::NetworkOpenArguments(network));
  });
}

// A raw pass-through: the transport's answer, or 0 when it cannot be asked.
template <typename Call>
int32_t PassThrough(Call call) {
  return Guarded(code::kNoResponse, [&] { return call(Context().transport); });
}

}  // namespace

extern "C" {

SVODB_API void SVODB_CALL DLLVersion_SVODB(char* text) {
  if (text == nullptr) return;
  svodb::api::GuardedVoid([&] {
    LibraryContext ctx = Context();
    svodb::api::CopyText(svodb::LibraryVersionText(ctx), text);
  });
}

SVODB_API void SVODB_CALL NCLVersion_SVODB(char* text) {
  if (text == nullptr) return;
  svodb::api::GuardedVoid([&] {
    LibraryContext ctx = Context();
    svodb::api::CopyText(svodb::NetworkLibraryVersionText(ctx), text);
  });
}

SVODB_API int32_t SVODB_CALL UsePort(int32_t port, int32_t baudRate, int32_t connectionType, int32_t a, int32_t b,
                                     int32_t e) {
  NetworkArguments network;
  network.a = a, network.b = b, network.e = e;
  return OpenPort(port, baudRate, connectionType, network);
}

SVODB_API int32_t SVODB_CALL UsePort2(int32_t port, int32_t baudRate, int32_t connectionType, int32_t a, int32_t b,
                                      uint8_t extended, int32_t c, int32_t d) {
  NetworkArguments network;
  network.a = a, network.b = b, network.extended = extended != 0, network.c = c, network.d = d;
  // UsePort2 has no E, F or G.
  network.e = network.f = network.g = 0;
  return OpenPort(port, baudRate, connectionType, network);
}

SVODB_API int32_t SVODB_CALL UsePort3(int32_t port, int32_t baudRate, int32_t connectionType, int32_t a, int32_t b,
                                      uint8_t extended, int32_t c, int32_t d, int32_t e, int32_t f, int32_t g) {
  NetworkArguments network{a, b, extended != 0, c, d, e, f, g};
  return OpenPort(port, baudRate, connectionType, network);
}

SVODB_API int32_t SVODB_CALL ClosePort(void) {
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    return svodb::ClosePort(ctx);
  });
}

SVODB_API int32_t SVODB_CALL ChangeGetSleepTime_SVODB(int32_t value) {
  return PassThrough([&](svodb::Transport& t) { return t.ChangeGetSleepTime(value); });
}

SVODB_API int32_t SVODB_CALL GetMaxNumMotoBusAxes_SVODB(int32_t* axes) {
  if (axes == nullptr) return code::kInvalidParameter;
  return PassThrough([&](svodb::Transport& t) { return t.GetMaxNumMotoBusAxes(axes); });
}

SVODB_API int32_t SVODB_CALL SetNode_SVODB(int32_t node) {
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    return svodb::SetNode(ctx, svodb::api::CurrentNode(), node);
  });
}

SVODB_API int32_t SVODB_CALL SetupOfflineNode_SVODB(int32_t node) {
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    return svodb::SetupOfflineNode(ctx, node);
  });
}

SVODB_API int32_t SVODB_CALL Reset_Drive(void) { return code::kOk; }

SVODB_API int32_t SVODB_CALL ReadUnitFPGA_SVODB(int32_t address, int32_t* data) {
  if (data == nullptr) return code::kInvalidParameter;
  return PassThrough([&](svodb::Transport& t) {
    int32_t unused = 0;
    return t.GetVarFromFPGA(address, data, &unused);
  });
}

SVODB_API int32_t SVODB_CALL WriteUnitFPGA_SVODB(int32_t address, int32_t data) {
  return PassThrough([&](svodb::Transport& t) { return t.PutVarToFPGA(address, data); });
}

SVODB_API int32_t SVODB_CALL ReadUnitEEPROM_SVODB(int32_t entry, int32_t* fpgaRegister, int32_t* data) {
  if (fpgaRegister == nullptr || data == nullptr) return code::kInvalidParameter;
  return PassThrough([&](svodb::Transport& t) { return t.GetVarFromEEPROM(entry, fpgaRegister, data); });
}

SVODB_API int32_t SVODB_CALL WriteUnitEEPROM_SVODB(int32_t entry, int32_t fpgaRegister, int32_t data) {
  return PassThrough([&](svodb::Transport& t) { return t.PutVarToEEPROM(entry, fpgaRegister, data); });
}

}  // extern "C"
