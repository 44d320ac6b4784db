// Loading a shared library and finding its functions: dlopen on Linux,
// LoadLibraryEx on Windows. Behind this seam tests can make loading or a
// function lookup fail.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace svodb {

class SharedLibrary {
 public:
  virtual ~SharedLibrary() = default;
  // The address of an exported function, or null when the library lacks it.
  virtual void* FindFunction(const char* name) const = 0;
  // Where the library was loaded from, as the system reports it.
  virtual std::string Path() const = 0;
};

// A search's outcome: the library, or why none was loaded.
struct LibraryLookup {
  std::unique_ptr<SharedLibrary> library;
  // When library is null: each place looked at and the system's reason.
  std::string problem;
};

// One place a library may be: a folder and what that folder is to the
// caller (e.g. "beside svodb.dll"), for the report when nothing is found.
struct LibraryPlace {
  std::string folder;  // ends in the system's separator; empty: the system's own search
  std::string role;
};

// Loads fileName from the first of the places that has it. A place with an
// empty folder asks the system's own search (Linux only; Windows places are
// always full paths, so the current folder and PATH are never searched).
LibraryLookup LoadFromPlaces(const char* fileName, const std::vector<LibraryPlace>& places);

// The places a library that this library binds is looked for, in order:
// the folder of this library's own module, the application's folder, the
// system's (Windows: the system folder; Linux: the dynamic linker's search).
// A folder is named once even when two roles share it.
std::vector<LibraryPlace> CompanionPlaces();

using SharedLibraryLoader = std::function<LibraryLookup()>;

}  // namespace svodb
