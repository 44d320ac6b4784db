// The process-wide objects behind the exported functions. Nothing else in
// the library reaches them: the wrappers build a context and pass it in.
#pragma once

#include <cstdint>

#include "api/guard.h"
#include "context.h"
#include "drive/transport_library.h"
#include "feedback/feedback_context.h"

namespace svodb::api {

// The context of the current process-wide objects.
LibraryContext Context();

// Runs body(ctx) on the context of the process-wide objects; an internal
// failure answers fallback, so no exception leaves an export.
template <typename Fallback, typename Body>
auto OnContext(Fallback fallback, Body&& body) noexcept {
  return Guarded(fallback, [&] {
    LibraryContext ctx = Context();
    return body(ctx);
  });
}

// The node that offline exports work on (0-6).
uint32_t& CurrentNode();

// The feedback device's process-wide state with the library's context.
FeedbackContext Feedback(LibraryContext& ctx);

// What became of the transport library that the exports bind when no test
// put its own transport in place (loading it if not tried yet).
TransportStatus BoundTransportStatus();

// Lets a test put its own transport (or the in-process virtual drive)
// behind the exports; null restores the bound transport library.
void UseTransportForTesting(Transport* transport);
// Likewise for the platform (a virtual clock, a recorded message queue).
void UsePlatformForTesting(Platform* platform);

// Puts every process-wide object back in its state at load, so that tests
// of run-time changes do not see each other.
void ResetForTesting();

}  // namespace svodb::api
