// The text parameter file: one node's parameter set with a header naming
// the file kind, the logic version, the drive model, the network edition
// and the command units; and the per-line setter that files and the factory
// default tables share, so both read values the same way.
//
// Layout as written (<EOL> is the platform's line end, "\r\n" on Windows and
// "\n" elsewhere; the file is written in binary mode so nothing else
// differs between platforms):
//
//   Drive--X700_Base_Unit <EOL>                 ("Drive--X700_Base_Unit--Mfg" for manufacturing)
//   FileVersion 3 <EOL>
//   DriveModel X7102_240Vac_3/9Arms (-STD)<EOL>  ("(-NET)" for network drives)
//   ActiveCMDUnits Velocity<EOL>                ("Torque/Current" for torque mode)
//   <name:16> = <value:48> <unit:16><EOL>       (one line per written parameter)
//
// Fields are padded with blanks to their width and never cut. A value is an
// enumeration's file label, a number with six decimals, or (FBDivisor) an
// integer.
//
// Points the file format leaves open, as this library settles them:
//
// - AuxFBType's value 5 has a file label holding a blank, "EnDat_2.1
//   Linear". The writer puts an underscore in its place ("EnDat_2.1_Linear"),
//   so the label stays one word and a reader that stops at the blank cannot
//   take it for "EnDat_2.1" (value 4). The setter accepts that underscored
//   spelling, and the reader also accepts the blank form: when the value
//   word and the next word of the line together are that label, the two are
//   taken together. A stored 5 thus comes back as 5 from either spelling.
//   Other labels hold blanks too (SWClrFlt's "Not Clear", FaultCode's
//   "Option Card Fault", ...), but no other label has an alternative
//   spelling: every other label is matched exactly as its table writes it,
//   and a value that is not a label of its variable fails its line with 23
//   ("Not_Clear" and "Not Clear" are not labels of SWClrFlt).
// - Lines are at most kMaxFileLineLength characters, line end not counted;
//   a longer line, wherever it stands (comments included), makes the file
//   malformed (32). Header words are at most 58 characters (the edition
//   word at most 10); a longer one is malformed (32). Words after those a
//   header line needs are ignored.
// - A file that ends before its version line or before its model line is
//   malformed (32), as is an empty file. A file that ends before its units
//   line loads with velocity units.
// - The version word must be a decimal number as a whole (else 32); it is
//   truncated toward zero and must fit 32 bits.
// - A parameter line is "name", blanks, "=", optional blanks, "value", then
//   anything (the unit column, ignored). A name longer than 16 characters or
//   a value longer than 48 is malformed (32), not cut.
// - A failing parameter line is reported as 100 x its count + the line's
//   code while the count is below 99. From the 99th line on the line's code
//   is reported alone: two decimal places cannot hold the count, 99 stands
//   for the closing step, and 100 x count + code would reach the success
//   range from 10000 up.
// - Numbers are read in full and without regard to the process's locale; a
//   text that is not a decimal number as a whole is refused with 23 ("Data
//   is out of range"), where a C reader would have taken its leading part or
//   0. An optional leading "+" is accepted.
// - When the node-0 file version must come from the drive and its LogicVer
//   cannot be read, no file is written: the read's code is returned (99 if
//   that code is 10000 or more) and any previous file stays as it was.
// - An enumerated value that has no label (a raw value outside its table)
//   is written as "NoLabel_<value>", e.g. "NoLabel_32": no label has that
//   form, so the file records what the image held and reading it back
//   refuses that line with 23 rather than taking another entry's value.
// - A model code without a file label is refused with 9 ("Wrong model")
//   before anything is written.
// - Any value the writer cannot read from the image (GetOfflineValue) stops
//   the write with that code; nothing is written.
// - Nodes above 6 are refused with 23 by the writer, the reader and the
//   setter.
//
// Nothing is lost on disk: the writer writes a temporary file next to the
// target (the target's name followed by kTemporarySuffix) and moves it over
// the target only when it is complete. A write that fails at any point
// returns its code, removes the temporary file and leaves the target as it
// was; every failure to get the bytes onto the disk (open, write, close,
// move) is 31 ("Can't open file"). The target becomes a new file: a symbolic
// link is replaced by the file, and the file gets the permissions a new file
// gets. The reader opens files in binary mode and accepts LF and CR LF line
// ends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <istream>
#include <string>
#include <string_view>

#include "catalog/catalogue.h"
#include "catalog/result_codes.h"
#include "context.h"

