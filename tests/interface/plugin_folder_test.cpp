// A client that keeps the library and the transport together in a plugin
// folder, away from its own executable: the library binds the transport
// beside itself, and without one says where it looked. Each test runs in a
// process of its own, so that no transport loaded by one is seen by the
// other.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>

#include "svodb/svodb.h"
#include "svodb/svodb_ext.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace svodb::testing {
namespace {

namespace fs = std::filesystem;

// The library loaded by path as a client that ships it in a folder of its
// own loads it. Never unloaded: each test is a process of its own.
#ifdef _WIN32
void* Load(const fs::path& path) { return LoadLibraryA(path.string().c_str()); }
template <typename Function>
Function Find(void* library, const char* name) {
  return reinterpret_cast<Function>(
      reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name)));
}
#else
void* Load(const fs::path& path) { return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL); }
template <typename Function>
Function Find(void* library, const char* name) {
  return reinterpret_cast<Function>(dlsym(library, name));
}
#endif

using StatusFunction = int32_t(SVODB_CALL*)(char*, int32_t);
using VersionFunction = void(SVODB_CALL*)(char*);

const fs::path kLibrary = SVODB_LIBRARY_FILE;
const fs::path kTransport = SVODB_TRANSPORT_FILE;

// A fresh folder under the build tree holding copies of the given files.
fs::path PluginFolder(const char* name, std::initializer_list<fs::path> files) {
  const fs::path folder = fs::path(SVODB_TEST_WORK_DIR) / name;
  fs::remove_all(folder);
  fs::create_directories(folder);
  for (const fs::path& file : files) fs::copy_file(file, folder / file.filename());
  return folder;
}

TEST(PluginFolder, TheTransportBesideTheLibraryIsFound) {
  const fs::path folder = PluginFolder("plugins_with_transport", {kLibrary, kTransport});
  void* library = Load(folder / kLibrary.filename());
  ASSERT_NE(library, nullptr);
  const auto status = Find<StatusFunction>(library, "svodb_transport_status");
  const auto version = Find<VersionFunction>(library, "DLLVersion_SVODB");
  ASSERT_TRUE(status && version);

  char text[SVODB_TRANSPORT_TEXT_SIZE] = "";
  ASSERT_EQ(status(text, sizeof text), SVODB_TRANSPORT_LOADED) << text;
  EXPECT_TRUE(fs::equivalent(text, folder / kTransport.filename())) << text;
  char versions[SVODB_VERSION_SIZE] = "";
  version(versions);
  EXPECT_STREQ(versions, "SVODB virtual drive 1.0 and 1.60.0000");
}

TEST(PluginFolder, WithoutATransportTheStatusNamesEveryPlaceLookedAt) {
  const fs::path folder = PluginFolder("plugins_without_transport", {kLibrary});
  void* library = Load(folder / kLibrary.filename());
  ASSERT_NE(library, nullptr);
  const auto status = Find<StatusFunction>(library, "svodb_transport_status");
  ASSERT_TRUE(status);

  char text[SVODB_TRANSPORT_TEXT_SIZE] = "";
  ASSERT_EQ(status(text, sizeof text), SVODB_TRANSPORT_NOT_FOUND) << text;
  const std::string report = text;
  const std::string name = kTransport.filename().string();
  EXPECT_EQ(report.rfind(name + " not found: ", 0), 0u) << report;
  // The plugin folder first, as the system spells it.
  const std::string beside = name + " (beside " + kLibrary.filename().string() + "): ";
  const std::size_t first = report.find(beside);
  ASSERT_NE(first, std::string::npos) << report;
  const std::size_t start = (name + " not found: ").size();
  const std::string firstPath = report.substr(start, first + name.size() - start);
  EXPECT_TRUE(fs::equivalent(fs::path(firstPath).parent_path(), folder)) << firstPath;
  // The next place follows after a separator.
  EXPECT_LT(first, report.find("; ")) << report;
  EXPECT_LT(report.find("; "), report.find(name + " (the application's folder): ")) << report;
#ifdef _WIN32
  EXPECT_LT(report.find(name + " (the application's folder): "), report.find(name + " (the system folder): "))
      << report;
#endif

  // A short buffer gets the start of the text and its terminator, no more.
  char shortText[8];
  std::memset(shortText, 'X', sizeof shortText);
  EXPECT_EQ(status(shortText, 5), SVODB_TRANSPORT_NOT_FOUND);
  EXPECT_EQ(std::string(shortText, 5), report.substr(0, 4) + '\0');
  EXPECT_EQ(shortText[5], 'X');
  EXPECT_EQ(status(nullptr, 100), SVODB_TRANSPORT_NOT_FOUND);
}

}  // namespace
}  // namespace svodb::testing
