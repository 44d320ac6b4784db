// Parameter files and parameter sets together: a node's image saved to a
// user or manufacturing file, a file loaded into a node, a file copied into
// the drive's NV memory and the NV contents saved to a file, and the factory
// defaults loaded into an image. Each returns 1 or a composed code.
#pragma once

#include <cstdint>
#include <string>

#include "catalog/result_codes.h"
#include "context.h"

namespace svodb {

Result WriteUserFile(LibraryContext& ctx, uint32_t node, const std::string& fileName);
Result WriteMfgFile(LibraryContext& ctx, uint32_t node, const std::string& fileName);
Result ReadUserFile(LibraryContext& ctx, uint32_t node, const std::string& fileName);
Result ReadMfgFile(LibraryContext& ctx, uint32_t node, const std::string& fileName);

// Loads a user file into node 1, which becomes the current node, checks its
// model against the drive's and writes it to NV; node 0 is current again
// only when all of it succeeded.
Result CopyUserFileToNv(LibraryContext& ctx, uint32_t& currentNode, const std::string& fileName);
// Loads a manufacturing file into the node and writes its manufacturing part
// to NV, then erases the unused NV entries.
Result CopyMfgFileToNv(LibraryContext& ctx, uint32_t node, const std::string& fileName);
// Reads the drive's NV into the node and writes it as a user (or
// manufacturing) file.
Result SaveNvAsUserFile(LibraryContext& ctx, uint32_t node, const std::string& fileName);
Result SaveNvAsMfgFile(LibraryContext& ctx, uint32_t node, const std::string& fileName);

// Both default tables into the node's image, nothing to the drive.
Result LoadDefaultsIntoImage(LibraryContext& ctx, uint32_t node);

}  // namespace svodb
