#include "progress.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>

namespace svodb_tool {
namespace {

bool StderrIsTerminal() { return isatty(fileno(stderr)) != 0; }

// A log sees a timed operation's line this often.
constexpr int kLogSeconds = 5;

}  // namespace

Progress::Progress(std::string label, int32_t total, std::chrono::milliseconds after)
    : label_(std::move(label)),
      total_(total),
      showFrom_(std::chrono::steady_clock::now() + after),
      terminal_(StderrIsTerminal()) {}

void Progress::Advance(int32_t done) {
  if (finished_ || total_ < 1 || std::chrono::steady_clock::now() < showFrom_) return;
  const int tenth = static_cast<int>(int64_t{done} * 10 / total_);
  if (tenth == shownTenth_) return;
  shownTenth_ = tenth;
  std::fprintf(stderr, terminal_ ? "\r%s: %d%%" : "%s: %d%%\n", label_.c_str(), tenth * 10);
}

void Progress::Finish() {
  if (finished_) return;
  finished_ = true;
  if (terminal_ && shownTenth_ >= 0) std::fprintf(stderr, "\r\033[K");
}

ElapsedTime::ElapsedTime(std::string label)
    : label_(std::move(label)), terminal_(StderrIsTerminal()), ticker_([this] { Tick(); }) {}

ElapsedTime::~ElapsedTime() {
  {
    const std::lock_guard lock(mutex_);
    done_ = true;
  }
  stop_.notify_one();
  ticker_.join();
  if (terminal_ && shown_) std::fprintf(stderr, "\r\033[K");
}

void ElapsedTime::Tick() {
  std::unique_lock lock(mutex_);
  for (int seconds = 1;; ++seconds) {
    if (stop_.wait_for(lock, std::chrono::seconds(1), [this] { return done_; })) return;
    if (terminal_) {
      std::fprintf(stderr, "\r%s: %d s", label_.c_str(), seconds);
    } else if (seconds % kLogSeconds == 1) {
      std::fprintf(stderr, "%s: %d s\n", label_.c_str(), seconds);
    }
    shown_ = true;
  }
}

}  // namespace svodb_tool
