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

const char* const kGlobalOptionsHelp =
    "global options (anywhere on the line):\n"
    "  --transport PATH   the transport library (default: the virtual drive next to svodb)\n"
    "  --port N           serial port number, 1-255 (default 1)\n"
    "  --baud B           serial baud rate: 9600, 19200, 38400, 57600 or 115200 (default 19200)\n"
    "  --network A,B[,C,D[,E,F,G]]  use the network connection with these arguments\n"
    "                     (a bare --network is a command's own option, see svodb defaults)\n"
    "  --yes              go ahead with a command that changes the drive without asking\n"
    "  --force            replace an existing output file\n"
    "  --json             print the command's data as JSON\n"
    "  --opt=value is the same as --opt value\n";

std::optional<int32_t> ParseInt32(const std::string& text) {
  if (text.empty()) return std::nullopt;
  errno = 0;
  char* end = nullptr;
  const long long parsed = std::strtoll(text.c_str(), &end, 0);
  if (errno != 0 || *end != '\0' || parsed < INT32_MIN || parsed > INT32_MAX) return std::nullopt;
  return static_cast<int32_t>(parsed);
}

std::optional<int32_t> ParseArgument(const std::string& command, const std::string& what, const std::string& text,
                                     int32_t min, int32_t max) {
  const std::optional<int32_t> value = ParseInt32(text);
  if (!value || *value < min || *value > max) {
    UsageError(command + ": " + what + " must be an integer from " + std::to_string(min) + " to " +
               std::to_string(max) + ", not '" + text + "'");
    return std::nullopt;
  }
  return value;
}

namespace {

std::optional<std::vector<int32_t>> ParseList(const std::string& text) {
  std::vector<int32_t> values;
  std::size_t start = 0;
  while (start <= text.size()) {
    const std::size_t comma = text.find(',', start);
    const std::size_t stop = comma == std::string::npos ? text.size() : comma;
    const std::optional<int32_t> value = ParseInt32(text.substr(start, stop - start));
    if (!value) return std::nullopt;
    values.push_back(*value);
    start = stop + 1;
  }
  if (values.size() != 2 && values.size() != 4 && values.size() != 7) return std::nullopt;
  return values;
}

bool TakeOption(Args& args, std::size_t i) {
  const std::string option = args[i];
  if (i + 1 >= args.size()) {
    UsageError(option + " needs a value");
    return false;
  }
  const std::string value = args[i + 1];
  args.erase(args.begin() + static_cast<std::ptrdiff_t>(i), args.begin() + static_cast<std::ptrdiff_t>(i) + 2);
  ConnectionOptions& options = Connection();
  if (option == "--transport") {
    options.transportPath = value;
    return true;
  }
  if (option == "--network") {
    const auto list = ParseList(value);
    if (!list) UsageError("--network takes 2, 4 or 7 comma-separated integers, not '" + value + "'");
    if (list) options.network = *list;
    return list.has_value();
  }
  const std::optional<int32_t> number = ParseInt32(value);
  if (option == "--port") {
    if (!number || *number < 1 || *number > 255)
      return UsageError("--port takes a serial port number from 1 to 255, not '" + value + "'") == kExitOk;
    options.port = *number;
    options.portGiven = true;
    return true;
  }
  // The rates a serial transport opens a port at.
  constexpr int32_t kBaudRates[] = {9600, 19200, 38400, 57600, 115200};
  if (!number || std::find(std::begin(kBaudRates), std::end(kBaudRates), *number) == std::end(kBaudRates))
    return UsageError("--baud takes 9600, 19200, 38400, 57600 or 115200, not '" + value + "'") == kExitOk;
  options.baudRate = *number;
  options.portGiven = true;
  return true;
}

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

// "--opt=value" as two arguments, "--opt" and "value".
void SplitOptionValues(Args& args) {
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::size_t equals = args[i].find('=');
    if (!args[i].starts_with("--") || equals == std::string::npos) continue;
    std::string value = args[i].substr(equals + 1);
    args[i].resize(equals);
    args.insert(args.begin() + static_cast<std::ptrdiff_t>(i) + 1, std::move(value));
  }
}

}  // namespace

bool TakeGlobalOptions(Args& args) {
  SplitOptionValues(args);
  for (std::size_t i = 0; i < args.size();) {
    const std::string& arg = args[i];
    // A bare --network (last, or before another option) is a command's own
    // flag, e.g. "svodb defaults --network".
    const bool bareNetwork = arg == "--network" && (i + 1 >= args.size() || args[i + 1].rfind("--", 0) == 0);
    if (bareNetwork) {
      ++i;
    } else if (arg == "--yes" || arg == "--force" || arg == "--json") {
      (arg == "--yes" ? Safety().yes : arg == "--force" ? Safety().force : JsonWanted()) = true;
      args.erase(args.begin() + static_cast<std::ptrdiff_t>(i));
    } else if (arg == "--transport" || arg == "--port" || arg == "--baud" || arg == "--network") {
      if (!TakeOption(args, i)) return false;
    } else {
      ++i;
    }
  }
  const ConnectionOptions& options = Connection();
  if (!options.network.empty() && options.portGiven)
    return UsageError("give either --port/--baud (a serial port) or --network (a network), not both") == kExitOk;
  return true;
}

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
  if (svodb_transport_status(text, sizeof text) != SVODB_TRANSPORT_LOADED) std::fprintf(stderr, "svodb: %s\n", text);
}

int32_t Connect() {
  const ConnectionOptions& o = Connection();
  if (o.network.empty()) return UsePort(o.port, o.baudRate, 1, 0, 0, 0);
  std::vector<int32_t> n = o.network;
  n.resize(7, 0);
  const uint8_t extended = o.network.size() >= 4 ? 1 : 0;
  return UsePort3(o.port, o.baudRate, 2, n[0], n[1], extended, n[2], n[3], n[4], n[5], n[6]);
}

std::optional<int32_t> TakeNodeOption(const std::string& command, Args& args) {
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i] != "--node") continue;
    if (i + 1 >= args.size()) {
      UsageError(command + ": --node needs a node number");
      return std::nullopt;
    }
    const auto node = ParseArgument(command, "the node", args[i + 1], 0, 6);
    args.erase(args.begin() + static_cast<std::ptrdiff_t>(i), args.begin() + static_cast<std::ptrdiff_t>(i) + 2);
    return node;
  }
  return 0;
}

bool ConnectToDrive() {
  int32_t result = Connect();
  if (result != 1) {
    LibraryFailure("cannot open the connection", result);
    ExplainMissingTransport();
    return false;
  }
  int32_t model = 0, mode = 0;
  result = GetModelOnline_SVODB(&model);
  if (result == 1) result = GetModeOnline_SVODB(&mode);
  if (result != 1) {
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
  if (result != 1) LibraryFailure("selecting node " + std::to_string(node), result);
  return result == 1;
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
