// The file operations the library's own files go through: opening for
// reading and writing, replacing one file by another, removing. Files are
// opened in binary mode on every system, so the bytes written are exactly
// the bytes given and the bytes read are exactly the bytes on disk; line
// ends are the caller's business.
//
// Tests put their own file system in place to make an open, a write or a
// rename fail at a chosen moment.
#pragma once

#include <istream>
#include <memory>
#include <string>
#include <string_view>

namespace svodb {

// A file being written.
class OutputFile {
 public:
  virtual ~OutputFile() = default;
  // False when the bytes could not be written; nothing more should be.
  virtual bool Write(std::string_view bytes) = 0;
  // Flushes and closes; false when anything written did not reach the file.
  // Called at most once; a file destroyed without it is closed silently.
  virtual bool Close() = 0;
};

class FileSystem {
 public:
  virtual ~FileSystem() = default;
  // Null when the file cannot be opened.
  virtual std::unique_ptr<std::istream> OpenForReading(const std::string& path) = 0;
  // Creates the file or empties it; null when it cannot be opened.
  virtual std::unique_ptr<OutputFile> OpenForWriting(const std::string& path) = 0;
  // Moves `from` over `to`, replacing `to` if it exists, in one step where
  // the system offers that; false when `to` is left as it was.
  virtual bool Replace(const std::string& from, const std::string& to) = 0;
  virtual bool Remove(const std::string& path) = 0;
  // True when `path` names something other than a regular file or a folder
  // (a device such as /dev/null, a pipe): it is written in place, because
  // moving a new file over it would replace the device itself.
  virtual bool WrittenInPlace(const std::string& /*path*/) { return false; }
};

// The running system's files (paths in the system's 8-bit encoding).
FileSystem& SystemFileSystem();

// What the library uses: the system's, unless a test put its own in place.
FileSystem& ActiveFileSystem();
// Null puts the system's back.
void UseFileSystemForTesting(FileSystem* files) noexcept;

// The line end the library writes: the platform's own.
#ifdef _WIN32
inline constexpr std::string_view kLineEnd = "\r\n";
#else
inline constexpr std::string_view kLineEnd = "\n";
#endif

}  // namespace svodb
