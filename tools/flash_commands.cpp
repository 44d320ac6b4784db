// The flash command: programs, verifies, erases and reconfigures the
// drive's FPGA configuration flash, saving the drive's parameters first.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "cli.h"
#include "svodb/svodb.h"
#include "svodb/svodb_linux.h"

namespace svodb_tool {
namespace {

constexpr int kBarWidth = 40;
constexpr int32_t kNoVersionText = 11;  // "Wrong logic version": logic older than 3.0

// What the progress messages have shown so far.
struct ProgressView {
  bool terminal = false;
  int32_t lastStep = -1;
  int32_t total = 0;
  int shown = -1;  // bar: the percentage drawn; lines: the last tenth printed
};

int ShowProgress(void* context, uintptr_t /*window*/, uint32_t message, uintptr_t wParam, intptr_t lParam) {
  if (message != SVODB_PROGRESS_MESSAGE || lParam < 1) return 0;
  ProgressView& view = *static_cast<ProgressView*>(context);
  view.lastStep = static_cast<int32_t>(wParam);
  view.total = static_cast<int32_t>(lParam);
  const int percent =
      view.total > 1 ? static_cast<int>(int64_t{view.lastStep} * 100 / (view.total - 1)) : 100;
  if (view.terminal) {
    if (percent == view.shown) return 1;
    view.shown = percent;
    const int filled = percent * kBarWidth / 100;
    std::printf("\r[%s%s] %3d%%", std::string(static_cast<std::size_t>(filled), '#').c_str(),
                std::string(static_cast<std::size_t>(kBarWidth - filled), ' ').c_str(), percent);
  } else {
    if (percent / 10 == view.shown) return 1;
    view.shown = percent / 10;
    std::printf("%d%%\n", percent / 10 * 10);
  }
  std::fflush(stdout);
  return 1;
}

bool EndsWithIgnoringCase(const std::string& text, const std::string& lowerTail) {
  if (text.size() < lowerTail.size()) return false;
  for (std::size_t i = 0; i < lowerTail.size(); ++i) {
    const char c = text[text.size() - lowerTail.size() + i];
    if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) != lowerTail[i]) return false;
  }
  return true;
}

// The drive's user and manufacturing parameters, from its NV memory, as
// parameter files beside the configuration file: a new configuration may
// read the NV memory differently, and the files put it right again.
int SaveParameters(const std::string& configFile) {
  // The version text decides which parameters the drive's version has; a
  // logic older than 3.0 has none and keeps them all.
  char version[SVODB_ONLINE_TEXT_SIZE] = "";
  const int32_t read = GetStringOnline_SVODB("VerLW", 0, version);
  if (read != 1 && read != kNoVersionText) return LibraryFailure("reading the drive's version text", read);
  const std::string user = configFile + ".user.par";
  const std::string mfg = configFile + ".mfg.par";
  int32_t result = GetUserParamsNV_SVODBT(user.c_str());
  if (result != 1) return LibraryFailure("saving the drive's user parameters to " + user, result);
  result = GetMfgParamsNV_SVODBT(mfg.c_str());
  if (result != 1) return LibraryFailure("saving the drive's manufacturing parameters to " + mfg, result);
  std::printf("saved the drive's parameters to %s and %s\n", user.c_str(), mfg.c_str());
  std::printf("  restore them with: svodb restore %s; svodb restore %s --mfg\n", user.c_str(), mfg.c_str());
  return kExitOk;
}

int ProgramFile(const std::string& file, bool isc, bool verify) {
  if (!verify) {
    if (const int saved = SaveParameters(file); saved != kExitOk) return saved;
  }
  ProgressView view;
  view.terminal = isatty(fileno(stdout)) != 0;
  svodb_set_message_handlers(nullptr, ShowProgress, &view);
  const uintptr_t window = 1;  // any handle: the handler takes every post
  const int32_t result = isc ? HandleISCFile_SVODB(file.c_str(), verify ? 1 : 0, window, 0)
                             : HandleI00File_SVODB(file.c_str(), verify ? 1 : 0, window, 0);
  svodb_set_message_handlers(nullptr, nullptr, nullptr);
  if (view.terminal && view.shown >= 0) std::printf("\n");
  const std::string what = (verify ? "verifying the flash against " : "programming the flash from ") + file;
  if (result != 1) {
    LibraryFailure(what, result);
    if (verify && result == 4) std::fprintf(stderr, "svodb: the flash differs from %s\n", file.c_str());
    return kExitFailure;
  }
  // A refused byte still reports success when the closing byte gets
  // through; only a run that posted its last step went all the way.
  if (view.total == 0 || view.lastStep != view.total - 1) {
    std::fprintf(stderr, "svodb: %s: the drive stopped taking the stream at step %d of %d\n", what.c_str(),
                 static_cast<int>(view.lastStep), static_cast<int>(view.total));
    return kExitFailure;
  }
  std::printf(verify ? "the flash matches %s\n" : "programmed the flash from %s\n", file.c_str());
  return kExitOk;
}

int RunFlash(const Args& args) {
  bool verify = false, erase = false, configure = false;
  std::string file;
  for (const std::string& arg : args) {
    if (arg == "--verify") {
      verify = true;
    } else if (arg == "--erase") {
      erase = true;
    } else if (arg == "--configure") {
      configure = true;
    } else if (arg.starts_with("--") || !file.empty()) {
      return UsageError("flash: unexpected argument '" + arg + "' (see svodb flash --help)");
    } else {
      file = arg;
    }
  }
  if ((file.empty() ? 0 : 1) + (erase ? 1 : 0) + (configure ? 1 : 0) != 1 || (verify && file.empty())) {
    return UsageError("flash: give one of FILE [--verify], --erase, --configure");
  }
  if (!file.empty()) {
    const bool isc = EndsWithIgnoringCase(file, ".isc");
    if (!isc && !EndsWithIgnoringCase(file, ".i00"))
      return UsageError("flash: FILE must end in .isc or .i00");
    // Saving the parameters needs the drive's model and mode.
    return ConnectToDrive() ? ProgramFile(file, isc, verify) : kExitFailure;
  }
  const int32_t connected = Connect();
  if (connected != 1) return LibraryFailure("cannot open the connection", connected);
  if (erase) {
    const int32_t result = EraseFlash_SVODB();
    if (result != 1) return LibraryFailure("erasing the flash", result);
    std::printf("erased the flash\n");
    return kExitOk;
  }
  const int32_t result = ConfigFlash_SVODB();
  if (result != 1) return LibraryFailure("reconfiguring the drive", result);
  std::printf("the drive reloaded its FPGA from the flash\n");
  return kExitOk;
}

// clang-format off
const Command kCommands[] = {
    {"flash", "program, verify, erase or reload the drive's FPGA configuration flash",
     "usage: svodb flash FILE [--verify] | --erase | --configure\n"
     "FILE            program the flash from an ISC (.isc) or I00 (.i00) file; the drive's\n"
     "                parameters are saved first, to FILE.user.par and FILE.mfg.par\n"
     "                (svodb restore puts them back)\n"
     "FILE --verify   compare the flash with the file instead\n"
     "--erase         erase the flash\n"
     "--configure     make the drive reload its FPGA from the flash\n"
     "Progress shows as a bar on a terminal, else as a line per tenth.\n",
     RunFlash},
};
// clang-format on

}  // namespace

std::span<const Command> FlashCommands() { return kCommands; }

}  // namespace svodb_tool
