// svodb serve: the commissioning panel, a page and a JSON API on the
// loopback interface over the same library calls as the other commands.
#include <httplib.h>

#include <atomic>
#include <cctype>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>

#include "cli.h"
#include "command_options.h"
#include "flash_progress.h"
#include "safety.h"
#include "serve/drive_api.h"
#include "serve/request_guard.h"
#include "serve/tool_run.h"
#include "serve/web_assets.h"

namespace svodb_tool {
namespace {

using nlohmann::json;

// Parameter files are a few kilobytes, configuration files under a
// megabyte; anything larger is refused before it is read.
constexpr std::size_t kMaxUploadBytes = 2 * 1024 * 1024;
constexpr int32_t kDefaultHttpPort = 8600;

void Reply(httplib::Response& response, int status, const json& body) {
  response.status = status;
  response.set_content(body.dump(), "application/json");
}

void Refuse(httplib::Response& response, int status, const std::string& why) {
  Reply(response, status, {{"error", why}});
}

// A flash run in the background, so that the page can ask how far it got.
struct FlashState {
  std::atomic<bool> running{false};
  std::atomic<int32_t> step{-1};
  std::atomic<int32_t> total{0};
  std::mutex resultLock;
  json result;  // the last run's exit code and messages
};

// An uploaded file under its own name (the flash reads the logic version
// from a configuration file's name) in a folder of its own in the
// temporary folder, removed with whatever the command left beside it.
class Upload {
 public:
  Upload(const std::string& content, const std::string& name) {
    folder_ = std::filesystem::temp_directory_path() / ("svodb-serve-" + NewToken());
    std::filesystem::create_directory(folder_);
    path_ = folder_ / SafeName(name);
    if (!content.empty()) std::ofstream(path_, std::ios::binary) << content;
  }
  Upload(const Upload&) = delete;
  Upload& operator=(const Upload&) = delete;
  ~Upload() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  std::string Path() const { return path_.string(); }

 private:
  // Only letters, digits, '.', '-' and '_': the name cannot leave the folder.
  static std::string SafeName(const std::string& name) {
    std::string safe;
    for (const char c : name)
      safe += std::isalnum(static_cast<unsigned char>(c)) || c == '.' || c == '-' ? c : '_';
    return safe.empty() || safe[0] == '.' ? "upload" + safe : safe;
  }

  std::filesystem::path folder_;
  std::filesystem::path path_;
};

json ToolRunJson(const ToolRun& run) {
  return {{"ok", run.exitCode == kExitOk},
          {"exitCode", run.exitCode},
          {"output", run.out},
          {"messages", run.err}};
}

class Panel {
 public:
  Panel(int32_t port, std::string token) : port_(port), token_(std::move(token)) {}
  Panel(const Panel&) = delete;
  Panel& operator=(const Panel&) = delete;
  ~Panel() {
    if (flashThread_.joinable()) flashThread_.join();
  }

  void Route(httplib::Server& server) {
    server.set_payload_max_length(kMaxUploadBytes);
    server.set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
      return Guard(request, response) ? httplib::Server::HandlerResponse::Unhandled
                                      : httplib::Server::HandlerResponse::Handled;
    });
    ServePage(server);
    RouteVariables(server);
    RouteSets(server);
    RouteFlash(server);
    server.Post("/api/shutdown", [&server](const httplib::Request&, httplib::Response& response) {
      Reply(response, 200, {{"stopping", true}});
      server.stop();
    });
  }

 private:
  // Every request must name this server as its host; /api/ requests must
  // also come from its own page (or from no page) and carry the token.
  bool Guard(const httplib::Request& request, httplib::Response& response) const {
    RequestFacts facts{request.get_header_value("Host"), request.get_header_value("Origin"),
                       request.has_header("X-Svodb-Token") ? request.get_header_value("X-Svodb-Token")
                                                           : request.get_param_value("token")};
    const bool api = request.path.rfind("/api/", 0) == 0;
    const int status = RefusalStatus(facts, port_, token_);
    // The page itself holds no secret; only the API needs the token.
    if (status == 0 || (!api && status == 401)) return true;
    Refuse(response, status, status == 401 ? "missing or wrong token" : "not this server's page");
    return false;
  }

  void ServePage(httplib::Server& server) {
    for (const WebAsset& asset : WebAssets()) {
      const std::string path = std::string(asset.path) == "/index.html" ? "/" : asset.path;
      server.Get(path, [&asset](const httplib::Request&, httplib::Response& response) {
        response.set_header("Content-Security-Policy", "default-src 'self'; img-src 'self' data: blob:");
        response.set_content(std::string(asset.content, asset.size), asset.mediaType);
      });
    }
  }

