// The drives of a network: which addresses answer, and commands that run
// over each of them in turn ("--node all").
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "cli.h"

namespace svodb_tool {

// Removes "--node all" from args: true when it was there, false when not,
// and none (after a usage error) for "--node" with anything else, or for a
// serial connection, which reaches one drive only.
std::optional<bool> TakeEveryNodeOption(const std::string& command, Args& args);

// `svodb backup FOLDER --node all [--mfg]`: one file per answering drive,
// named by its address and serial number; backupOne saves one drive to the
// file its arguments name.
int BackupEveryNode(const Args& args, int (*backupOne)(const Args& args));
// `svodb diff A B --node all`: one table of what differs, drive by drive.
int DiffEveryNode(const Args& args);
// `svodb info --node all`: one table of the answering drives.
int InfoEveryNode(const Args& args);

}  // namespace svodb_tool
