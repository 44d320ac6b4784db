// The drives of a network: which addresses answer, and commands that run
// over each of them in turn ("--node all").
#pragma once

#include <cstdint>
#include <string>

#include "cli.h"

namespace svodb_tool {

// True when the connection reaches a network: "--node all" runs over its
// drives; a serial port reaches one drive only (false after saying so).
bool EveryNodeReachable(const std::string& command);

// `svodb backup FOLDER --node all`: one file per answering drive, named by
// its address and serial number; backupOne saves one drive to a file.
int BackupEveryNode(const std::string& folder, int (*backupOne)(const std::string& file));
// `svodb diff A B --node all`: one table of what differs, drive by drive.
int DiffEveryNode(const std::string& first, const std::string& second);
// `svodb info --node all`: one table of the answering drives.
int InfoEveryNode();

}  // namespace svodb_tool
