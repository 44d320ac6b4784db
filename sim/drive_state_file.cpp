#include "drive_state_file.h"

#include <array>
#include <bitset>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <system_error>

namespace svodb::sim {

namespace {

constexpr std::string_view kHeader = "svodb-virtual-drive-state 1";
constexpr std::size_t kBytesPerRow = 16;
constexpr std::size_t kMotorRowCount = MotorDataMemory::kSize / kBytesPerRow;
constexpr std::size_t kRegisterRowCount = std::tuple_size_v<decltype(WorkingRegisters::registers)> / kBytesPerRow;
constexpr std::size_t kBiquadRowCount = BiquadMemory::kSize / kBytesPerRow;

// Which items a file has supplied so far.
struct Coverage {
  std::bitset<kNvEntryCount> nv;
  std::bitset<kMotorRowCount> motor;
  std::bitset<kRegisterRowCount> registers;
  std::bitset<kBiquadRowCount> biquads;

  bool IsComplete() const noexcept { return nv.all() && motor.all() && WorkingIsWholeOrAbsent(); }
  bool HasWorking() const noexcept { return registers.any() || biquads.any(); }
  bool WorkingIsWholeOrAbsent() const noexcept {
    return (registers.all() && biquads.all()) || (registers.none() && biquads.none());
  }
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

// "<address> <16 hex bytes>" into bytes, each row once.
template <std::size_t N, std::size_t Rows>
bool ParseHexRow(std::istringstream& in, std::array<uint8_t, N>& bytes, std::bitset<Rows>& seen) {
  static_assert(N == Rows * kBytesPerRow);
  unsigned address = 0;
  if (!(in >> std::dec >> address) || address % kBytesPerRow != 0) return false;
  const std::size_t row = address / kBytesPerRow;
  if (row >= Rows || seen.test(row)) return false;
  for (std::size_t i = 0; i < kBytesPerRow; ++i) {
    if (!ReadByte(in, 16, bytes[address + i])) return false;
  }
  seen.set(row);
  return true;
}

bool ParseKeywordLine(const std::string& keyword, std::istringstream& in, SavedDrive& saved, Coverage& seen) {
  WorkingRegisters& working = *saved.working;
  if (keyword == "nv") return ParseNvLine(in, saved.persistent, seen);
  if (keyword == "motor") return ParseHexRow(in, saved.persistent.motorData, seen.motor);
  if (keyword == "register") return ParseHexRow(in, working.registers, seen.registers);
  if (keyword == "biquad") return ParseHexRow(in, working.biquads, seen.biquads);
  return false;
}

bool ParseLine(const std::string& line, SavedDrive& saved, Coverage& seen) {
  std::istringstream in(line);
  std::string keyword;
  if (!(in >> keyword) || keyword[0] == '#') return true;
  const bool parsed = ParseKeywordLine(keyword, in, saved, seen);
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

template <std::size_t N>
void AppendHexRows(std::string& out, const char* keyword, const std::array<uint8_t, N>& bytes) {
  for (std::size_t address = 0; address < N; address += kBytesPerRow) {
    out += keyword;
    out += ' ' + std::to_string(address);
    for (std::size_t i = 0; i < kBytesPerRow; ++i) {
      out += ' ';
      AppendHexByte(out, bytes[address + i]);
    }
    out += '\n';
  }
}

}  // namespace

std::string FormatState(const PersistentState& state, const WorkingRegisters* working) {
  std::string out(kHeader);
  out += '\n';
  for (std::size_t entry = 0; entry < kNvEntryCount; ++entry) {
    const NvEntry& e = state.nv[entry];
    out += "nv " + std::to_string(entry) + ' ' + std::to_string(e.fpgaRegister) + ' ' +
           std::to_string(e.data) + '\n';
  }
  AppendHexRows(out, "motor", state.motorData);
  if (working != nullptr) {
    AppendHexRows(out, "register", working->registers);
    AppendHexRows(out, "biquad", working->biquads);
  }
  return out;
}

std::optional<SavedDrive> ParseSavedDrive(std::string_view text) {
  std::istringstream in{std::string(text)};
  std::string line;
  if (!std::getline(in, line) || WithoutCarriageReturn(line) != kHeader) return std::nullopt;
  SavedDrive saved;
  saved.working.emplace();
  Coverage seen;
  while (std::getline(in, line)) {
    if (!ParseLine(WithoutCarriageReturn(line), saved, seen)) return std::nullopt;
  }
  if (!seen.IsComplete()) return std::nullopt;
  if (!seen.HasWorking()) saved.working.reset();
  return saved;
}

std::optional<PersistentState> ParseState(std::string_view text) {
  const std::optional<SavedDrive> saved = ParseSavedDrive(text);
  if (!saved) return std::nullopt;
  return saved->persistent;
}

bool ReplaceFileContent(const std::filesystem::path& path, std::string_view content) {
  // A device or a pipe (SVODB_SIM_STATE=/dev/null) is written in place:
  // renaming a file over it would replace the device itself.
  std::error_code statusError;
  const std::filesystem::file_status status = std::filesystem::status(path, statusError);
  if (!statusError && std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    std::ofstream out(path, std::ios::binary);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    out.close();
    return static_cast<bool>(out);
  }
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

bool WriteStateFile(const std::filesystem::path& path, const PersistentState& state,
                    const WorkingRegisters* working) {
  return ReplaceFileContent(path, FormatState(state, working));
}

std::optional<SavedDrive> ReadSavedDrive(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream text;
  text << in.rdbuf();
  return ParseSavedDrive(text.str());
}

std::optional<PersistentState> ReadStateFile(const std::filesystem::path& path) {
  const std::optional<SavedDrive> saved = ReadSavedDrive(path);
  if (!saved) return std::nullopt;
  return saved->persistent;
}

}  // namespace svodb::sim
