// The operating system as the drive protocols use it: a millisecond clock,
// pauses, the caller's message queue and posting to the caller's window.
// Windows uses timeGetTime, Sleep, PeekMessageA/TranslateMessage/
// DispatchMessageA and PostMessageA; Linux calls the handlers a client
// registered. Tests use a virtual clock on which a
// pause returns at once and time moves on by the amount paused.
#pragma once

#include <cstdint>

#include "svodb/svodb_linux.h"

namespace svodb {

class Platform {
 public:
  virtual ~Platform() = default;

  // Milliseconds from an arbitrary start; wraps like timeGetTime.
  virtual uint32_t NowMs() = 0;
  virtual void SleepMs(uint32_t duration_ms) = 0;
  // Handles at most one message waiting for the calling thread; true when
  // there was one.
  virtual bool PumpOneMessage() = 0;
  // Posts a message to the caller's window; false when it could not be
  // posted.
  virtual bool PostWindowMessage(uintptr_t window, uint32_t message, uintptr_t wParam, intptr_t lParam) = 0;
};

// The platform of the running system.
Platform& SystemPlatform();

#ifndef _WIN32
// Linux has no window system the library could assume: the system platform
// pumps and posts through the handlers a client registers (null: nothing
// is handled or posted).
struct MessageHandlers {
  svodb_pump_handler pump = nullptr;
  svodb_post_handler post = nullptr;
  void* context = nullptr;
};
void SetMessageHandlers(const MessageHandlers& handlers) noexcept;

// A client's clock in place of the system's (both null: the system's).
struct ClockHandlers {
  svodb_now_handler now = nullptr;
  svodb_sleep_handler sleep = nullptr;
  void* context = nullptr;
};
void SetClockHandlers(const ClockHandlers& handlers) noexcept;
#endif

}  // namespace svodb
