#include "platform/files.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

#ifdef _WIN32
#include <windows.h>
#endif

namespace svodb {
namespace {

// stdio rather than a stream: fclose reports whether the buffered bytes
// reached the disk, which an ofstream's destructor would swallow.
class StdioOutputFile final : public OutputFile {
 public:
  explicit StdioOutputFile(std::FILE* file) : file_(file) {}
  ~StdioOutputFile() override {
    if (file_ != nullptr) std::fclose(file_);
  }
  StdioOutputFile(const StdioOutputFile&) = delete;
  StdioOutputFile& operator=(const StdioOutputFile&) = delete;

  bool Write(std::string_view bytes) override {
    if (file_ == nullptr) return false;
    return std::fwrite(bytes.data(), 1, bytes.size(), file_) == bytes.size();
  }
  bool Close() override {
    if (file_ == nullptr) return false;
    const bool flushed = std::fflush(file_) == 0 && std::ferror(file_) == 0;
    const bool closed = std::fclose(file_) == 0;
    file_ = nullptr;
    return flushed && closed;
  }

 private:
  std::FILE* file_;
};

class SystemFiles final : public FileSystem {
 public:
  std::unique_ptr<std::istream> OpenForReading(const std::string& path) override {
    auto stream = std::make_unique<std::ifstream>(path, std::ios::in | std::ios::binary);
    if (!stream->is_open()) return nullptr;
    return stream;
  }
  std::unique_ptr<OutputFile> OpenForWriting(const std::string& path) override {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) return nullptr;
    return std::make_unique<StdioOutputFile>(file);
  }
  bool Replace(const std::string& from, const std::string& to) override {
#ifdef _WIN32
    // rename() refuses an existing target on Windows.
    return MoveFileExA(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
#else
    return std::rename(from.c_str(), to.c_str()) == 0;
#endif
  }
  bool Remove(const std::string& path) override { return std::remove(path.c_str()) == 0; }
  bool WrittenInPlace(const std::string& path) override {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    return !error && std::filesystem::exists(status) && !std::filesystem::is_regular_file(status) &&
           !std::filesystem::is_directory(status);
  }
};

FileSystem* g_testFiles = nullptr;

}  // namespace

FileSystem& SystemFileSystem() {
  static SystemFiles files;
  return files;
}

FileSystem& ActiveFileSystem() { return g_testFiles != nullptr ? *g_testFiles : SystemFileSystem(); }

void UseFileSystemForTesting(FileSystem* files) noexcept { g_testFiles = files; }

}  // namespace svodb
