// What stands between a user and a change they cannot undo: a copy of what
// is about to be overwritten, kept in one backups folder, and a question
// before the change. Kept apart from the command handlers so that any front
// end (the command line, a server) takes the same way back.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace svodb_tool {

// How a destructive command may go ahead, from the global options.
struct SafetyOptions {
  bool yes = false;    // --yes: no question
  bool force = false;  // --force: an existing output file may be replaced
};
SafetyOptions& Safety();

// $XDG_STATE_HOME/svodb/backups, or ~/.local/state/svodb/backups without it.
std::filesystem::path BackupFolder();

// What a backup saved and the commands that put it back.
struct Backup {
  std::vector<std::string> files;
  std::vector<std::string> restoreCommands;
};

// Saves the connected drive's user and manufacturing parameters from its NV
// memory into the backups folder, named by the drive's serial number and
// the time; none (after saying why) when that fails.
std::optional<Backup> BackupDriveParameters();
// Saves `content` as a backup file of the given kind (e.g. "serial.txt").
std::optional<Backup> BackupText(const std::string& kind, const std::string& content,
                                 const std::string& restoreCommand);
// The path a backup of the given kind gets now.
std::filesystem::path BackupPath(const std::string& kind);
// Prints where the backup is and how to put it back, on standard error.
void ShowBackup(const Backup& backup);

// Asks on the terminal whether to go ahead with `action`; --yes answers for
// the user. Without a terminal and without --yes it refuses (after saying
// so), so a script never changes a drive by accident.
bool Confirmed(const std::string& action);

// False (after saying why) when the folder `path` names does not exist:
// checked before the drive is touched, so that nothing is read for nothing.
bool OutputFolderExists(const std::string& command, const std::string& path);
// False (after saying why) when the folder is missing, or `path` exists and
// --force was not given.
bool MayWriteOutput(const std::string& command, const std::string& path);

}  // namespace svodb_tool
