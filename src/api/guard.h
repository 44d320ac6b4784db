// Every export runs its body through Guarded so that no exception crosses
// the C interface: an internal failure becomes the export's fallback answer.
// Guarded is also where calls are serialised: the body runs holding the
// library's one process-wide lock.
#pragma once

#include <mutex>
#include <utility>

namespace svodb::api {

// The one lock of the library. Recursive because a sampling loop hands the
// caller's window messages to the caller's handlers while it holds the lock,
// and a handler may call the library again on the same thread.
std::recursive_mutex& LibraryMutex() noexcept;

template <typename Fallback, typename Body>
auto Guarded(Fallback fallback, Body&& body) noexcept -> decltype(body()) {
  try {
    const std::lock_guard<std::recursive_mutex> serialised(LibraryMutex());
    return std::forward<Body>(body)();
  } catch (...) {
    return fallback;
  }
}

template <typename Body>
void GuardedVoid(Body&& body) noexcept {
  try {
    const std::lock_guard<std::recursive_mutex> serialised(LibraryMutex());
    std::forward<Body>(body)();
  } catch (...) {
  }
}

}  // namespace svodb::api