  void RouteVariables(httplib::Server& server) {
    server.Get("/api/info", [this](const httplib::Request&, httplib::Response& response) {
      std::lock_guard lock(drive_);
      Reply(response, 200, DriveInfo());
    });
    server.Get("/api/variables", [this](const httplib::Request&, httplib::Response& response) {
      std::lock_guard lock(drive_);
      Reply(response, 200, AllVariables());
    });
    server.Get(R"(/api/variables/([A-Za-z0-9_]+))",
               [this](const httplib::Request& request, httplib::Response& response) {
                 std::lock_guard lock(drive_);
                 const auto variable = OneVariable(request.matches[1]);
                 variable ? Reply(response, 200, *variable) : Refuse(response, 404, "no such variable");
               });
    server.Put(R"(/api/variables/([A-Za-z0-9_]+))",
               [this](const httplib::Request& request, httplib::Response& response) {
                 const json body = json::parse(request.body, nullptr, false);
                 if (body.is_discarded()) return Refuse(response, 400, "the request is not JSON");
                 std::lock_guard lock(drive_);
                 const WriteOutcome outcome = WriteVariable(request.matches[1], body);
                 Reply(response, outcome.status, outcome.body);
               });
    server.Get("/api/sample", [this](const httplib::Request& request, httplib::Response& response) {
      std::vector<std::string> names;
      for (std::size_t i = 0; i < request.get_param_value_count("name") && i < 4; ++i) {
        names.push_back(request.get_param_value("name", i));
      }
      std::lock_guard lock(drive_);
      Reply(response, 200, Sample(names));
    });
    server.Get("/api/motor", [this](const httplib::Request&, httplib::Response& response) {
      std::lock_guard lock(drive_);
      const json block = MotorData();
      Reply(response, block.contains("error") ? 502 : 200, block);
    });
  }

  void RouteSets(httplib::Server& server) {
    server.Get("/api/diff/defaults", [this](const httplib::Request&, httplib::Response& response) {
      std::lock_guard lock(drive_);
      const auto comparison = Comparison("node:0", "defaults");
      comparison ? Reply(response, 200, *comparison) : Refuse(response, 500, "the defaults cannot be loaded");
    });
    // The preview of a restore: the drive's NV memory against the file.
    server.Post("/api/diff/file", [this](const httplib::Request& request, httplib::Response& response) {
      std::lock_guard lock(drive_);
      const Upload file(request.body, "upload.par");
      const auto comparison = Comparison("drive", file.Path());
      comparison ? Reply(response, 200, *comparison)
                 : Refuse(response, 400, "this is no parameter file the library reads");
    });
    server.Post("/api/restore", [this](const httplib::Request& request, httplib::Response& response) {
      std::lock_guard lock(drive_);
      const Upload file(request.body, "upload.par");
      // The page promises a way back; the restore command saves none of
      // its own yet, so the server saves the NV memory first.
      const std::optional<Backup> backup = BackupDriveParameters();
      if (!backup)
        return Refuse(response, 500, "the drive's parameters could not be saved first; nothing was written");
      const ToolRun run = RunToolCommand("restore", {file.Path()});
      json body = ToolRunJson(run);
      body["backup"] = backup->files;
      Reply(response, run.exitCode == kExitOk ? 200 : 422, body);
    });
    server.Post("/api/save", [this](const httplib::Request&, httplib::Response& response) {
      std::lock_guard lock(drive_);
      const ToolRun run = RunToolCommand("save", {});
      Reply(response, run.exitCode == kExitOk ? 200 : 500, ToolRunJson(run));
    });
    server.Get("/api/backup", [this](const httplib::Request&, httplib::Response& response) {
      std::lock_guard lock(drive_);
      const Upload file("", "backup.par");
      const ToolRun run = RunToolCommand("backup", {file.Path()});
      if (run.exitCode != kExitOk) return Reply(response, 500, ToolRunJson(run));
      std::ifstream in(file.Path(), std::ios::binary);
      response.set_content(std::string(std::istreambuf_iterator<char>(in), {}), "text/plain");
      response.set_header("Content-Disposition", "attachment; filename=\"drive-backup.par\"");
    });
  }

