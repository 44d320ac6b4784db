// Exports of the Linux library only: the message handlers a client lends
// the library in place of the Windows message queue.
#ifndef _WIN32

#include "platform/platform.h"
#include "svodb/svodb_linux.h"

extern "C" {

SVODB_API void svodb_set_message_handlers(svodb_pump_handler pump, svodb_post_handler post, void* context) {
  svodb::SetMessageHandlers(svodb::MessageHandlers{pump, post, context});
}

}  // extern "C"

#endif
