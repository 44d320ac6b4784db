// svodb_read_file_lines hands a tool the lines of a parameter file exactly
// as the library's own reader takes them.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "platform/files.h"
#include "svodb/svodb_linux.h"

namespace svodb {
namespace {

// One file in memory, at the path "f"; nothing else can be opened.
class OneFile final : public FileSystem {
 public:
  explicit OneFile(std::string text) : text_(std::move(text)) { UseFileSystemForTesting(this); }
  ~OneFile() override { UseFileSystemForTesting(nullptr); }
  std::unique_ptr<std::istream> OpenForReading(const std::string& path) override {
    return path == "f" ? std::make_unique<std::istringstream>(text_) : nullptr;
  }
  std::unique_ptr<OutputFile> OpenForWriting(const std::string&) override { return nullptr; }
  bool Replace(const std::string&, const std::string&) override { return false; }
  bool Remove(const std::string&) override { return false; }

 private:
  std::string text_;
};

std::string Seen(const char* path, int stopAfter = 100) {
  struct Log {
    std::string text;
    int left;
  } log{"", stopAfter};
  const int32_t result = svodb_read_file_lines(
      path,
      [](void* context, const svodb_file_line* line) {
        auto& seen = *static_cast<Log*>(context);
        seen.text += std::to_string(line->number) + ":" + std::to_string(line->kind) + "[" + line->name +
                     "|" + line->value + "|" + line->rest + "]" + line->text + "\n";
        return --seen.left > 0 ? 1 : 0;
      },
      &log);
  return log.text + "=" + std::to_string(result);
}

TEST(FileLines, EachLineClassifiedAsTheReaderTakesIt) {
  const OneFile file(
      "Drive--X700_Base_Unit \r\n# note\nFileVersion 3\r\n\nDriveModel X7102 (-STD)\nActiveCMDUnits "
      "Velocity\n"
      "  # later\nKvp = 0.5  A/V\r\nKvp=5\nCmd\r = 1");
  EXPECT_EQ(Seen("f"),
            "1:1[Drive--X700_Base_Unit||]Drive--X700_Base_Unit \n"
            "2:0[||]# note\n"
            "3:1[FileVersion|3|]FileVersion 3\n"
            "4:0[||]\n"
            "5:1[DriveModel|X7102| (-STD)]DriveModel X7102 (-STD)\n"
            "6:1[ActiveCMDUnits|Velocity|]ActiveCMDUnits Velocity\n"
            "7:0[||]  # later\n"
            "8:2[Kvp|0.5|  A/V]Kvp = 0.5  A/V\n"
            "9:3[||]Kvp=5\n"
            "10:2[Cmd|1|]Cmd\r = 1\n"
            "=1");
}

TEST(FileLines, StopsWhereTheReaderOrTheCallerStops) {
  const OneFile file("a\n" + std::string(256, 'x') + "\nb\n");
  EXPECT_EQ(Seen("f"), "1:1[a||]a\n=32");
  EXPECT_EQ(Seen("f", 1), "1:1[a||]a\n=1");
  EXPECT_EQ(Seen("g"), "=31");
  EXPECT_EQ(svodb_read_file_lines(
                nullptr, [](void*, const svodb_file_line*) { return 1; }, nullptr),
            8);
  EXPECT_EQ(svodb_read_file_lines("f", nullptr, nullptr), 8);
}

}  // namespace
}  // namespace svodb