  void RouteFlash(httplib::Server& server) {
    server.Post("/api/flash", [this](const httplib::Request& request, httplib::Response& response) {
      const std::string name = request.get_param_value("name");
      if (name.empty()) return Refuse(response, 400, "name the file (?name=FILE.i00 or FILE.isc)");
      if (flash_.running.exchange(true)) return Refuse(response, 409, "a flash run is under way");
      if (flashThread_.joinable()) flashThread_.join();
      flash_.step = -1;
      flash_.total = 0;
      flashThread_ = std::thread([this, content = request.body, name] { Flash(content, name); });
      Reply(response, 202, {{"started", true}});
    });
    server.Get("/api/flash", [this](const httplib::Request&, httplib::Response& response) {
      std::lock_guard lock(flash_.resultLock);
      Reply(response, 200,
            {{"running", flash_.running.load()},
             {"step", flash_.step.load()},
             {"total", flash_.total.load()},
             {"result", flash_.result}});
    });
  }

  void Flash(const std::string& content, const std::string& name) {
    std::lock_guard lock(drive_);
    const Upload file(content, name);
    ObserveFlashProgress([this](int32_t step, int32_t total) {
      flash_.step = step;
      flash_.total = total;
    });
    const ToolRun run = RunToolCommand("flash", {file.Path()});
    ObserveFlashProgress(nullptr);
    {
      std::lock_guard resultLock(flash_.resultLock);
      flash_.result = ToolRunJson(run);
    }
    flash_.running = false;
  }

  int32_t port_;
  std::string token_;
  // The library's calls all go through this lock: one request at a time
  // talks to the drive.
  std::mutex drive_;
  FlashState flash_;
  std::thread flashThread_;
};

// Stops the server after `seconds` (0: never), so that a forgotten server
// in a script or a test ends by itself.
std::thread StopAfter(httplib::Server& server, int32_t seconds, std::condition_variable& stopped,
                      std::mutex& lock, bool& done) {
  return std::thread([&server, seconds, &stopped, &lock, &done] {
    std::unique_lock guard(lock);
    if (seconds > 0) {
      if (!stopped.wait_for(guard, std::chrono::seconds(seconds), [&done] { return done; })) server.stop();
    } else {
      stopped.wait(guard, [&done] { return done; });
    }
  });
}

struct ServeOptions {
  int32_t port = kDefaultHttpPort;
  int32_t seconds = 0;
} serve;

// The HTTP port takes the global --port's name after "serve"; the serial
// port is then --serial-port. --http-port is the name it had before.
void DeclareServe(CLI::App& command) {
  serve = {};
  AddInteger(command, "--port,--http-port", serve.port, "the HTTP port", 0, 65535)
      ->description("the HTTP port (default 8600; 0 picks a free port)");
  AddInteger(command, "--for", serve.seconds, "the seconds to serve", 1, 7 * 24 * 3600)
      ->description("stop after this many seconds")
      ->type_name("SECONDS");
}

int RunServe() {
  const std::optional<ServeOptions> options = serve;
  if (!ConnectToDrive()) return kExitFailure;
  httplib::Server server;
  const int port = options->port == 0 ? server.bind_to_any_port("127.0.0.1") : options->port;
  if (port < 0 || (options->port != 0 && !server.bind_to_port("127.0.0.1", port))) {
    std::fprintf(stderr, "svodb: serve: cannot listen on 127.0.0.1:%d\n", options->port);
    return kExitFailure;
  }
  const std::string token = NewToken();
  Panel panel(port, token);
  panel.Route(server);
  std::printf("svodb serve: open http://127.0.0.1:%d/?token=%s\n", port, token.c_str());
  std::fflush(stdout);
  std::condition_variable stopped;
  std::mutex lock;
  bool done = false;
  std::thread timer = StopAfter(server, options->seconds, stopped, lock, done);
  server.listen_after_bind();
  {
    std::lock_guard guard(lock);
    done = true;
  }
  stopped.notify_all();
  timer.join();
  return kExitOk;
}

// clang-format off
const Command kCommands[] = {
    {"serve", "serve the commissioning panel to a browser on this machine",
     "Serves a page on http://127.0.0.1:N/ that shows the drive's identity, faults and variables and\n"
     "changes them, compares them with the factory defaults or a parameter file, restores, saves and\n"
     "backs up, plots online values, shows the motor data block and programs the flash. Changes take\n"
     "the same checks and backups as the commands; the page asks where a command would ask. Only this\n"
     "machine can connect, and only with the token printed in the address. After \"serve\" the global\n"
     "--port is --serial-port; --http-port is another name of --port.\n",
     RunServe, DeclareServe},
};
// clang-format on

}  // namespace

std::span<const Command> ServeCommands() { return kCommands; }

}  // namespace svodb_tool
