// Exports of the Linux library only: the message handlers a client lends
// the library in place of the Windows message queue, and the file label of
// an enumerated value and the lines of a parameter file for tools that show
// what a parameter file holds.
#ifndef _WIN32

#include <string>

#include "api/global_state.h"
#include "api/guard.h"
#include "api/text_copy.h"
#include "paramset/param_file.h"
#include "platform/platform.h"
#include "svodb/svodb_linux.h"
#include "values/enumerations.h"

// The public kinds are the reader's, in the same order.
static_assert(SVODB_LINE_SKIPPED == static_cast<int>(svodb::FileLineKind::kSkipped) &&
              SVODB_LINE_HEADER == static_cast<int>(svodb::FileLineKind::kHeader) &&
              SVODB_LINE_PARAMETER == static_cast<int>(svodb::FileLineKind::kParameter) &&
              SVODB_LINE_MALFORMED == static_cast<int>(svodb::FileLineKind::kMalformed));

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

SVODB_API int32_t svodb_read_file_lines(const char* path, svodb_file_line_handler each, void* context) {
  if (path == nullptr || each == nullptr) return SVODB_INVALID_PARAMETER;
  return svodb::api::Guarded(SVODB_SYSTEM_ERROR, [&] {
    return svodb::ForEachFileLine(path, [&](const svodb::FileLineView& line) {
      const std::string text(line.text), name(line.parts.name), value(line.parts.value),
          rest(line.parts.rest);
      const svodb_file_line passed{line.number,   static_cast<int32_t>(line.kind),
                                   text.c_str(),  name.c_str(),
                                   value.c_str(), rest.c_str()};
      return each(context, &passed) != 0;
    });
  });
}

}  // extern "C"

#endif
