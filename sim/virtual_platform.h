// The platform in tests: a virtual clock on which a pause returns at once and
// time moves on by the amount paused, a queue of caller messages, and a
// record of the messages posted to the caller's window.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

#include "platform/platform.h"

namespace svodb::sim {

struct PostedMessage {
  uintptr_t window;
  uint32_t message;
  uintptr_t wParam;
  intptr_t lParam;
  uint32_t at_ms;  // the virtual time it was posted
};

class VirtualPlatform final : public Platform {
 public:
  uint32_t NowMs() override {
    now_ms_ += tick_ms_;  // a busy wait sees time pass
    return now_ms_;
  }
  void SleepMs(uint32_t duration_ms) override {
    now_ms_ += duration_ms;
    slept_ms_ += duration_ms;
  }
  bool PumpOneMessage() override {
    ++pumps_;
    if (queue_.empty()) return false;
    std::function<void()> handler = std::move(queue_.front());
    queue_.pop_front();
    handler();
    return true;
  }
  bool PostWindowMessage(uintptr_t window, uint32_t message, uintptr_t wParam, intptr_t lParam) override {
    posted_.push_back({window, message, wParam, lParam, now_ms_});
    return true;
  }

  // How far the clock moves each time it is read (0: only pauses move it).
  void SetTickPerRead(uint32_t tick_ms) { tick_ms_ = tick_ms; }
  // A message for the pump: its handler runs when the library pumps it.
  void QueueMessage(std::function<void()> handler) { queue_.push_back(std::move(handler)); }

  uint32_t Now() const { return now_ms_; }
  uint64_t SleptMs() const { return slept_ms_; }
  int Pumps() const { return pumps_; }
  std::size_t QueuedMessages() const { return queue_.size(); }
  const std::vector<PostedMessage>& Posted() const { return posted_; }

 private:
  uint32_t now_ms_ = 1000;
  uint32_t tick_ms_ = 0;
  uint64_t slept_ms_ = 0;
  int pumps_ = 0;
  std::deque<std::function<void()>> queue_;
  std::vector<PostedMessage> posted_;
};

}  // namespace svodb::sim
