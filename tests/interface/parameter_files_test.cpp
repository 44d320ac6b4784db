// Parameter files through the public interface as a client on either
// system sees them: the file is written with the system's line ends, read
// back the same with LF or CR LF ends, and replaced only whole.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>

#include "svodb/svodb.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace svodb::testing {
namespace {

namespace fs = std::filesystem;

std::string ReadBytes(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

void WriteBytes(const fs::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// A fresh folder of the test's own under the build tree.
fs::path Folder() {
  const fs::path folder =
      fs::path(SVODB_TEST_WORK_DIR) /
      ("files_" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
  fs::remove_all(folder);
  fs::create_directories(folder);
  return folder;
}

TEST(ParameterFiles, WrittenWithTheSystemsLineEndsAndReadTheSameWithEither) {
  const fs::path folder = Folder(), in = folder / "in.par", out = folder / "out.par";
  // The factory defaults of an offline node, written as a user file.
  ASSERT_EQ(SetupOfflineNode_SVODB(1), 1);
  ASSERT_EQ(SetNode_SVODB(1), 1);
  ASSERT_EQ(SetParamsArray_SVODB(), 1);
  ASSERT_EQ(WRToFileUser_SVODB((folder / "defaults.par").string().c_str()), 1);
  const std::string written = ReadBytes(folder / "defaults.par");
  const std::string lf = std::regex_replace(written, std::regex("\r\n"), "\n");
  ASSERT_GT(std::count(lf.begin(), lf.end(), '\n'), 40);
#ifdef _WIN32
  EXPECT_EQ(written, std::regex_replace(lf, std::regex("\n"), "\r\n"));
#else
  EXPECT_EQ(written.find('\r'), std::string::npos);
#endif
  for (const char* lineEnd : {"\n", "\r\n"}) {
    SCOPED_TRACE(lineEnd[0] == '\r' ? "CR LF" : "LF");
    WriteBytes(in, std::regex_replace(lf, std::regex("\n"), lineEnd));
    ASSERT_EQ(SetNode_SVODB(2), 1);
    ASSERT_EQ(RDFromFileUser_SVODB(in.string().c_str()), 1);
    ASSERT_EQ(WRToFileUser_SVODB(out.string().c_str()), 1);
    EXPECT_EQ(ReadBytes(out), written);
  }
}

// Windows refuses to replace a file that another handle holds open without
// delete sharing; the write then fails whole and the old file stays as it
// was. Elsewhere the new file replaces the name and the open handle keeps
// reading the old one.
TEST(ParameterFiles, AFileHeldOpenElsewhere) {
  const fs::path file = Folder() / "held.par";
  WriteBytes(file, "old contents\n");
  ASSERT_EQ(SetNode_SVODB(1), 1);
  ASSERT_EQ(SetParamsArray_SVODB(), 1);
#ifdef _WIN32
  const HANDLE held = CreateFileA(file.string().c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                  nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(held, INVALID_HANDLE_VALUE);
  constexpr int32_t kWriteCantOpenFile = 60031;  // 60000 + "Can't open file"
  EXPECT_EQ(WRToFileUser_SVODB(file.string().c_str()), kWriteCantOpenFile);
  CloseHandle(held);
  EXPECT_EQ(ReadBytes(file), "old contents\n");
#else
  std::ifstream held(file, std::ios::binary);
  EXPECT_EQ(WRToFileUser_SVODB(file.string().c_str()), 1);
  std::string line;
  std::getline(held, line);
  EXPECT_EQ(line, "old contents");
  EXPECT_NE(ReadBytes(file), "old contents\n");
#endif
  EXPECT_FALSE(fs::exists(fs::path(file.string() + ".svodb-tmp")));
}

}  // namespace
}  // namespace svodb::testing
