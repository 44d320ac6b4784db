// Exports beyond the 98 of the library's interface, on Linux and Windows.
#include <algorithm>
#include <cstring>

#include "api/global_state.h"
#include "api/guard.h"
#include "svodb/svodb_ext.h"

extern "C" {

SVODB_API int32_t SVODB_CALL svodb_transport_status(char* text, int32_t size) {
  return svodb::api::Guarded(int32_t{SVODB_TRANSPORT_NOT_FOUND}, [&] {
    const svodb::TransportStatus status = svodb::api::BoundTransportStatus();
    if (text != nullptr && size > 0) {
      // The text is cut to the caller's room, never written past it.
      const std::size_t length = std::min(status.text.size(), static_cast<std::size_t>(size) - 1);
      std::memcpy(text, status.text.data(), length);
      text[length] = '\0';
    }
    return static_cast<int32_t>(status.state);
  });
}

}  // extern "C"
