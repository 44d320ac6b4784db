// Opening and closing the drive connection, choosing the node the offline
// operations work on, and the library's identity texts that the transport
// contributes to.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "catalog/result_codes.h"
#include "context.h"

namespace svodb {

// The network arguments as the three UsePort variants receive them.
struct NetworkArguments {
  int32_t a = 0, b = 0;
  bool extended = false;  // C and D are given
  int32_t c = 0, d = 0;
  int32_t e = 0, f = 0, g = 0;
};

// What UsePort (E only), UsePort2 (C, D) and UsePort3 (C-G) pass to the
// network's open operation: the third argument is 1 exactly when arguments
// four and five carry C and D.
std::array<int32_t, 8> NetworkOpenArguments(const NetworkArguments& args);

// Connection type 1 opens the serial port, 2 the network (port and baud rate
// unused); node 0 records the type. Any other type is 3 and records nothing.
Result UsePort(LibraryContext& ctx, int32_t port, int32_t baudRate, int32_t connectionType,
               const std::array<int32_t, 8>& networkOpenArgs);

// Closes whatever the transport reports open; 1 when nothing is.
Result ClosePort(LibraryContext& ctx);

// Makes node (0-6) current and puts the current-limit layout of its logic
// version in place: the connected drive's LogicVer for node 0 (0 when it
// cannot be read), the stored version for an offline image. 23 above 6.
Result SetNode(LibraryContext& ctx, uint32_t& currentNode, int32_t node);

// An offline image starts as a logic-version-3 drive. 23 above 6.
Result SetupOfflineNode(LibraryContext& ctx, int32_t node);

// This library's version.
inline constexpr const char* kLibraryVersion = "1.60.0000";

// "<transport version> and 1.60.0000". The transport's text keeps at most
// 45 characters so that the whole fits the caller's 60 bytes.
std::string LibraryVersionText(LibraryContext& ctx);
// The network library's version as the transport reports it (at most 59
// characters).
std::string NetworkLibraryVersionText(LibraryContext& ctx);

}  // namespace svodb
