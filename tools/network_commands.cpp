// svodb scan, and the commands that work over every drive of a network.
// The network's first argument (A) is the address of the drive a connection
// talks to; the tool tries each address the network carries, with the other
// arguments as --network gives them (0 without --network).
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "json_output.h"
#include "network.h"
#include "progress.h"
#include "safety.h"
#include "set_comparison.h"
#include "svodb/svodb.h"

namespace svodb_tool {
namespace {

// When the transport does not say how many drives its network carries.
constexpr int32_t kDefaultAxes = 8;

// A drive that answered at an address.
struct NodeIdentity {
  int32_t address = 0;
  int32_t model = 0;
  std::string modelLabel;
  int32_t mode = 0;
  double logicVersion = 0;
  std::string versionText;  // empty: the logic has none
  std::string serial;
};

std::string OnlineText(const char* name) {
  char text[SVODB_ONLINE_TEXT_SIZE] = "";
  return GetStringOnline_SVODB(name, 0, text) == SVODB_OK ? text : "";
}

// Points the connection at the drive of the address.
void Address(int32_t address) {
  std::vector<int32_t>& network = Connection().network;
  if (network.empty()) network = {0, 0};
  network[0] = address;
}

// The identity of the drive at the address; none when no drive answers.
std::optional<NodeIdentity> Identify(int32_t address) {
  Address(address);
  NodeIdentity node;
  node.address = address;
  if (Connect() != SVODB_OK || GetModelOnline_SVODB(&node.model) != SVODB_OK ||
      GetModeOnline_SVODB(&node.mode) != SVODB_OK ||
      GetVariableOnline_SVODB("LogicVer", &node.logicVersion) != SVODB_OK)
    return std::nullopt;
  char label[SVODB_LABEL_SIZE] = "";
  node.modelLabel = GetValStr_SVODB("Model", node.model, label) ? label : "unknown model";
  node.versionText = OnlineText("VerLW");
  node.serial = OnlineText("SerialNum");
  return node;
}

int32_t NetworkAxes() {
  int32_t axes = 0;
  if (Connect() != SVODB_OK || GetMaxNumMotoBusAxes_SVODB(&axes) != SVODB_OK || axes < 1) return kDefaultAxes;
  return axes;
}

// Every drive that answers, in address order; after a failure message when
// none does.
std::vector<NodeIdentity> AnsweringNodes() {
  Address(1);
  const int32_t axes = NetworkAxes();
  std::vector<NodeIdentity> nodes;
  // An address where no drive answers costs a real network its time-out.
  Progress progress("scanning the network", axes, std::chrono::seconds(1));
  for (int32_t address = 1; address <= axes; ++address) {
    if (auto node = Identify(address)) nodes.push_back(std::move(*node));
    progress.Advance(address);
  }
  progress.Finish();
  if (nodes.empty()) {
    std::fprintf(stderr, "svodb: no drive answers at network addresses 1-%d\n", static_cast<int>(axes));
    ExplainMissingTransport();
  }
  return nodes;
}

Json NodeJson(const NodeIdentity& node, bool wide) {
  Json json{{"node", node.address},
            {"model", node.model},
            {"model_label", node.modelLabel},
            {"logic_version", node.logicVersion},
            {"serial_number", node.serial}};
  if (wide) json["mode"] = node.mode == 0 ? "torque" : "velocity", json["version_text"] = node.versionText;
  return json;
}

// The table of scan (wide: info's, with mode and version text).
int PrintNodes(const std::vector<NodeIdentity>& nodes, bool wide) {
  if (nodes.empty()) return kExitFailure;
  if (JsonWanted()) {
    Json list = Json::array();
    for (const NodeIdentity& node : nodes) list.push_back(NodeJson(node, wide));
    PrintJson(Json{{"nodes", list}});
    return kExitOk;
  }
  std::printf("%-5s %-30s %-6s %s\n", "node", "model", "logic",
              wide ? "serial number            mode      version" : "serial number");
  for (const NodeIdentity& node : nodes) {
    const std::string model = std::to_string(node.model) + " (" + node.modelLabel + ")";
    std::printf("%-5d %-30s %-6g ", static_cast<int>(node.address), model.c_str(), node.logicVersion);
    if (wide) {
      std::printf("%-24s %-9s %s\n", node.serial.c_str(), node.mode == 0 ? "torque" : "velocity",
                  node.versionText.c_str());
    } else {
      std::printf("%s\n", node.serial.c_str());
    }
  }
  return kExitOk;
}

int RunScan() {
  if (Connection().portGiven) return UsageError("scan: a serial port reaches one drive; scan a --network");
  return PrintNodes(AnsweringNodes(), false);
}

// clang-format off
const Command kCommands[] = {
    {"scan", "list the drives that answer on the network",
     "Tries every address of the network (the first network argument, 1 to the number of axes the\n"
     "transport reports) and lists each drive that answers: its address (node), model, logic version\n"
     "and serial number. Without --network the other network arguments are 0. Exit status 1 when no\n"
     "drive answers. With --json: {\"nodes\": [{\"node\", \"model\", \"model_label\", \"logic_version\",\n"
     "\"serial_number\"}]}.\n",
     RunScan, [](CLI::App&) {}},
};
// clang-format on

}  // namespace

bool EveryNodeReachable(const std::string& command) {
  if (!Connection().portGiven) return true;
  UsageError(command + ": --node all works over a network; a serial port reaches one drive");
  return false;
}

int BackupEveryNode(const std::string& folder, int (*backupOne)(const std::string& file)) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error || !std::filesystem::is_directory(folder))
    return UsageError("backup: cannot make the folder '" + folder + "' (" + error.message() + ")");
  const std::vector<NodeIdentity> nodes = AnsweringNodes();
  if (nodes.empty()) return kExitFailure;
  int status = kExitOk;
  for (const NodeIdentity& node : nodes) {
    const std::string name = "node" + std::to_string(node.address) + "-" + node.serial + ".par";
    Address(node.address);
    status = std::max(status, backupOne((std::filesystem::path(folder) / name).string()));
  }
  return status;
}

int DiffEveryNode(const std::string& first, const std::string& second) {
  const std::vector<NodeIdentity> nodes = AnsweringNodes();
  if (nodes.empty()) return kExitFailure;
  std::vector<std::pair<int32_t, DifferingParameter>> rows;
  std::size_t compared = 0, width = first.size();
  for (const NodeIdentity& node : nodes) {
    Address(node.address);
    const std::optional<SetComparison> comparison = CompareParameterSets(first, second);
    if (!comparison) return kExitUsage;
    for (const DifferingParameter& row : comparison->differing) {
      rows.emplace_back(node.address, row);
      width = std::max(width, row.first.size());
    }
    compared += comparison->compared;
  }
  const int w = static_cast<int>(width);
  std::printf("%-5s %-16s  %-*s  %s\n", "node", "Parameter", w, first.c_str(), second.c_str());
  for (const auto& [address, row] : rows) {
    std::printf("%-5d %-16s  %-*s  %s\n", static_cast<int>(address), row.name.c_str(), w, row.first.c_str(),
                row.second.c_str());
  }
  std::printf("%zu of %zu parameters differ on %zu drives\n", rows.size(), compared, nodes.size());
  return rows.empty() ? kExitOk : kExitFailure;
}

int InfoEveryNode() {
  if (!EveryNodeReachable("info")) return kExitUsage;
  return PrintNodes(AnsweringNodes(), true);
}

std::span<const Command> NetworkCommands() { return kCommands; }

}  // namespace svodb_tool
