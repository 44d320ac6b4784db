// The virtual drive's persistent memories (NV and the motor data copy) as a
// text file, so a drive keeps its serial number and parameters from one
// process to the next.
//
// Format, one item per line, decimal unless said otherwise:
//
//   svodb-virtual-drive-state 1
//   nv <entry> <register> <data>                 one line per entry, 0-255
//   motor <address> <16 bytes, two hex digits each, blank-separated>
//                                                one line per 16 bytes, 0-511
//   register <address> <16 bytes, as above>      one line per 16 bytes, 0-255
//   biquad <address> <16 bytes, as above>        one line per 16 bytes, 0-31
//
// Lines starting with '#' and blank lines are ignored. Every NV entry and
// every motor row must appear exactly once, or the file is rejected whole.
// The register and biquad rows (the working registers of a drive that stays
// powered) are all there or all absent; a file without them is a drive that
// powers up from NV.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "drive_memories.h"

namespace svodb::sim {

// A drive as its state file keeps it.
struct SavedDrive {
  PersistentState persistent;
  std::optional<WorkingRegisters> working;  // none: the drive powers up from NV
};

std::string FormatState(const PersistentState& state, const WorkingRegisters* working = nullptr);
std::optional<PersistentState> ParseState(std::string_view text);
std::optional<SavedDrive> ParseSavedDrive(std::string_view text);

// Writes a temporary file beside the target and renames it over the target,
// so a reader never sees half a state. False when either step fails.
bool WriteStateFile(const std::filesystem::path& path, const PersistentState& state,
                    const WorkingRegisters* working = nullptr);

// Writes `content` to "<path>.tmp" and renames it over `path`, so a reader in
// another process sees the old file or the new one, never half of one; the
// temporary file does not outlive a failure.
bool ReplaceFileContent(const std::filesystem::path& path, std::string_view content);

// None when the file is missing, unreadable or malformed.
std::optional<PersistentState> ReadStateFile(const std::filesystem::path& path);
std::optional<SavedDrive> ReadSavedDrive(const std::filesystem::path& path);

}  // namespace svodb::sim
