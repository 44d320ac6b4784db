#include "drive/connection.h"

#include "catalog/parameter_database.h"
#include "drive/drive_facts.h"
#include "drive/register_map.h"
#include "drive/register_transfers.h"
#include "drive/transport.h"

namespace svodb {

std::array<int32_t, 8> NetworkOpenArguments(const NetworkArguments& n) {
  if (n.extended) return {n.a, n.b, 1, n.c, n.d, n.e, n.f, n.g};
  return {n.a, n.b, 0, 0, 0, n.e, n.f, n.g};
}

Result UsePort(LibraryContext& ctx, int32_t port, int32_t baudRate, int32_t connectionType,
               const std::array<int32_t, 8>& networkOpenArgs) {
  NodeState& drive = ctx.db.nodes[0];
  if (connectionType == kSerialConnection) {
    drive.driveType = kSerialConnection;
    return ctx.transport.InitComPort(port, baudRate);
  }
  if (connectionType == kNetworkConnection) {
    drive.driveType = kNetworkConnection;
    return ctx.transport.InitMotoBus(networkOpenArgs);
  }
  return code::kOutputError;
}

Result ClosePort(LibraryContext& ctx) {
  switch (ctx.transport.GetCommType()) {
    // The serial transport closes its port when asked to open port 0.
    case kSerialConnection: return ctx.transport.InitComPort(0, 19200);
    case kNetworkConnection: return ctx.transport.KillMotoBus();
    default: return code::kOk;
  }
}

Result SetNode(LibraryContext& ctx, uint32_t& currentNode, int32_t node) {
  if (node < 0 || node > static_cast<int32_t>(kMaxNode)) return code::kOutOfRange;
  currentNode = static_cast<uint32_t>(node);
  int32_t logicVersion = 0;
  if (node == 0) {
    logicVersion = LogicVersionOrOldest(ctx);
  } else {
    logicVersion = ctx.db.nodes[static_cast<std::size_t>(node)].logicVersion;
  }
  ctx.registers.SetCurrentLimitLayout(logicVersion);
  return code::kOk;
}

Result SetupOfflineNode(LibraryContext& ctx, int32_t node) {
  if (node < 0 || node > static_cast<int32_t>(kMaxNode)) return code::kOutOfRange;
  ctx.db.nodes[static_cast<std::size_t>(node)].logicVersion = 3;
  return code::kOk;
}

namespace {

std::string TransportText(void (Transport::*version)(char*), Transport& transport, std::size_t maxLength) {
  char text[kTransportVersionCapacity] = {};
  (transport.*version)(text);
  text[kTransportVersionCapacity - 1] = '\0';
  std::string result(text);
  if (result.size() > maxLength) result.resize(maxLength);
  return result;
}

}  // namespace

std::string LibraryVersionText(LibraryContext& ctx) {
  return TransportText(&Transport::CommSVODBVersion, ctx.transport, 45) + " and " + kLibraryVersion;
}

std::string NetworkLibraryVersionText(LibraryContext& ctx) {
  return TransportText(&Transport::CommNCLVersion, ctx.transport, kTransportVersionCapacity - 1);
}

}  // namespace svodb
