#include "platform/shared_library.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#include <link.h>

#include <filesystem>
#include <system_error>
#endif

#include <algorithm>

namespace svodb {
namespace {

// Any object of this module: its address tells the system which module
// (svodb.dll, libsvodb.so, or a program that links the library statically)
// this code belongs to.
const char kModuleAnchor = 0;

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.find_last_of("/\\");
  return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

// A module whose path names no folder gives no place.
void AddPlace(std::vector<LibraryPlace>& places, std::string folder, const char* role) {
  if (folder.empty()) return;
  const bool known = std::any_of(places.begin(), places.end(),
                                 [&](const LibraryPlace& place) { return place.folder == folder; });
  if (!known) places.push_back(LibraryPlace{std::move(folder), role});
}

std::string Describe(const LibraryPlace& place, const char* fileName) {
  if (place.folder.empty()) return std::string(fileName) + " (" + place.role + ")";
  return place.folder + fileName + " (" + place.role + ")";
}

#ifdef _WIN32
std::string ModulePath(HMODULE module) {
  std::string path(MAX_PATH, '\0');
  for (;;) {
    const DWORD length = GetModuleFileNameA(module, path.data(), static_cast<DWORD>(path.size()));
    if (length == 0) return {};
    if (length < path.size()) return path.substr(0, length);
    path.resize(path.size() * 2);  // truncated: a long path
  }
}

HMODULE OwnModule() {
  HMODULE module = nullptr;
  GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     &kModuleAnchor, &module);
  return module;
}

std::string SystemFolder() {
  char folder[MAX_PATH + 1] = "";
  const UINT length = GetSystemDirectoryA(folder, sizeof folder);
  if (length == 0 || length >= sizeof folder) return {};
  return std::string(folder, length) + "\\";
}

std::string SystemMessage(DWORD error) {
  char text[256] = "";
  const DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                                      text, sizeof text, nullptr);
  std::string message(text, length);
  while (!message.empty() && (message.back() == '\n' || message.back() == '\r' || message.back() == '.' ||
                              message.back() == ' ')) {
    message.pop_back();
  }
  return message.empty() ? "error " + std::to_string(error) : message + " (error " + std::to_string(error) + ")";
}

// The LOAD_LIBRARY_SEARCH_* flags came with AddDllDirectory; a system
// without that function refuses them, and a full path with the older
// altered search order is the way to load there.
bool HasSearchFlags() {
  const HMODULE kernel = GetModuleHandleA("kernel32.dll");
  return kernel != nullptr && GetProcAddress(kernel, "AddDllDirectory") != nullptr;
}

class WindowsLibrary final : public SharedLibrary {
 public:
  explicit WindowsLibrary(HMODULE module) : module_(module) {}
  ~WindowsLibrary() override { FreeLibrary(module_); }
  void* FindFunction(const char* name) const override {
    return reinterpret_cast<void*>(GetProcAddress(module_, name));
  }
  std::string Path() const override { return ModulePath(module_); }

 private:
  HMODULE module_;
};

// A full path only, so the current folder and PATH never supply the
// library; its own dependencies come from its folder and the system folder.
std::unique_ptr<SharedLibrary> LoadByFullPath(const std::string& path, std::string& problem) {
  const DWORD flags = HasSearchFlags() ? LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32
                                       : LOAD_WITH_ALTERED_SEARCH_PATH;
  const HMODULE module = LoadLibraryExA(path.c_str(), nullptr, flags);
  if (module == nullptr) {
    problem = SystemMessage(GetLastError());
    return nullptr;
  }
  return std::make_unique<WindowsLibrary>(module);
}

LibraryLookup TryPlace(const char* fileName, const LibraryPlace& place) {
  LibraryLookup lookup;
  std::string reason;
  lookup.library = LoadByFullPath(place.folder + fileName, reason);
  if (!lookup.library) lookup.problem = Describe(place, fileName) + ": " + reason;
  return lookup;
}
#else
class PosixLibrary final : public SharedLibrary {
 public:
  explicit PosixLibrary(void* handle) : handle_(handle) {}
  ~PosixLibrary() override { dlclose(handle_); }
  void* FindFunction(const char* name) const override { return dlsym(handle_, name); }
  std::string Path() const override {
    link_map* map = nullptr;
    if (dlinfo(handle_, RTLD_DI_LINKMAP, &map) != 0 || map == nullptr) return {};
    return map->l_name;
  }

 private:
  void* handle_;
};

std::unique_ptr<SharedLibrary> Open(const std::string& name, int flags, std::string& problem) {
  void* handle = dlopen(name.c_str(), flags);
  if (handle == nullptr) {
    const char* error = dlerror();
    problem = error != nullptr ? error : "not loaded";
    return nullptr;
  }
  return std::make_unique<PosixLibrary>(handle);
}

LibraryLookup TryPlace(const char* fileName, const LibraryPlace& place) {
  LibraryLookup lookup;
  std::string reason;
  lookup.library = Open(place.folder + fileName, RTLD_NOW | RTLD_LOCAL, reason);
  if (!lookup.library) lookup.problem = Describe(place, fileName) + ": " + reason;
  return lookup;
}
#endif

}  // namespace

std::vector<LibraryPlace> CompanionPlaces() {
  std::vector<LibraryPlace> places;
#ifdef _WIN32
  AddPlace(places, FolderOf(ModulePath(OwnModule())), "beside svodb.dll");
  AddPlace(places, FolderOf(ModulePath(nullptr)), "the application's folder");
  AddPlace(places, SystemFolder(), "the system folder");
#else
  Dl_info info{};
  if (dladdr(&kModuleAnchor, &info) != 0 && info.dli_fname != nullptr) {
    AddPlace(places, FolderOf(info.dli_fname), "beside libsvodb.so");
  }
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  if (!error) AddPlace(places, FolderOf(program.string()), "the application's folder");
  places.push_back(LibraryPlace{std::string(), "the dynamic linker's search"});
#endif
  return places;
}

LibraryLookup LoadFromPlaces(const char* fileName, const std::vector<LibraryPlace>& places) {
#ifndef _WIN32
  // A client may have loaded the transport itself (the tool's --transport):
  // a library already loaded under this name is the one to use.
  std::string ignored;
  if (auto loaded = Open(fileName, RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD, ignored)) return {std::move(loaded), {}};
#endif
  LibraryLookup result;
  for (const LibraryPlace& place : places) {
    LibraryLookup lookup = TryPlace(fileName, place);
    if (lookup.library) return lookup;
    result.problem += (result.problem.empty() ? "" : "; ") + lookup.problem;
  }
  if (places.empty()) result.problem = std::string(fileName) + ": no place to look for it";
  return result;
}

}  // namespace svodb
