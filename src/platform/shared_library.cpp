#include "platform/shared_library.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace svodb {
namespace {

#ifdef _WIN32
class WindowsLibrary final : public SharedLibrary {
 public:
  explicit WindowsLibrary(HMODULE module) : module_(module) {}
  ~WindowsLibrary() override { FreeLibrary(module_); }
  void* FindFunction(const char* name) const override {
    return reinterpret_cast<void*>(GetProcAddress(module_, name));
  }

 private:
  HMODULE module_;
};
#else
class PosixLibrary final : public SharedLibrary {
 public:
  explicit PosixLibrary(void* handle) : handle_(handle) {}
  ~PosixLibrary() override { dlclose(handle_); }
  void* FindFunction(const char* name) const override { return dlsym(handle_, name); }

 private:
  void* handle_;
};
#endif

}  // namespace

std::unique_ptr<SharedLibrary> LoadSharedLibrary(const char* fileName) {
#ifdef _WIN32
  HMODULE module =
      LoadLibraryExA(fileName, nullptr, LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
  if (module == nullptr) return nullptr;
  return std::make_unique<WindowsLibrary>(module);
#else
  void* handle = dlopen(fileName, RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) return nullptr;
  return std::make_unique<PosixLibrary>(handle);
#endif
}

}  // namespace svodb
