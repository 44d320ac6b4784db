// The drive facts a unit conversion needs, gathered for a node: its model,
// its command units, its logic version (for the gain formats) and the
// DeadBand width.
#pragma once

#include <cstdint>

#include "context.h"
#include "drive/unit_scaling.h"

namespace svodb {

// Whether the gain format of a conversion code follows the logic version.
bool DependsOnLogicVersion(int32_t conversionCode);

// For node 0 the connected drive's model and units, and its LogicVer as read
// now (0 when it cannot be read); for nodes 1-6 the image's stored facts.
// Converting DeadBand reads the power-board byte of the drive's motor-data
// memory first and puts the matching layout in place.
ScalingInputs ScalingInputsFor(LibraryContext& ctx, uint32_t node, int32_t conversionCode);

// What an image holds for itself, node 0 included: its stored model, command
// units and logic version. The conversions around a whole-set write work on
// these and do not ask the drive for its LogicVer; DeadBand still follows the
// drive's power board.
ScalingInputs ImageScalingInputs(LibraryContext& ctx, uint32_t node, int32_t conversionCode);

}  // namespace svodb
