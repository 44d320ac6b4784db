// The library and the Windows message queue: flash progress posted to a
// window the client created or to its thread, and one waiting message
// handled per sample while statistics are sampled.
#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "isp/flash_files.h"
#include "svodb/svodb.h"

namespace svodb::testing {
namespace {

namespace fs = std::filesystem;

constexpr UINT kClientMessage = WM_USER + 1;

struct Received {
  UINT message;
  WPARAM wParam;
  LPARAM lParam;
};

std::vector<Received> g_received;
bool g_sampling = false;
int g_handledWhileSampling = 0;

LRESULT CALLBACK RecordingWindow(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == SVODB_PROGRESS_MESSAGE || message == kClientMessage) {
    g_received.push_back({message, wParam, lParam});
    if (g_sampling) ++g_handledWhileSampling;
    return 0;
  }
  return DefWindowProcA(window, message, wParam, lParam);
}

// A message-only window of the test's own, and the virtual drive on a
// serial link.
class WindowMessages : public ::testing::Test {
 protected:
  void SetUp() override {
    WNDCLASSA windowClass{};
    windowClass.lpfnWndProc = RecordingWindow;
    windowClass.hInstance = GetModuleHandleA(nullptr);
    windowClass.lpszClassName = "svodb_test_window";
    RegisterClassA(&windowClass);
    window_ = CreateWindowExA(0, "svodb_test_window", "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                              GetModuleHandleA(nullptr), nullptr);
    ASSERT_NE(window_, nullptr);
    g_received.clear();
    ASSERT_EQ(UsePort(1, 19200, 1, 0, 0, 0), 1);
  }
  void TearDown() override {
    ClosePort();
    DestroyWindow(window_);
  }

  // Dispatches what waits for the window; returns how many.
  int DispatchWaiting() {
    MSG message;
    int count = 0;
    while (PeekMessageA(&message, window_, 0, 0, PM_REMOVE)) {
      DispatchMessageA(&message);
      ++count;
    }
    return count;
  }

  static fs::path I00File() {
    const fs::path file = fs::path(SVODB_TEST_WORK_DIR) / "progress.i00";
    std::ofstream(file, std::ios::binary) << MakeI00File(RandomBytes(4096, 7), 4);
    return file;
  }

  static void ExpectEveryStep(const std::vector<Received>& received) {
    ASSERT_EQ(received.size(), std::size_t{SVODB_I00_PROGRESS_STEPS});
    for (std::size_t step = 0; step < received.size(); ++step) {
      ASSERT_EQ(received[step].message, UINT{SVODB_PROGRESS_MESSAGE});
      ASSERT_EQ(received[step].wParam, step);
      ASSERT_EQ(received[step].lParam, LPARAM{SVODB_I00_PROGRESS_STEPS});
    }
  }

  HWND window_ = nullptr;
};

// Posted, never sent: nothing reached the window during the call. A null
// window posts to the calling thread's own queue.
TEST_F(WindowMessages, FlashProgressArrivesAtTheWindowOrTheThread) {
  const std::string file = I00File().string();
  ASSERT_EQ(HandleI00File_SVODB(file.c_str(), 0, reinterpret_cast<uintptr_t>(window_), 0), 1);
  EXPECT_TRUE(g_received.empty());
  EXPECT_EQ(DispatchWaiting(), SVODB_I00_PROGRESS_STEPS);
  ExpectEveryStep(g_received);

  ASSERT_EQ(HandleI00File_SVODB(file.c_str(), 1, 0, 0), 1);
  std::vector<Received> received;
  MSG message;
  while (PeekMessageA(&message, reinterpret_cast<HWND>(-1), 0, 0, PM_REMOVE)) {
    received.push_back({message.message, message.wParam, message.lParam});
  }
  ExpectEveryStep(received);
}

TEST_F(WindowMessages, SamplingHandlesOneWaitingMessagePerSample) {
  for (int i = 0; i < 5; ++i) ASSERT_TRUE(PostMessageA(window_, kClientMessage, i, 0));
  double mean = 0.0, spread = 0.0;
  char unit[SVODB_UNIT_SIZE] = "";
  g_sampling = true;
  const int32_t result = GetParmMeanRMS_SVODB("VBus", 3, &mean, &spread, unit);
  g_sampling = false;
  ASSERT_EQ(result, 1);
  EXPECT_EQ(g_handledWhileSampling, 3);
  EXPECT_STREQ(unit, " Volts");  // unit texts start with a blank
  EXPECT_EQ(DispatchWaiting(), 2);
  ASSERT_EQ(g_received.size(), 5u);
  for (std::size_t i = 0; i < g_received.size(); ++i) EXPECT_EQ(g_received[i].wParam, i);
}

}  // namespace
}  // namespace svodb::testing
