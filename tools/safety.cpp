#include "safety.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iostream>

#include "cli.h"
#include "svodb/svodb.h"

namespace svodb_tool {

SafetyOptions& Safety() {
  static SafetyOptions options;
  return options;
}

std::filesystem::path BackupFolder() {
  const char* state = std::getenv("XDG_STATE_HOME");
  if (state != nullptr && *state == '/') return std::filesystem::path(state) / "svodb" / "backups";
  const char* home = std::getenv("HOME");
  return std::filesystem::path(home != nullptr && *home != '\0' ? home : ".") / ".local" / "state" / "svodb" /
         "backups";
}

namespace {

// The serial number as a file name may carry it; "unknown" for a drive
// that does not say.
std::string SerialForFileName() {
  char text[SVODB_ONLINE_TEXT_SIZE] = "";
  std::string serial;
  if (GetStringOnline_SVODB("SerialNum", 0, text) == SVODB_OK) serial = Trim(text);
  for (char& c : serial) {
    const bool plain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
    if (!plain) c = '_';
  }
  return serial.empty() ? "unknown" : serial;
}

std::string UtcStamp() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y%m%dT%H%M%SZ", &utc);
  return stamp;
}

bool MadeBackupFolder() {
  std::error_code error;
  std::filesystem::create_directories(BackupFolder(), error);
  if (!error) return true;
  std::fprintf(stderr, "svodb: cannot make the backups folder %s (%s); nothing was changed\n",
               BackupFolder().c_str(), error.message().c_str());
  return false;
}

}  // namespace

std::filesystem::path BackupPath(const std::string& kind) {
  const std::string stem = SerialForFileName() + "-" + UtcStamp();
  std::filesystem::path path = BackupFolder() / (stem + "-" + kind);
  // Two backups within a second keep both.
  for (int copy = 2; std::filesystem::exists(path); ++copy)
    path = BackupFolder() / (stem + "-" + std::to_string(copy) + "-" + kind);
  return path;
}

std::optional<Backup> BackupDriveParameters() {
  if (!MadeBackupFolder()) return std::nullopt;
  // The version text decides which parameters the drive's version has.
  char version[SVODB_ONLINE_TEXT_SIZE] = "";
  GetStringOnline_SVODB("VerLW", 0, version);
  Backup backup;
  const std::string user = BackupPath("user.par").string();
  int32_t result = GetUserParamsNV_SVODBT(user.c_str());
  if (result != SVODB_OK) {
    LibraryFailure("saving the drive's user parameters to " + user + "; nothing was changed", result);
    return std::nullopt;
  }
  const std::string mfg = BackupPath("mfg.par").string();
  result = GetMfgParamsNV_SVODBT(mfg.c_str());
  if (result != SVODB_OK) {
    LibraryFailure("saving the drive's manufacturing parameters to " + mfg + "; nothing was changed", result);
    return std::nullopt;
  }
  backup.files = {user, mfg};
  backup.restoreCommands = {"svodb restore " + user, "svodb restore " + mfg + " --mfg"};
  return backup;
}

std::optional<Backup> BackupText(const std::string& kind, const std::string& content,
                                 const std::string& restoreCommand) {
  if (!MadeBackupFolder()) return std::nullopt;
  const std::string path = BackupPath(kind).string();
  std::ofstream out(path, std::ios::binary);
  if (!(out << content) || !out.flush()) {
    std::fprintf(stderr, "svodb: cannot write the backup %s; nothing was changed\n", path.c_str());
    return std::nullopt;
  }
  return Backup{{path}, {restoreCommand}};
}

void ShowBackup(const Backup& backup) {
  for (const std::string& file : backup.files) std::fprintf(stderr, "svodb: saved %s\n", file.c_str());
  for (const std::string& command : backup.restoreCommands)
    std::fprintf(stderr, "svodb:   put it back with: %s\n", command.c_str());
}

bool Confirmed(const std::string& action) {
  if (Safety().yes) return true;
  if (isatty(fileno(stdin)) == 0) {
    std::fprintf(stderr, "svodb: %s: refused without --yes (there is no terminal to ask on)\n", action.c_str());
    return false;
  }
  std::fprintf(stderr, "%s? [y/N] ", action.c_str());
  std::string answer;
  std::getline(std::cin, answer);
  answer = Trim(answer);
  if (answer == "y" || answer == "Y" || answer == "yes") return true;
  std::fprintf(stderr, "svodb: nothing was changed\n");
  return false;
}

bool OutputFolderExists(const std::string& command, const std::string& path) {
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  std::error_code error;
  if (folder.empty() || std::filesystem::is_directory(folder, error)) return true;
  UsageError(command + ": the folder " + folder.string() + " does not exist (for " + path + ")");
  return false;
}

bool MayWriteOutput(const std::string& command, const std::string& path) {
  if (!OutputFolderExists(command, path)) return false;
  std::error_code error;
  if (Safety().force || !std::filesystem::exists(path, error)) return true;
  UsageError(command + ": " + path + " exists; give --force to replace it");
  return false;
}

}  // namespace svodb_tool
