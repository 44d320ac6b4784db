// The flash command: programs, verifies, erases and reconfigures the
// drive's FPGA configuration flash, saving the drive's parameters first.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>

#include "cli.h"
#include "command_options.h"
#include "flash_file_check.h"
#include "flash_progress.h"
#include "json_output.h"
#include "safety.h"
#include "svodb/svodb.h"
#include "svodb/svodb_linux.h"

namespace svodb_tool {
namespace {

FlashProgressObserver& ProgressObserver() {
  static FlashProgressObserver observer;
  return observer;
}

constexpr int kBarWidth = 40;

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
  if (ProgressObserver()) ProgressObserver()(view.lastStep, view.total);
  const int percent =
      view.total > 1 ? static_cast<int>(int64_t{view.lastStep} * 100 / (view.total - 1)) : 100;
  if (view.terminal) {
    if (percent == view.shown) return 1;
    view.shown = percent;
    const int filled = percent * kBarWidth / 100;
    std::fprintf(stderr, "\r[%s%s] %3d%%", std::string(static_cast<std::size_t>(filled), '#').c_str(),
                 std::string(static_cast<std::size_t>(kBarWidth - filled), ' ').c_str(), percent);
  } else {
    if (percent / 10 == view.shown) return 1;
    view.shown = percent / 10;
    std::fprintf(stderr, "%d%%\n", percent / 10 * 10);
  }
  std::fflush(stderr);
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

// The flash's own words for the library's codes, with the code in brackets.
std::string FlashFailure(int32_t code, bool isc, bool verify) {
  std::string meaning;
  switch (code) {
    case 16: meaning = "the drive did not become ready for programming"; break;
    case 31: meaning = "the file cannot be opened"; break;
    case 32: meaning = "the file is not in the configuration file format"; break;
    case 33: meaning = "the file is for another logic version than the drive's"; break;
    case 41: meaning = "the ISC file fails its file checksum"; break;
    case 42:
      meaning = isc ? "the ISC file's data rows fail their checksum"
                    : "the drive's status could not be read while it finished";
      break;
    case 43: meaning = "the file holds more data than the flash"; break;
    case 4:
      meaning = verify ? "the flash differs from the file" : "the drive did not finish programming the flash";
      break;
    default: {
      char message[SVODB_MESSAGE_SIZE];
      ErrorMessage_SVODB(code, message);
      meaning = message;
    }
  }
  return meaning + " (code " + std::to_string(code) + ")";
}

int32_t DriveLogicVersion() {
  double logic = 0;
  const int32_t result = GetVariableOnline_SVODB("LogicVer", &logic);
  if (result != SVODB_OK) {
    LibraryFailure("reading the drive's logic version", result);
    return -1;
  }
  return static_cast<int32_t>(logic);
}

// Asks, then saves the drive's parameters to the backups folder: a new
// configuration may read the NV memory differently, and the files put it
// right again.
bool ReadyToChangeFlash(const std::string& action) {
  if (!Confirmed(action)) return false;
  const std::optional<Backup> backup = BackupDriveParameters();
  if (backup) ShowBackup(*backup);
  return backup.has_value();
}

int ProgramFile(const std::string& file, bool isc, bool verify) {
  if (!verify && !ReadyToChangeFlash("program the drive's flash from " + file)) return kExitUsage;
  ProgressView view;
  // On stderr like every progress display, so standard output holds only
  // the outcome (or the JSON document).
  view.terminal = isatty(fileno(stderr)) != 0;
  svodb_set_message_handlers(nullptr, ShowProgress, &view);
  const uintptr_t window = 1;  // any handle: the handler takes every post
  const int32_t result = isc ? HandleISCFile_SVODB(file.c_str(), verify ? 1 : 0, window, 0)
                             : HandleI00File_SVODB(file.c_str(), verify ? 1 : 0, window, 0);
  svodb_set_message_handlers(nullptr, nullptr, nullptr);
  if (view.terminal && view.shown >= 0) std::fprintf(stderr, "\n");
  const std::string what = (verify ? "verifying the flash against " : "programming the flash from ") + file;
  if (result != SVODB_OK) {
    std::fprintf(stderr, "svodb: %s: %s\n", what.c_str(), FlashFailure(result, isc, verify).c_str());
    return kExitFailure;
  }
  // A refused byte still reports success when the closing byte gets
  // through; only a run that posted its last step went all the way.
  if (view.total == 0 || view.lastStep != view.total - 1) {
    std::fprintf(stderr, "svodb: %s: the drive stopped taking the stream at step %d of %d\n", what.c_str(),
                 static_cast<int>(view.lastStep), static_cast<int>(view.total));
    return kExitFailure;
  }
  PrintResult(Json{{"file", file}, {"action", verify ? "verify" : "program"}, {"steps", view.total}},
              (verify ? "the flash matches " : "programmed the flash from ") + file + "\n");
  return kExitOk;
}

struct FlashOptions {
  std::string file;
  bool verify = false;
  bool erase = false;
  bool configure = false;
} flash;

void DeclareFlash(CLI::App& command) {
  flash = {};
  command.add_option("FILE", flash.file,
                     "program the flash from an ISC (.isc) or I00 (.i00) file, after checking the whole file "
                     "(records, rows, checksums) and its logic version against the drive's; the drive's "
                     "parameters are saved to the backups folder first");
  command.add_flag("--verify", flash.verify, "with FILE: compare the flash with the file instead");
  command.add_flag("--erase", flash.erase, "erase the flash (the parameters are saved first as well)");
  command.add_flag("--configure", flash.configure, "make the drive reload its FPGA from the flash");
}

int RunFlash() {
  const std::string& file = flash.file;
  const bool verify = flash.verify, erase = flash.erase, configure = flash.configure;
  if ((file.empty() ? 0 : 1) + (erase ? 1 : 0) + (configure ? 1 : 0) != 1 || (verify && file.empty())) {
    return UsageError("flash: give one of FILE [--verify], --erase, --configure");
  }
  if (!file.empty()) {
    const bool isc = EndsWithIgnoringCase(file, ".isc");
    if (!isc && !EndsWithIgnoringCase(file, ".i00"))
      return UsageError("flash: FILE must end in .isc or .i00");
    const FlashFileVerdict verdict = CheckFlashFile(file, isc ? FlashFileKind::kIsc : FlashFileKind::kI00);
    if (!verdict.ok) return UsageError("flash: " + verdict.problem + "; nothing was sent to the drive");
    // Saving the parameters needs the drive's model and mode.
    if (!ConnectToDrive()) return kExitFailure;
    const int32_t logic = DriveLogicVersion();
    if (logic < 0) return kExitFailure;
    if (verdict.logicVersion != logic) {
      return UsageError("flash: " + file + " is for logic " + std::to_string(verdict.logicVersion) +
                        "; the drive has logic " + std::to_string(logic) + "; nothing was sent to the drive");
    }
    return ProgramFile(file, isc, verify);
  }
  if (!ConnectToDrive()) return kExitFailure;
  if (erase) {
    if (!ReadyToChangeFlash("erase the drive's flash")) return kExitUsage;
    const int32_t result = EraseFlash_SVODB();
    if (result != SVODB_OK) return LibraryFailure("erasing the flash", result);
    PrintResult(Json{{"action", "erase"}}, "erased the flash\n");
    return kExitOk;
  }
  const int32_t result = ConfigFlash_SVODB();
  if (result != SVODB_OK) return LibraryFailure("reconfiguring the drive", result);
  PrintResult(Json{{"action", "configure"}}, "the drive reloaded its FPGA from the flash\n");
  return kExitOk;
}

// clang-format off
const Command kCommands[] = {
    {"flash", "program, verify, erase or reload the drive's FPGA configuration flash",
     "Give one of FILE [--verify], --erase and --configure. Programming and erasing ask first on a\n"
     "terminal (--yes: no question). Progress shows as a bar on a terminal, else as a line per tenth.\n",
     RunFlash, DeclareFlash},
};
// clang-format on

}  // namespace

void ObserveFlashProgress(FlashProgressObserver observer) { ProgressObserver() = std::move(observer); }

std::span<const Command> FlashCommands() { return kCommands; }

}  // namespace svodb_tool
