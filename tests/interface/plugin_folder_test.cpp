// A client that keeps the library and the transport together in a plugin
// folder, away from its own executable: the library binds the transport
// beside itself, and without one says where it looked. Each test runs in a
// process of its own, so that no transport loaded by one is seen by the
// other.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <regex>
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

using StatusFunction = int32_t(SVODB_CALL*)(char*, int32_t);

const fs::path kLibrary = SVODB_LIBRARY_FILE;
const fs::path kTransport = SVODB_TRANSPORT_FILE;

// The library copied into a fresh folder under the build tree, with the
// transport or without, and loaded from there by path as a client would,
// never unloaded: each test is a process of its own.
fs::path PluginFolder(const char* name, bool withTransport) {
  const fs::path folder = fs::path(SVODB_TEST_WORK_DIR) / name;
  fs::remove_all(folder);
  fs::create_directories(folder);
  fs::copy_file(kLibrary, folder / kLibrary.filename());
  if (withTransport) fs::copy_file(kTransport, folder / kTransport.filename());
  return folder;
}

template <typename Function>
Function Find(const fs::path& folder, const char* name) {
  const fs::path library = folder / kLibrary.filename();
#ifdef _WIN32
  void* function = reinterpret_cast<void*>(GetProcAddress(LoadLibraryA(library.string().c_str()), name));
#else
  void* loaded = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  void* function = loaded != nullptr ? dlsym(loaded, name) : nullptr;
#endif
  return reinterpret_cast<Function>(function);
}

// A file name as a regular expression matches it.
std::string Literal(const fs::path& path) {
  return std::regex_replace(path.filename().string(), std::regex(R"(\.)"), R"(\.)");
}

TEST(PluginFolder, TheTransportBesideTheLibraryIsFound) {
  const fs::path folder = PluginFolder("plugins_with_transport", true);
  const auto status = Find<StatusFunction>(folder, "svodb_transport_status");
  const auto version = Find<void(SVODB_CALL*)(char*)>(folder, "DLLVersion_SVODB");
  ASSERT_TRUE(status && version);

  char text[SVODB_TRANSPORT_TEXT_SIZE] = "";
  ASSERT_EQ(status(text, sizeof text), SVODB_TRANSPORT_LOADED) << text;
  EXPECT_TRUE(fs::equivalent(text, folder / kTransport.filename())) << text;
  char versions[SVODB_VERSION_SIZE] = "";
  version(versions);
  EXPECT_STREQ(versions, "SVODB virtual drive 1.0 and 1.60.0000");
}

// Every place looked at, the plugin folder first, as the system spells
// them, one after another behind a separator.
TEST(PluginFolder, WithoutATransportTheStatusNamesEveryPlaceLookedAt) {
  const fs::path folder = PluginFolder("plugins_without_transport", false);
  const auto status = Find<StatusFunction>(folder, "svodb_transport_status");
  ASSERT_TRUE(status);

  char text[SVODB_TRANSPORT_TEXT_SIZE] = "";
  ASSERT_EQ(status(text, sizeof text), SVODB_TRANSPORT_NOT_FOUND) << text;
  const std::string report = text, name = Literal(kTransport);
  std::string places = name + " not found: (.*" + name + ") \\(beside " + Literal(kLibrary) +
                       "\\): [^;]*; [^;]*" + name + " \\(the application's folder\\): .*";
#ifdef _WIN32
  places += "; [^;]*" + name + " \\(the system folder\\): .*";
#endif
  std::smatch beside;
  ASSERT_TRUE(std::regex_match(report, beside, std::regex(places))) << report;
  EXPECT_TRUE(fs::equivalent(fs::path(beside[1].str()).parent_path(), folder)) << beside[1];

  // A short buffer gets the start of the text and its terminator, no more.
  char shortText[8];
  std::memset(shortText, 'X', sizeof shortText);
  EXPECT_EQ(status(shortText, 5), SVODB_TRANSPORT_NOT_FOUND);
  EXPECT_EQ(std::string(shortText, 6), report.substr(0, 4) + '\0' + 'X');
  EXPECT_EQ(status(nullptr, 100), SVODB_TRANSPORT_NOT_FOUND);
}

}  // namespace
}  // namespace svodb::testing
