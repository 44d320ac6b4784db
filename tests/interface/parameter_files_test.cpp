// Parameter files through the public interface as a client on either
// system sees them: the file is written with the system's line ends, read
// back the same with LF or CR LF ends, and replaced only whole.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
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

std::string WithLineEnds(const std::string& text, const std::string& lineEnd) {
  std::string out;
  for (char c : text) {
    if (c != '\r') out += c == '\n' ? lineEnd : std::string(1, c);
  }
  return out;
}

class ParameterFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_ = fs::path(SVODB_TEST_WORK_DIR) /
              ("files_" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
    fs::remove_all(folder_);
    fs::create_directories(folder_);
  }
  // The factory defaults of an offline node, written as a user file.
  std::string WriteDefaults(int32_t node, const fs::path& file) {
    EXPECT_EQ(SetupOfflineNode_SVODB(node), 1);
    EXPECT_EQ(SetNode_SVODB(node), 1);
    EXPECT_EQ(SetParamsArray_SVODB(), 1);
    EXPECT_EQ(WRToFileUser_SVODB(file.string().c_str()), 1);
    return ReadBytes(file);
  }

  fs::path folder_;
};

TEST_F(ParameterFiles, WrittenWithTheSystemsLineEndsAndReadTheSameWithEither) {
  const std::string written = WriteDefaults(1, folder_ / "defaults.par");
  ASSERT_GT(std::count(written.begin(), written.end(), '\n'), 40);
#ifdef _WIN32
  EXPECT_EQ(written, WithLineEnds(written, "\r\n"));
#else
  EXPECT_EQ(written.find('\r'), std::string::npos);
#endif
  for (const char* lineEnd : {"\n", "\r\n"}) {
    SCOPED_TRACE(lineEnd[0] == '\r' ? "CR LF" : "LF");
    const fs::path in = folder_ / "in.par";
    const fs::path out = folder_ / "out.par";
    WriteBytes(in, WithLineEnds(written, lineEnd));
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
TEST_F(ParameterFiles, AFileHeldOpenElsewhere) {
  const fs::path file = folder_ / "held.par";
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
