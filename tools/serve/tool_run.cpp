#include "serve/tool_run.h"

#include <unistd.h>

#include <cstdio>

#include "command_options.h"
#include "safety.h"

namespace svodb_tool {
namespace {

const Command* FindToolCommand(const std::string& name) {
  for (const auto table :
       {DriveCommands(), ValueCommands(), FeedbackCommands(), FileCommands(), FlashCommands()}) {
    for (const Command& command : table) {
      if (name == command.name) return &command;
    }
  }
  return nullptr;
}

// Points a standard stream at a temporary file for as long as it lives,
// and gives back what was written there.
class CaughtStream {
 public:
  CaughtStream(std::FILE* stream, int fd) : stream_(stream), fd_(fd) {
    std::fflush(stream_);
    file_ = std::tmpfile();
    saved_ = dup(fd_);
    if (file_ != nullptr && saved_ >= 0) dup2(fileno(file_), fd_);
  }
  CaughtStream(const CaughtStream&) = delete;
  CaughtStream& operator=(const CaughtStream&) = delete;
  ~CaughtStream() {
    Release();
    if (file_ != nullptr) std::fclose(file_);
  }

  std::string Release() {
    std::fflush(stream_);
    if (saved_ >= 0) {
      dup2(saved_, fd_);
      close(saved_);
      saved_ = -1;
    }
    std::string text;
    if (file_ == nullptr) return text;
    std::rewind(file_);
    char buffer[4096];
    std::size_t n = 0;
    while ((n = std::fread(buffer, 1, sizeof buffer, file_)) > 0) text.append(buffer, n);
    return text;
  }

 private:
  std::FILE* stream_;
  int fd_;
  std::FILE* file_ = nullptr;
  int saved_ = -1;
};

}  // namespace

ToolRun RunToolCommand(const std::string& name, const Args& args) {
  ToolRun run;
  const Command* command = FindToolCommand(name);
  if (command == nullptr) {
    run.err = "svodb: unknown command '" + name + "'\n";
    return run;
  }
  const bool yes = Safety().yes;
  Safety().yes = true;
  {
    CaughtStream out(stdout, STDOUT_FILENO);
    CaughtStream err(stderr, STDERR_FILENO);
    const std::optional<int> refused = ParseOwnArguments(*command, args);
    run.exitCode = refused ? *refused : command->run();
    run.err = err.Release();
    run.out = out.Release();
  }
  Safety().yes = yes;
  // The server's own log keeps what the commands said.
  std::fputs(run.out.c_str(), stdout);
  std::fputs(run.err.c_str(), stderr);
  std::fflush(stdout);
  return run;
}

}  // namespace svodb_tool
