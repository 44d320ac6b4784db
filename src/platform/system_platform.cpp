#include "platform/platform.h"

#include <chrono>
#include <thread>

#ifdef _WIN32
#include <windows.h>
// windows.h first: the multimedia timer header needs its types.
#include <mmsystem.h>
#endif

namespace svodb {
namespace {

#ifdef _WIN32
class WindowsPlatform final : public Platform {
 public:
  uint32_t NowMs() override { return static_cast<uint32_t>(timeGetTime()); }
  void SleepMs(uint32_t duration_ms) override { Sleep(duration_ms); }
  bool PumpOneMessage() override {
    MSG message;
    if (!PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) return false;
    TranslateMessage(&message);
    DispatchMessageA(&message);
    return true;
  }
  bool PostWindowMessage(uintptr_t window, uint32_t message, uintptr_t wParam, intptr_t lParam) override {
    return PostMessageA(reinterpret_cast<HWND>(window), message, wParam, lParam) != 0;
  }
};
#else
MessageHandlers g_handlers;
ClockHandlers g_clock;

class PosixPlatform final : public Platform {
 public:
  uint32_t NowMs() override {
    const ClockHandlers clock = g_clock;
    if (clock.now != nullptr) return clock.now(clock.context);
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
  }
  void SleepMs(uint32_t duration_ms) override {
    const ClockHandlers clock = g_clock;
    if (clock.sleep != nullptr) return clock.sleep(clock.context, duration_ms);
    std::this_thread::sleep_for(std::chrono::milliseconds(duration_ms));
  }
  bool PumpOneMessage() override {
    const MessageHandlers handlers = g_handlers;  // a handler may replace the registration
    return handlers.pump != nullptr && handlers.pump(handlers.context) != 0;
  }
  bool PostWindowMessage(uintptr_t window, uint32_t message, uintptr_t wParam, intptr_t lParam) override {
    const MessageHandlers handlers = g_handlers;
    return handlers.post != nullptr && handlers.post(handlers.context, window, message, wParam, lParam) != 0;
  }
};
#endif

}  // namespace

#ifndef _WIN32
void SetMessageHandlers(const MessageHandlers& handlers) noexcept { g_handlers = handlers; }
// Half a registration would mix the two clocks: it counts as none.
void SetClockHandlers(const ClockHandlers& handlers) noexcept {
  g_clock = handlers.now != nullptr && handlers.sleep != nullptr ? handlers : ClockHandlers{};
}
#endif

Platform& SystemPlatform() {
#ifdef _WIN32
  static WindowsPlatform platform;
#else
  static PosixPlatform platform;
#endif
  return platform;
}

}  // namespace svodb