namespace svodb {

// The first word of each file kind.
inline constexpr std::string_view kUserFileToken = "Drive--X700_Base_Unit";
inline constexpr std::string_view kMfgFileToken = "Drive--X700_Base_Unit--Mfg";

// Results of a complete write (plus the number of list entries) and read.
inline constexpr Result kFileWritten = 10000;
inline constexpr Result kFileRead = 10099;

inline constexpr std::size_t kMaxFileLineLength = 255;
inline constexpr std::size_t kMaxHeaderWordLength = 58;
inline constexpr std::size_t kMaxEditionLength = 10;
inline constexpr std::size_t kMaxFileNameLength = 16;
inline constexpr std::size_t kMaxFileValueLength = 48;

inline constexpr std::string_view kTemporarySuffix = ".svodb-tmp";

// What a file says about the image besides its values.
struct ParameterFileIdentity {
  bool manufacturing = false;
  uint32_t modelCode = 31;
  uint32_t mode = 1;                // 0 torque/current, 1 velocity; else 22
  uint32_t driveType = 1;           // 1 serial "(-STD)", 2 network "(-NET)"
  uint32_t commandSourceClass = 0;  // 0-2 pick the unit column; other values leave scaled values out
  int32_t fileVersion = 3;          // written only when versionGiven
  bool versionGiven = false;        // else node 0's LogicVer or the node's logic version
};

// The file's text for the node's image as it would be written: header and
// one line per list entry that the file carries (GearIn and GearOut only
// for serial drives, AuxFBDivisor and AuxFBType only for network drives).
// kFileWritten + list size on success, else the code; `text` is complete
// only on success.
Result FormatParameterFile(LibraryContext& ctx, const ParameterList& list, const ParameterFileIdentity& identity,
                           uint32_t node, std::string& text);

// Writes the node's image as a parameter file, replacing the file only when
// the whole text is on disk. kFileWritten + list size, or a code below
// kFileWritten.
Result WriteParameterFile(LibraryContext& ctx, const std::string& fileName, ParameterList list, bool manufacturing,
                          uint32_t modelCode, uint32_t mode, uint32_t driveType, uint32_t commandSourceClass,
                          int32_t fileVersion, bool versionGiven, uint32_t node);

// Loads a parameter file into the node: the header sets the node's logic
// version (unless skipVersion, when fileVersion is 1), drive type, model
// and mode, then each parameter line goes through SetFromFileText and the
// closing "END" step sets the command scaling. kFileRead on success; codes
// below 10000 for failures (see the file's notes on line counts); 9900 +
// code when the closing step fails. A load that stops keeps what it applied.
// The outputs are written as the header gives them.
Result ReadParameterFile(LibraryContext& ctx, const std::string& fileName, bool manufacturing, bool skipVersion,
                         uint32_t& modelCode, uint32_t& mode, int32_t& fileVersion, uint32_t node);

// The same from any stream (a file, a text in memory).
Result ReadParameterStream(LibraryContext& ctx, std::istream& input, bool manufacturing, bool skipVersion,
                           uint32_t& modelCode, uint32_t& mode, int32_t& fileVersion, uint32_t node);

// A parameter line's parts; views into the line.
struct ParameterLine {
  std::string_view name;
  std::string_view value;
  std::string_view rest;  // what follows the value, the unit column as written
};

// Whether the reader passes over a line: empty, white space only, or "#"
// as its first character other than white space.
bool IsSkippedLine(std::string_view line);

// Splits "name = value ..."; false when the line is malformed.
bool ParseParameterLine(std::string_view line, ParameterLine& parsed);

// One line of a parameter file as the reader takes it.
enum class FileLineKind { kSkipped, kHeader, kParameter, kMalformed };
struct FileLineView {
  int32_t number;  // 1-based
  FileLineKind kind;
  std::string_view text;  // without the line end
  // A header line's first two words, a parameter line's parts; empty else.
  ParameterLine parts;
};

// Hands each line of the file to `each` in order, classified as the reader
// classifies it (the first four lines it does not pass over are the
// header), until `each` returns false. 1 when every line was handed over or
// `each` stopped, 31 when the file cannot be opened, 32 at a line longer
// than kMaxFileLineLength (the lines before it were handed over).
Result ForEachFileLine(const std::string& fileName, const std::function<bool(const FileLineView&)>& each);

// Applies one "name = value" text to the node's raw value store under the
// given mode and model code; "END" turns the held command gain, offset and
// source into the PWM counts. 1 for success. A value that the register's
// range refuses is left unstored and still counts as success.
Result SetFromFileText(LibraryContext& ctx, std::string_view name, uint32_t mode, uint32_t modelCode,
                       std::string_view text, uint32_t node);

}  // namespace svodb
