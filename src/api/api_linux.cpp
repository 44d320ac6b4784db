// Exports of the Linux library only: the message handlers a client lends
// the library in place of the Windows message queue, and the file label of
// an enumerated value for tools that show what a parameter file holds.
#ifndef _WIN32

#include "api/global_state.h"
#include "api/guard.h"
#include "api/text_copy.h"
#include "platform/platform.h"
#include "svodb/svodb_linux.h"
#include "values/enumerations.h"

extern "C" {

SVODB_API void svodb_set_message_handlers(svodb_pump_handler pump, svodb_post_handler post, void* context) {
  svodb::SetMessageHandlers(svodb::MessageHandlers{pump, post, context});
}

SVODB_API void svodb_set_clock_handlers(svodb_now_handler now, svodb_sleep_handler sleep, void* context) {
  svodb::SetClockHandlers(svodb::ClockHandlers{now, sleep, context});
}

SVODB_API int32_t svodb_file_label(const char* name, int32_t value, char* label) {
  if (name == nullptr || label == nullptr) return 0;
  return svodb::api::Guarded(0, [&] {
    svodb::LibraryContext ctx = svodb::api::Context();
    const auto text = svodb::ValueToFileLabel(ctx, name, value, svodb::api::CurrentNode());
    if (!text) return 0;
    svodb::api::CopyText(*text, label);
    return 1;
  });
}

}  // extern "C"

#endif
