// The process-wide parameter database: the catalogue, the state of the seven
// drive images (nodes) and the drive's version text.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "catalog/catalogue.h"

namespace svodb {

inline constexpr uint32_t kMaxNode = 6;
inline constexpr uint32_t kInitialModelCode = 31;
// A parameter file holds at most this many parameter lines.
inline constexpr std::size_t kMaxParameterFileLines = 150;

// The process's objects are built by the compiler (constinit), so loading
// the library builds nothing. clang before 15 cannot build libstdc++'s
// std::string at compile time; there they are built at load as before.
#if defined(__clang__) && __clang_major__ < 15
#define SVODB_PROCESS_CONSTINIT
#else
#define SVODB_PROCESS_CONSTINIT constinit
#endif

// Node 0 is the connected drive, nodes 1-6 offline images.
struct NodeState {
  int32_t logicVersion = 0;          // integer part of LogicVer
  uint32_t driveType = 1;            // 1 serial port, 2 network
  uint32_t mode = 0;                 // command units: 0 torque, 1 velocity
  uint32_t modelCode = kInitialModelCode;
  uint32_t setupS21 = 0;             // the image's copy of SetupS2-1
  uint32_t commandSourceClass = 0;   // 0, 1 or 2 from CmdSrc
  uint8_t encoderOutputFlag = 0;     // set when a file carried EncOutPPR
};

// The last command scaling values that a parameter file gave; CmdGain and
// CmdOffset are computed from each other and CmdSrc as the lines arrive.
struct FileCommandScaling {
  double cmdGain = 0.0;
  double cmdOffset = 0.0;
  double cmdSrc = 1.0;
};

// The raw current limits of an image while a whole-set write has put them
// in the drive's format.
struct RememberedCurrentLimits {
  int32_t plus = 0;
  int32_t minus = 0;
};

struct ParameterDatabase {
  ParameterDatabase() = default;
  // From the catalogue's rows, at compile time for the process's own one.
  constexpr explicit ParameterDatabase(const std::array<VariableRecord, kCatalogueRecordCount>& rows)
      : catalogue(rows) {}

  Catalogue catalogue;
  std::array<NodeState, kMaxNode + 1> nodes{};
  // The connected drive's mode and model code as last read; they belong to
  // the drive itself, not to an image.
  uint32_t connectedMode = 0;
  uint32_t connectedModelCode = kInitialModelCode;
  std::string driveVersion;  // empty until the drive's version is read
  int32_t powerBoardCode = 0;  // byte 511 of the motor-data memory as last read with VerLW
  FileCommandScaling fileScaling;
  // Per node, the names of the parameter lines of the last file read into
  // it, in file order, as the file spells them (at most
  // kMaxParameterFileLines).
  std::array<std::vector<std::string>, kMaxNode + 1> parameterFileNames;
  RememberedCurrentLimits rememberedCurrentLimits;
};

}  // namespace svodb
