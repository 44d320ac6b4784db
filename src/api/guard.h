// Every export runs its body through Guarded so that no exception crosses
// the C interface: an internal failure becomes the export's fallback answer.
#pragma once

#include <utility>

namespace svodb::api {

template <typename Fallback, typename Body>
auto Guarded(Fallback fallback, Body&& body) noexcept -> decltype(body()) {
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    return fallback;
  }
}

template <typename Body>
void GuardedVoid(Body&& body) noexcept {
  try {
    std::forward<Body>(body)();
  } catch (...) {
  }
}

}  // namespace svodb::api
