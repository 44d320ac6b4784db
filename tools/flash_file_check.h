// The whole configuration file checked before the drive is touched: the
// library reads no I00 record checksums and finds a bad ISC file only after
// the tool has saved the drive's parameters, so the tool checks first and
// says where the file is wrong.
#pragma once

#include <optional>
#include <string>

namespace svodb_tool {

enum class FlashFileKind { kIsc, kI00 };

struct FlashFileVerdict {
  bool ok = false;
  int32_t logicVersion = -1;  // the logic version the file is for; -1 unknown
  std::string problem;        // why not, naming the line or row
};

// Reads the whole file: its records, rows and checksums. A file that cannot
// be opened is a problem too.
FlashFileVerdict CheckFlashFile(const std::string& path, FlashFileKind kind);

}  // namespace svodb_tool
