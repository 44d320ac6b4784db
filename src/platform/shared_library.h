// Loading a shared library by name and finding its functions: dlopen on
// Linux, LoadLibraryEx on Windows. Behind this seam tests can make loading or
// a function lookup fail.
#pragma once

#include <functional>
#include <memory>

namespace svodb {

class SharedLibrary {
 public:
  virtual ~SharedLibrary() = default;
  // The address of an exported function, or null when the library lacks it.
  virtual void* FindFunction(const char* name) const = 0;
};

// Loads a library by file name through the system's normal search; null
// when it cannot be loaded. On Windows only the application's folder and the
// system folders are searched, never the current directory.
std::unique_ptr<SharedLibrary> LoadSharedLibrary(const char* fileName);

using SharedLibraryLoader = std::function<std::unique_ptr<SharedLibrary>()>;

}  // namespace svodb
