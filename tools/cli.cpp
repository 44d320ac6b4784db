#include "cli.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "json_output.h"
#include "safety.h"
#include "svodb/svodb.h"
#include "svodb/svodb_ext.h"

#ifndef _WIN32
#include <dlfcn.h>
#endif

namespace svodb_tool {

bool& JsonWanted() {
  static bool wanted = false;
  return wanted;
}

ConnectionOptions& Connection() {
  static ConnectionOptions options;
  return options;
}

std::optional<int32_t> ParseInt32(const std::string& text) {
  if (text.empty()) return std::nullopt;
  errno = 0;
  char* end = nullptr;
  const long long parsed = std::strtoll(text.c_str(), &end, 0);
  if (errno != 0 || *end != '\0' || parsed < INT32_MIN || parsed > INT32_MAX) return std::nullopt;
  return static_cast<int32_t>(parsed);
}

std::optional<double> ParseNumber(const std::string& text) {
  char* end = nullptr;
  const double number = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0') return std::nullopt;
  return number;
}

namespace {

#ifndef _WIN32
#ifndef SVODB_INSTALLED_TRANSPORT_DIR
#define SVODB_INSTALLED_TRANSPORT_DIR "../lib/svodb"
#endif

// In the build tree the virtual drive lies beside the tool; installed, it
// lies in a private folder relative to the tool, so that it never shadows a
// real transport on the system's library path.
std::filesystem::path DefaultTransport(const std::filesystem::path& toolFolder) {
  const std::filesystem::path beside = toolFolder / "libCommSVODB.so";
  std::error_code error;
  if (std::filesystem::exists(beside, error)) return beside;
  return toolFolder / SVODB_INSTALLED_TRANSPORT_DIR / "libCommSVODB.so";
}
#endif

}  // namespace

bool LoadTransport(const char* argv0) {
#ifndef _WIN32
  std::string path = Connection().transportPath;
  const bool named = !path.empty();
  if (!named) {
    std::error_code error;
    std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) self = std::filesystem::absolute(argv0, error);
    path = DefaultTransport(self.parent_path()).string();
  }
  // The library binds its transport by the name libCommSVODB.so; a library
  // already loaded under that name (its soname) is the one it gets.
  // Without a named transport the tool works offline quietly; commands that
  // need the drive then say that it does not respond. A transport the user
  // named must load and be one.
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL);
  if (!named) return true;
  if (handle == nullptr) {
    UsageError("cannot load the transport library " + path + " (" + dlerror() + ")");
    return false;
  }
  if (dlsym(handle, "InitComPort") == nullptr || dlsym(handle, "GetVarFromFPGA") == nullptr) {
    UsageError(path + " is not a transport library (it has no InitComPort or GetVarFromFPGA)");
    return false;
  }
#else
  (void)argv0;
#endif
  return true;
}

std::string TransportStatus() {
  char text[SVODB_TRANSPORT_TEXT_SIZE] = "";
  svodb_transport_status(text, sizeof text);
  return text;
}

// A connection that fails for want of a transport says so, not just that
// the drive does not respond ("No Response from drive").
void ExplainMissingTransport() {
  char text[SVODB_TRANSPORT_TEXT_SIZE] = "";
  if (svodb_transport_status(text, sizeof text) != SVODB_TRANSPORT_LOADED)
    std::fprintf(stderr, "svodb: %s\n", text);
}

int32_t Connect() {
  const ConnectionOptions& o = Connection();
  if (o.network.empty()) return UsePort(o.port, o.baudRate, 1, 0, 0, 0);
  std::vector<int32_t> n = o.network;
  n.resize(7, 0);
  const uint8_t extended = o.network.size() >= 4 ? 1 : 0;
  return UsePort3(o.port, o.baudRate, 2, n[0], n[1], extended, n[2], n[3], n[4], n[5], n[6]);
}

bool ConnectToDrive() {
  int32_t result = Connect();
  if (result != SVODB_OK) {
    LibraryFailure("cannot open the connection", result);
    ExplainMissingTransport();
    return false;
  }
  int32_t model = 0, mode = 0;
  result = GetModelOnline_SVODB(&model);
  if (result == SVODB_OK) result = GetModeOnline_SVODB(&mode);
  if (result != SVODB_OK) {
    LibraryFailure("reading the drive's model and mode", result);
    return false;
  }
  return true;
}

bool SelectNode(int32_t node) {
  if (node == 0) {
    if (!ConnectToDrive()) return false;
  } else {
    SetupOfflineNode_SVODB(node);
  }
  const int32_t result = SetNode_SVODB(node);
  if (result != SVODB_OK) LibraryFailure("selecting node " + std::to_string(node), result);
  return result == SVODB_OK;
}

std::string Trim(const std::string& text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

int UsageError(const std::string& message) {
  std::fprintf(stderr, "svodb: %s\n", message.c_str());
  return kExitUsage;
}

int LibraryFailure(const std::string& what, int32_t code) {
  char message[SVODB_MESSAGE_SIZE];
  ErrorMessage_SVODB(code, message);
  std::fprintf(stderr, "svodb: %s: %s (code %d)\n", what.c_str(), message, static_cast<int>(code));
  return kExitFailure;
}

}  // namespace svodb_tool
