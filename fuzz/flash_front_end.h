// What the structure-aware fuzz front ends of the configuration-file readers
// share: a cursor over the fuzz input, line edits driven by it, and a drive
// whose ISP answers come from the input, so that a file the reader accepts
// also runs through the programming stream.
//
// A well-formed configuration file is far longer than any input libFuzzer
// mutates well (an ISC file is over half a megabyte), so the front ends
// build a valid file and let the input choose its content and a few edits
// of its lines: the reader then sees mostly valid files with the occasional
// broken row, record, line end or checksum, and reaches the code behind its
// format checks.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "drive/transport.h"
#include "isp/i00_file.h"
#include "platform/platform.h"

namespace svodb::fuzz {

inline void Require(bool holds) {
  if (!holds) std::abort();
}

inline std::string Hex(uint32_t value, int digits) {
  std::string text(static_cast<std::size_t>(digits), '0');
  for (int i = digits - 1; i >= 0; --i, value >>= 4) text[static_cast<std::size_t>(i)] = "0123456789ABCDEF"[value & 15u];
  return text;
}

// Hands out the input's bytes in order; 0 once they are used up.
class InputCursor {
 public:
  InputCursor(const uint8_t* data, std::size_t size) noexcept : data_(data), size_(size) {}
  uint8_t Byte() noexcept { return at_ < size_ ? data_[at_++] : 0; }
  uint16_t Word() noexcept { return static_cast<uint16_t>(Byte() << 8 | Byte()); }
  bool Empty() const noexcept { return at_ >= size_; }

 private:
  const uint8_t* data_;
  std::size_t size_;
  std::size_t at_ = 0;
};

// Up to eight edits, each of four bytes: a line, a column and what to do
// there. Kinds: replace the character, cut the line there, remove the line,
// double it, or put a character in.
inline void EditLines(std::vector<std::string>& lines, InputCursor& input) {
  for (int edit = 0; edit < 8 && !input.Empty() && !lines.empty(); ++edit) {
    const std::size_t line = input.Word() % lines.size();
    std::string& text = lines[line];
    const std::size_t column = text.empty() ? 0 : input.Byte() * 7919u % text.size();
    const uint8_t what = input.Byte();
    switch (what % 5) {
      case 0: if (!text.empty()) text[column] = static_cast<char>(what); break;
      case 1: text.resize(column); break;
      case 2: lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(line)); break;
      case 3: lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(line), text); break;
      default: text.insert(column, 1, static_cast<char>(what)); break;
    }
  }
}

inline std::string Joined(const std::vector<std::string>& lines, bool crlf) {
  std::string text;
  for (const std::string& line : lines) text += line + (crlf ? "\r\n" : "\n");
  return text;
}

// A file under the system's temporary folder for the programming exports,
// which read from a file by name.
class TemporaryFile {
 public:
  TemporaryFile(const char* stem, const std::string& text) : name_(std::string(P_tmpdir) + "/" + stem) {
    if (std::FILE* file = std::fopen(name_.c_str(), "wb")) {
      written_ = std::fwrite(text.data(), 1, text.size(), file) == text.size();
      written_ = std::fclose(file) == 0 && written_;
    }
  }
  ~TemporaryFile() { std::remove(name_.c_str()); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  bool Written() const noexcept { return written_; }
  const char* Name() const noexcept { return name_.c_str(); }

 private:
  std::string name_;
  bool written_ = false;
};

// A serial drive whose ISP status replies and byte answers cycle through a
// few input bytes: mostly "ready" and success, now and then busy, finished,
// another status or a failed call.
class ScriptedDrive final : public NoTransport {
 public:
  explicit ScriptedDrive(std::vector<uint8_t> script) : script_(std::move(script)) {
    if (script_.empty()) script_.push_back(0);
  }
  int32_t GetCommType() override { return 1; }
  int32_t GetVarFromFPGA(int32_t, int32_t* data, int32_t*) override {
    *data = 0;
    return 1;
  }
  int32_t PutVarToFPGA(int32_t, int32_t) override { return 1; }
  int32_t ChangeBaudRate(int32_t) override { return 1; }
  int32_t FlushPort() override { return 1; }
  int32_t SendISPByte(int32_t, int32_t* status) override { return Answer(*status); }
  int32_t GetISPStatus(int32_t* status, int32_t) override { return Answer(*status); }

 private:
  // Low bits pick the status; a script byte of 0xFF fails the call.
  int32_t Answer(int32_t& status) {
    const uint8_t step = script_[next_++ % script_.size()];
    static constexpr int32_t kStatuses[] = {1, 1, 1, 1, 2, 4, 0, 8};
    status = kStatuses[step & 7];
    return step == 0xFF ? 0 : 1;
  }

  std::vector<uint8_t> script_;
  std::size_t next_ = 0;
};

// A clock that moves on by what is slept and a whole second per reading,
// so that every wait, the drive's long busy waits included, ends after a
// few hundred polls; messages are dropped.
class FuzzPlatform final : public Platform {
 public:
  uint32_t NowMs() override { return now_ms_ += 1000; }
  void SleepMs(uint32_t duration_ms) override { now_ms_ += duration_ms; }
  bool PumpOneMessage() override { return false; }
  bool PostWindowMessage(uintptr_t, uint32_t, uintptr_t, intptr_t) override { return true; }

 private:
  uint32_t now_ms_ = 0;
};

// Writes the text to a file and runs program(ctx, file name) against a
// scripted drive; the file's name is given by its stem.
template <typename Program>
void ProgramOnScriptedDrive(const char* stem, const std::string& text, std::vector<uint8_t> script,
                            Program program) {
  TemporaryFile file(stem, text);
  if (!file.Written()) return;
  ParameterDatabase db;
  RegisterMap registers;
  ScriptedDrive drive(std::move(script));
  FuzzPlatform platform;
  LibraryContext ctx{db, registers, drive, platform};
  program(ctx, file.Name());
}

// Reads an I00 text into an image with guard bytes on both sides, which
// catch a write outside it, and checks that every answer is one the reader
// may give.
inline Result ReadI00Guarded(std::string_view text, std::string_view name, int32_t& version) {
  constexpr std::size_t kGuard = 64;
  std::vector<uint8_t> buffer(isp::kI00ImageSize + 2 * kGuard, 0xA5);
  const std::span<uint8_t> image(buffer.data() + kGuard, isp::kI00ImageSize);
  std::fill(image.begin(), image.end(), uint8_t{0xFF});
  LineReader lines(text);
  Result result = isp::ReadI00Header(lines, name, version);
  Require(result == 1 || result == 32);
  if (result == 1) {
    result = isp::ReadI00Records(lines, image);
    Require(result == 1 || result == 32 || result == 43);
  }
  for (std::size_t i = 0; i < kGuard; ++i) Require(buffer[i] == 0xA5 && buffer[buffer.size() - 1 - i] == 0xA5);
  return result;
}

}  // namespace svodb::fuzz
