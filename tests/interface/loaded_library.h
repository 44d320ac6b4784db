// A library loaded by path as a client that ships it in a folder of its own
// loads it: LoadLibraryA on Windows, dlopen elsewhere.
#pragma once

#include <string>

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace svodb::testing {

class LoadedLibrary {
 public:
  explicit LoadedLibrary(const std::string& path) {
#ifdef _WIN32
    handle_ = LoadLibraryA(path.c_str());
#else
    handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
#endif
  }
  ~LoadedLibrary() {
    if (handle_ == nullptr) return;
#ifdef _WIN32
    FreeLibrary(handle_);
#else
    dlclose(handle_);
#endif
  }
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;

  bool Loaded() const { return handle_ != nullptr; }

  template <typename Function>
  Function Find(const char* name) const {
#ifdef _WIN32
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(handle_, name)));
#else
    return reinterpret_cast<Function>(dlsym(handle_, name));
#endif
  }

 private:
#ifdef _WIN32
  HMODULE handle_ = nullptr;
#else
  void* handle_ = nullptr;
#endif
};

}  // namespace svodb::testing
