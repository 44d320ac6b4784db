// Feeds arbitrary bytes to the parameter-file reader and to the per-line
// setter, each run on a fresh database, and checks that every answer is one
// the reader may give.
//
// The first byte chooses what runs; the rest is the input:
//   bit 7 clear: the reader. Bit 0 reads a manufacturing file, bit 1 leaves
//                the version alone, bits 2-4 are the node (7 is refused).
//                After a load the node's image must write out again.
//   bit 7 set:   the setter on node 1. The input is "name\ntext"; bits 2-4
//                pick the model, bits 5-6 the mode (2 and 3 are refused);
//                the closing step follows.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>

#include "catalog/catalogue.h"
#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "drive/transport.h"
#include "paramset/param_file.h"
#include "platform/platform.h"

namespace {

using svodb::Result;

constexpr uint32_t kModelCodes[] = {30, 31, 28, 15, 14, 29, 27, 26};

// A code the reader can give: success, or a failure whose base is one of
// its codes (with a line count or the closing step's 99 in the hundreds).
bool IsReaderResult(Result result) {
  if (result == svodb::kFileRead) return true;
  if (result < 0 || result >= 10000) return false;
  switch (result % 100) {
    case 8: case 9: case 12: case 22: case 23: case 32: case 99: return true;
    default: return false;
  }
}

bool IsSetterResult(Result result) {
  switch (result) {
    case 1: case 8: case 9: case 22: case 23: case 99: return true;
    default: return false;
  }
}

void Check(bool ok) {
  if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const uint8_t control = data[0];
  const std::string input(reinterpret_cast<const char*>(data) + 1, size - 1);

  auto db = std::make_unique<svodb::ParameterDatabase>();
  auto registers = std::make_unique<svodb::RegisterMap>();
  svodb::NoTransport transport;
  svodb::LibraryContext ctx{*db, *registers, transport, svodb::SystemPlatform()};

  if ((control & 0x80) != 0) {
    const std::size_t newline = input.find('\n');
    const std::string_view name = std::string_view(input).substr(0, newline);
    const std::string_view text =
        newline == std::string::npos ? std::string_view() : std::string_view(input).substr(newline + 1);
    const uint32_t model = kModelCodes[(control >> 2) & 7];
    const uint32_t mode = (control >> 5) & 3;
    Check(IsSetterResult(svodb::SetFromFileText(ctx, name, mode, model, text, 1)));
    Check(IsSetterResult(svodb::SetFromFileText(ctx, "END", mode, model, {}, 1)));
    return 0;
  }

  const bool manufacturing = (control & 1) != 0;
  const bool skipVersion = (control & 2) != 0;
  const uint32_t node = (control >> 2) & 7;
  std::istringstream stream(input);
  uint32_t model = 0, mode = 0;
  int32_t version = 0;
  const Result result = svodb::ReadParameterStream(ctx, stream, manufacturing, skipVersion, model, mode, version, node);
  if (node > svodb::kMaxNode) {
    Check(result == 23);
    return 0;
  }
  Check(IsReaderResult(result));
  Check(db->parameterFileNames[node].size() <= svodb::kMaxParameterFileLines);
  if (result == svodb::kFileRead) {
    svodb::ParameterList list;
    svodb::AppendParameterSet(db->catalogue, svodb::ParameterSet::kUserFile, list);
    svodb::ParameterFileIdentity identity;
    identity.modelCode = model;
    identity.mode = mode;
    identity.driveType = db->nodes[node].driveType;
    identity.versionGiven = true;  // node 0's would need a drive
    std::string text;
    // Whatever a file could put in an image can be written out again.
    Check(svodb::FormatParameterFile(ctx, list, identity, node, text) ==
          svodb::kFileWritten + static_cast<Result>(list.size()));
  }
  return 0;
}
