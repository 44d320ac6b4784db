// An ISP run as one ordered list: the virtual drive's calls, progress posts
// and pauses. Runs of two or more bytes the drive took with one status
// collapse into "SendISPByte xN -> 1 [status]", so a whole file's run stays
// short enough to compare in full; what the bytes were, the flash shows.
#pragma once

#include <string>
#include <vector>

#include "platform/platform.h"
#include "sim/forwarding_transport.h"
#include "virtual_drive.h"
#include "virtual_platform.h"

namespace svodb::testing {

class Timeline {
 public:
  // A byte the drive took (runStatus its reply) may join the run before it.
  void Add(std::string entry, int32_t runStatus = -1) {
    if (runStatus >= 0 && run_ != 0 && runStatus == runStatus_) {
      ++run_;
      return;
    }
    EndRun();
    run_ = runStatus >= 0 ? 1 : 0;
    runStatus_ = runStatus;
    (run_ != 0 ? runFirst_ : entries_.emplace_back()) = std::move(entry);
  }
  const std::vector<std::string>& Entries() {
    EndRun();
    return entries_;
  }
  void Clear() {
    entries_.clear();
    run_ = 0;
  }

 private:
  void EndRun() {
    if (run_ == 1) entries_.push_back(runFirst_);
    if (run_ > 1)
      entries_.push_back("SendISPByte x" + std::to_string(run_) + " -> 1 [" + std::to_string(runStatus_) +
                         "]");
    run_ = 0;
  }

  std::vector<std::string> entries_;
  int run_ = 0;
  int32_t runStatus_ = -1;
  std::string runFirst_;
};

// The drive's calls go to the timeline as they happen; the drive's own log
// is emptied after each, so it never grows.
class TimelineTransport final : public ForwardingTransport {
 public:
  TimelineTransport(sim::VirtualDrive& drive, Timeline& timeline)
      : ForwardingTransport(drive), timeline_(timeline) {}

 private:
  int32_t After(int32_t result) override {
    for (const sim::CallRecord& call : drive_.Log().Records()) {
      const bool took = call.operation == sim::Operation::kSendISPByte && call.result == 1;
      timeline_.Add(call.ToString(), took ? call.outputs[0] : -1);
    }
    drive_.Log().Clear();
    return result;
  }
  Timeline& timeline_;
};

// The virtual clock, with posts ("post STEP/TOTAL") and pauses ("sleep MS")
// on the timeline.
class TimelinePlatform final : public Platform {
 public:
  explicit TimelinePlatform(Timeline& timeline) : timeline_(timeline) {}
  uint32_t NowMs() override { return clock.NowMs(); }
  void SleepMs(uint32_t ms) override {
    timeline_.Add("sleep " + std::to_string(ms));
    clock.SleepMs(ms);
  }
  bool PumpOneMessage() override { return clock.PumpOneMessage(); }
  bool PostWindowMessage(uintptr_t window, uint32_t message, uintptr_t wParam, intptr_t lParam) override {
    timeline_.Add("post " + std::to_string(wParam) + "/" + std::to_string(lParam));
    return clock.PostWindowMessage(window, message, wParam, lParam);
  }
  sim::VirtualPlatform clock;

 private:
  Timeline& timeline_;
};

}  // namespace svodb::testing
