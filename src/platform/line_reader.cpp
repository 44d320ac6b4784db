#include "platform/line_reader.h"

#include <cstring>

namespace svodb {

LineReader::LineReader(std::string_view text) noexcept
    : data_(text.data()), end_(text.size()), atEnd_(true) {}

LineReader::LineReader(std::FILE* file) : file_(file), buffer_(kBufferSize) { data_ = buffer_.data(); }

LineReader::LineReader(std::streambuf* stream) : stream_(stream), buffer_(kBufferSize) {
  data_ = buffer_.data();
  atEnd_ = stream == nullptr;
}

std::size_t LineReader::Read(char* into, std::size_t room) {
  if (stream_ != nullptr)
    return static_cast<std::size_t>(stream_->sgetn(into, static_cast<std::streamsize>(room)));
  return std::fread(into, 1, room, file_);
}

bool LineReader::Refill() {
  if (atEnd_) return false;
  const std::size_t unread = end_ - begin_;
  if (begin_ != 0 && unread != 0) std::memmove(buffer_.data(), buffer_.data() + begin_, unread);
  begin_ = 0;
  end_ = unread;
  const std::size_t got = Read(buffer_.data() + end_, buffer_.size() - end_);
  end_ += got;
  if (got == 0) {
    atEnd_ = true;
    if (file_ != nullptr && std::ferror(file_) != 0) stopped_ = Status::kReadError;
  }
  return got != 0;
}

LineReader::Status LineReader::Next(std::size_t maxLength, std::string_view& line) {
  if (stopped_ != Status::kLine) return stopped_;
  // A line of maxLength characters may still carry its CR and LF.
  const std::size_t longestWithEnd = maxLength + 2;
  const char* newline = nullptr;
  std::size_t searched = 0;
  for (;;) {
    const std::size_t available = end_ - begin_;
    const std::size_t window = available < longestWithEnd ? available : longestWithEnd;
    if (window > searched) {
      newline = static_cast<const char*>(std::memchr(data_ + begin_ + searched, '\n', window - searched));
      if (newline != nullptr) break;
      searched = window;
    }
    if (available >= longestWithEnd) return stopped_ = Status::kTooLong;
    if (!Refill()) {
      if (stopped_ != Status::kLine) return stopped_;
      break;
    }
  }
  const char* start = data_ + begin_;
  std::size_t length = newline != nullptr ? static_cast<std::size_t>(newline - start) : end_ - begin_;
  if (newline == nullptr && length == 0) return Status::kEnd;
  begin_ += newline != nullptr ? length + 1 : length;
  if (length != 0 && start[length - 1] == '\r') --length;
  if (length > maxLength) return stopped_ = Status::kTooLong;
  line = std::string_view(start, length);
  return Status::kLine;
}

}  // namespace svodb
