// Text files read line by line with a bound on the line length, from a
// file, a stream or text in memory: the one reader of parameter files and
// of configuration-flash files.
//
// A line ends at LF. A CR right before that LF (or before the end of the
// text) belongs to the line end, so files saved on either system read
// alike; a CR anywhere else stays in the line. A last line without LF is a
// line; an empty text has none. The reader keeps at most one buffer of the
// file in memory, however large the file is, and stops at the first line
// that is too long, so a file of one huge line costs no more than a buffer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <streambuf>
#include <string_view>
#include <vector>

namespace svodb {

class LineReader {
 public:
  enum class Status : uint8_t { kLine, kEnd, kTooLong, kReadError };

  // Reads the text, which must outlive the reader.
  explicit LineReader(std::string_view text) noexcept;
  // Reads an open file (not closed by the reader) from where it stands.
  explicit LineReader(std::FILE* file);
  // Reads a stream's buffer from where it stands. A stream cannot tell a
  // failed read from its end, so a stream never gives kReadError.
  explicit LineReader(std::streambuf* stream);

  // The next line, without its line end, in `line`: valid until the next
  // call. A line of more than maxLength characters gives kTooLong and a
  // failed read kReadError; either ends the reading, and later calls give
  // it again. maxLength must stay below kBufferSize - 2.
  Status Next(std::size_t maxLength, std::string_view& line);

  static constexpr std::size_t kBufferSize = 64 * 1024;

 private:
  // Moves the unread part to the front of the buffer and reads more; false
  // at the end of the input or on a read error.
  bool Refill();
  std::size_t Read(char* into, std::size_t room);

  std::FILE* file_ = nullptr;
  std::streambuf* stream_ = nullptr;
  std::vector<char> buffer_;
  const char* data_ = nullptr;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  bool atEnd_ = false;
  Status stopped_ = Status::kLine;
};

}  // namespace svodb
