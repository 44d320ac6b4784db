// One variable of a node's image in engineering units, read and written
// without the drive, and the properties a setup tool builds an input field
// from. Node 0 is the connected drive's image: a few of its facts (logic
// version, command source, present gain and offset) are read from the drive.
#pragma once

#include <cstdint>
#include <string_view>

#include "catalog/result_codes.h"
#include "context.h"

namespace svodb {

struct VariableProperties {
  int32_t conversionCode = 0;
  double minimum = 0.0;
  double maximum = 0.0;
  double defaultValue = 0.0;
};

// Nodes above 6 are refused with 23. Values are written only on success.
Result GetOfflineValue(LibraryContext& ctx, std::string_view name, uint32_t node, double& value);
// An offline image's own LogicVer as its stored value reads (the image's
// model must be known, as for every converted value). As for the drive's
// logic version, 0 and the code when it cannot be read.
Result ReadImageLogicVersion(LibraryContext& ctx, uint32_t node, int32_t& logicVersion);

Result PutOfflineValue(LibraryContext& ctx, std::string_view name, uint32_t node, double value);
Result GetOfflineProperties(LibraryContext& ctx, std::string_view name, uint32_t node,
                            VariableProperties& properties);

}  // namespace svodb
