// The facts about a drive that decide what its values mean: model, operating
// mode (command units), setup switch S2-1, drive type and command source,
// kept per node, and for the connected drive as last read.
#pragma once

#include <cstdint>

#include "catalog/result_codes.h"
#include "context.h"

namespace svodb {

// Modes: 0 torque (current), 1 velocity; the GUI's view adds 2 position.
inline constexpr uint32_t kTorqueMode = 0;
inline constexpr uint32_t kVelocityMode = 1;
inline constexpr uint32_t kPositionMode = 2;

// The mode an OpMode value gives: 0 torque, 1 and 3 velocity (3 position in
// the GUI's view), 2 follows S2-1 (1 torque, 0 velocity). 23 otherwise.
Result DeriveMode(int32_t opMode, uint32_t setupS21, bool guiView, uint32_t& mode);

// Node operations refuse nodes above 6 with 23.
Result GetNodeMode(LibraryContext& ctx, uint32_t node, uint32_t& mode);
Result SetNodeOpMode(LibraryContext& ctx, uint32_t node, int32_t opMode);
Result SetNodeSetupS21(LibraryContext& ctx, uint32_t node, int32_t setupS21);
Result SetNodeDriveType(LibraryContext& ctx, uint32_t node, int32_t driveType);
// 1 when the image's model is the connected drive's as read now, 9 when not.
Result CheckNodeModel(LibraryContext& ctx, uint32_t node);

// Reads the connected drive's Model and keeps it as the connected model and
// node 0's model.
Result ReadModelOnline(LibraryContext& ctx, uint32_t& model);
// Reads OpMode and SetupS2-1 from the drive and keeps the derived mode as
// the connected mode. The GUI view reports OpMode 3 as 2 but keeps velocity
// as the drive's command units.
Result ReadModeOnline(LibraryContext& ctx, bool guiView, uint32_t& mode);
// Writes OpMode to the drive, reads SetupS2-1 and keeps the derived mode.
Result SetOpModeOnline(LibraryContext& ctx, int32_t opMode);
// Whether the drive's logic is 2.0 or newer (out 1) or older (out 0); on a
// failed read out is 0 and the read's code returned.
Result CheckLogicVersion(LibraryContext& ctx, uint8_t& atLeastTwo);

// A parameter file gives a mode (0 or 1, else 22); S2-1 becomes its opposite.
Result SetModeFromFile(LibraryContext& ctx, uint32_t node, int32_t mode);
// The image's command source class: its raw CmdSrc when 0, 1 or 2 (23
// otherwise), kept in the node state.
Result GetCommandSourceClass(LibraryContext& ctx, uint32_t node, uint32_t& commandSourceClass);

}  // namespace svodb
