// Whole parameter sets: which variables a whole-set operation moves, the
// four transfers between a node's raw value store and the connected drive
// (working registers and NV memory, each way), and the factory defaults of
// each drive model.
//
// The transfers return a code below 10000 for a failure (the failing step's
// own code, unchanged) and 10000 or more for success; the operations that
// stand behind the exports compose that into 1 or context * 10000 + code.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "catalog/catalogue.h"
#include "catalog/result_codes.h"
#include "context.h"

namespace svodb {

// A transfer's success value is this plus a count.
inline constexpr Result kSetSuccess = 10000;

// ---- the sets ----------------------------------------------------------------

// Lists are built afresh per operation in catalogue order. Running out of
// memory while one is built throws std::bad_alloc, which the exports turn
// into 99.
ParameterList DriveReadSet(const Catalogue& catalogue);
ParameterList ManufacturingSet(const Catalogue& catalogue);
ParameterList ManufacturingFileSet(const Catalogue& catalogue);

// The user write set for the connection the transport reports: the network
// variant (no inhibit enables, no gearing) when it reports the network (2),
// the serial one for anything else.
ParameterList UserWriteSet(LibraryContext& ctx);

// What the version-support check knows of the connected drive.
struct DriveVersion {
  std::string text;          // the version text last read with VerLW; may be empty
  int32_t logicVersion = 0;  // the raw LogicVer
};

// The connected drive's raw LogicVer (0 when it cannot be read) and the
// version text held for it.
DriveVersion ConnectedDriveVersion(LibraryContext& ctx);

// The user file set; with a drive version, only the variables that version
// supports.
ParameterList UserFileSet(const Catalogue& catalogue,
                          const std::optional<DriveVersion>& supportedBy = std::nullopt);

// ---- whole-set transfers --------------------------------------------------

// Every transfer passes over the entries whose minimum logic version is
// above the drive's LogicVer, which it reads first unless the operation it
// runs in read it already (drive/drive_facts.h); that read's failure is the
// transfer's. Nodes above 6 are 23.

// Reads Model, the mode (OpMode, SetupS2-1), SetupS2-1 and LogicVer into the
// node's identity, then every entry from the drive's working registers into
// the node's store. 10000 + the list's length, skipped entries included.
Result ReadSetFromDrive(LibraryContext& ctx, const ParameterList& list, uint32_t node);
// The same from NV memory; SetupS2-1 is not read.
Result ReadSetFromNV(LibraryContext& ctx, const ParameterList& list, uint32_t node);

// Writes the node's store to the drive's working registers, passing over
// what the drive's version does not support, each value put in the drive's
// logic format for the write and back afterwards (node 0 is always in the
// drive's formats and takes the drive's logic version). A write of a motor
// parameter that the drive may take from the TRX device (flags 7, 8) that
// does not read back (10) is passed over. 10000 + the entries written.
Result WriteSetToDrive(LibraryContext& ctx, const ParameterList& list, uint32_t node);
// Writes the node's store to NV memory with the same format conversions but
// no version-support check. 10000 + the list's length, or the conversion
// back of the last entry written when that did not give 1.
Result WriteSetToNV(LibraryContext& ctx, const ParameterList& list, uint32_t node);

// ---- factory defaults -------------------------------------------------------

// Whether the node takes the tables for logic 4.0 and later: node 0 by the
// drive's LogicVer, an image by its offline LogicVer. A value that cannot be
// read selects the older tables; inside a default load node 0's LogicVer
// was read at the start, and its failure failed the load.
bool UsesLogicFourDefaults(LibraryContext& ctx, uint32_t node);

// Applies the user defaults of the node's drive type (node 0: the present
// connection) and model (node 0: read from the drive, a failed read returns
// its code) to the node's store, under torque units, and closes with the
// command scaling. 1 on success; a drive type other than 1 or 2 is returned
// as it is; a failing row gives 100 * row + its code; a model without
// defaults 100 * 1 + (100 * 1 + 9).
Result ApplyUserDefaults(LibraryContext& ctx, uint32_t node);
// The same with the manufacturing defaults; a failing row gives the
// setter's code alone, a model without defaults 9.
Result ApplyMfgDefaults(LibraryContext& ctx, uint32_t node);

// ---- the exported operations ------------------------------------------------
// Each returns 1 or a composed code, and works on `node` as the exports'
// current node.

Result ReadUserSetFromDrive(LibraryContext& ctx, uint32_t node);  // the drive read set
Result ReadMfgSetFromDrive(LibraryContext& ctx, uint32_t node);
Result WriteUserSetToDrive(LibraryContext& ctx, uint32_t node);
Result WriteMfgSetToDrive(LibraryContext& ctx, uint32_t node);
Result ReadUserSetFromNV(LibraryContext& ctx, uint32_t node);  // the drive read set
Result ReadMfgSetFromNV(LibraryContext& ctx, uint32_t node);
Result WriteUserSetToNV(LibraryContext& ctx, uint32_t node);
Result WriteMfgSetToNV(LibraryContext& ctx, uint32_t node);
// Defaults into the node's store; on node 0 the set also goes to NV memory,
// followed by the clean-up of unused NV entries. The drive's facts come
// first (node 0's LogicVer; for the manufacturing defaults also the power
// board's byte and, on any node, LogicVer for the version text): a failed
// read fails the load before anything is stored, as do, on node 0, failed
// reads of the current offsets that the NV write keeps.
Result LoadUserDefaults(LibraryContext& ctx, uint32_t node);
Result LoadMfgDefaults(LibraryContext& ctx, uint32_t node);

}  // namespace svodb
