// Progress of the tool's long operations, on standard error so that the
// data on standard output stays clean for scripts. Shown always: on a
// terminal as one line that counts up and is cleared at the end, in a log
// as a line per tenth (counted work) or per five seconds (timed work).
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace svodb_tool {

// Work of a known number of steps; with `after`, shown only once the work
// has taken that long (work that is quick on one link and slow on another).
class Progress {
 public:
  Progress(std::string label, int32_t total, std::chrono::milliseconds after = {});
  ~Progress() { Finish(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Advance(int32_t done);
  void Finish();

 private:
  std::string label_;
  int32_t total_;
  std::chrono::steady_clock::time_point showFrom_;
  int shownTenth_ = -1;
  bool terminal_;
  bool finished_ = false;
};

// One call into the library that may take seconds and reports nothing on
// its way (a whole set written to NV over a serial link, a motor data block
// written with the device's pauses): after the first second, the time it
// has taken so far, from a thread of its own until the object goes.
class ElapsedTime {
 public:
  explicit ElapsedTime(std::string label);
  ~ElapsedTime();
  ElapsedTime(const ElapsedTime&) = delete;
  ElapsedTime& operator=(const ElapsedTime&) = delete;

 private:
  void Tick();

  std::string label_;
  bool terminal_;
  bool shown_ = false;
  bool done_ = false;
  std::mutex mutex_;
  std::condition_variable stop_;
  std::thread ticker_;
};

}  // namespace svodb_tool
