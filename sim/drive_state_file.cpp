#include "drive_state_file.h"

#include <bitset>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <system_error>

namespace svodb::sim {

namespace {

constexpr std::string_view kHeader = "svodb-virtual-drive-state 1";
constexpr std::size_t kBytesPerMotorRow = 16;
constexpr std::size_t kMotorRowCount = MotorDataMemory::kSize / kBytesPerMotorRow;

// Which items a file has supplied so far.
struct Coverage {
  std::bitset<kNvEntryCount> nv;
  std::bitset<kMotorRowCount> motor;

  bool IsComplete() const noexcept { return nv.all() && motor.all(); }
};

bool ReadByte(std::istringstream& in, int base, uint8_t& out) {
  unsigned value = 0;
  in >> (base == 16 ? std::hex : std::dec) >> value;
  if (!in || value > 0xFF) return false;
  out = static_cast<uint8_t>(value);
  return true;
}

bool ParseNvLine(std::istringstream& in, PersistentState& state, Coverage& seen) {
  unsigned entry = 0;
  NvEntry value;
  if (!(in >> std::dec >> entry) || entry >= kNvEntryCount || seen.nv.test(entry)) return false;
  if (!ReadByte(in, 10, value.fpgaRegister) || !ReadByte(in, 10, value.data)) return false;
  state.nv[entry] = value;
  seen.nv.set(entry);
  return true;
}

bool ParseMotorLine(std::istringstream& in, PersistentState& state, Coverage& seen) {
  unsigned address = 0;
  if (!(in >> std::dec >> address) || address % kBytesPerMotorRow != 0) return false;
  const std::size_t row = address / kBytesPerMotorRow;
  if (row >= kMotorRowCount || seen.motor.test(row)) return false;
  for (std::size_t i = 0; i < kBytesPerMotorRow; ++i) {
    if (!ReadByte(in, 16, state.motorData[address + i])) return false;
  }
  seen.motor.set(row);
  return true;
}

bool ParseLine(const std::string& line, PersistentState& state, Coverage& seen) {
  std::istringstream in(line);
  std::string keyword;
  if (!(in >> keyword) || keyword[0] == '#') return true;
  const bool parsed =
      keyword == "nv" ? ParseNvLine(in, state, seen) : keyword == "motor" && ParseMotorLine(in, state, seen);
  std::string rest;
  return parsed && !(in >> rest);
}

// Files edited on Windows end their lines in CR LF.
std::string WithoutCarriageReturn(std::string line) {
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return line;
}

void AppendHexByte(std::string& out, uint8_t value) {
  constexpr char kDigits[] = "0123456789abcdef";
  out += kDigits[value >> 4];
  out += kDigits[value & 0x0F];
}

}  // namespace

std::string FormatState(const PersistentState& state) {
  std::string out(kHeader);
  out += '\n';
  for (std::size_t entry = 0; entry < kNvEntryCount; ++entry) {
    const NvEntry& e = state.nv[entry];
    out += "nv " + std::to_string(entry) + ' ' + std::to_string(e.fpgaRegister) + ' ' +
           std::to_string(e.data) + '\n';
  }
  for (std::size_t address = 0; address < MotorDataMemory::kSize; address += kBytesPerMotorRow) {
    out += "motor " + std::to_string(address);
    for (std::size_t i = 0; i < kBytesPerMotorRow; ++i) {
      out += ' ';
      AppendHexByte(out, state.motorData[address + i]);
    }
    out += '\n';
  }
  return out;
}

std::optional<PersistentState> ParseState(std::string_view text) {
  std::istringstream in{std::string(text)};
  std::string line;
  if (!std::getline(in, line) || WithoutCarriageReturn(line) != kHeader) return std::nullopt;
  PersistentState state;
  Coverage seen;
  while (std::getline(in, line)) {
    if (!ParseLine(WithoutCarriageReturn(line), state, seen)) return std::nullopt;
  }
  if (!seen.IsComplete()) return std::nullopt;
  return state;
}

bool ReplaceFileContent(const std::filesystem::path& path, std::string_view content) {
  std::filesystem::path temporary = path;
  temporary += ".tmp";
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    out.close();
    std::error_code error;
    if (!out) {
      std::filesystem::remove(temporary, error);
      return false;
    }
  }
  std::error_code error;
  std::filesystem::rename(temporary, path, error);
  if (!error) return true;
  std::filesystem::remove(temporary, error);
  return false;
}

bool WriteStateFile(const std::filesystem::path& path, const PersistentState& state) {
  return ReplaceFileContent(path, FormatState(state));
}

std::optional<PersistentState> ReadStateFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream text;
  text << in.rdbuf();
  return ParseState(text.str());
}

}  // namespace svodb::sim
