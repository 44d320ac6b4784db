// The library and the Windows message queue: flash progress posted to a
// window the client created or to its thread, and one waiting message
// handled per sample while statistics are sampled.
#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>
#include <vector>

#include "isp/flash_files.h"
#include "svodb/svodb.h"

namespace svodb::testing {
namespace {

namespace fs = std::filesystem;

constexpr UINT kClientMessage = WM_USER + 1;

using Received = std::tuple<UINT, WPARAM, LPARAM>;

std::vector<Received> g_received;
bool g_sampling = false;
int g_handledWhileSampling = 0;

LRESULT CALLBACK RecordingWindow(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message != SVODB_PROGRESS_MESSAGE && message != kClientMessage)
    return DefWindowProcA(window, message, wParam, lParam);
  g_received.emplace_back(message, wParam, lParam);
  g_handledWhileSampling += g_sampling ? 1 : 0;
  return 0;
}

// What a flash of an I00 file posts: each step of the whole.
std::vector<Received> EveryStep() {
  std::vector<Received> steps;
  for (WPARAM step = 0; step < SVODB_I00_PROGRESS_STEPS; ++step)
    steps.emplace_back(SVODB_PROGRESS_MESSAGE, step, SVODB_I00_PROGRESS_STEPS);
  return steps;
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

  HWND window_ = nullptr;
};

// Posted, never sent: nothing reached the window during the call. A null
// window posts to the calling thread's own queue.
TEST_F(WindowMessages, FlashProgressArrivesAtTheWindowOrTheThread) {
  const std::string file = (fs::path(SVODB_TEST_WORK_DIR) / "progress.i00").string();
  std::ofstream(file, std::ios::binary) << MakeI00File(RandomBytes(4096, 7), 4);
  ASSERT_EQ(HandleI00File_SVODB(file.c_str(), 0, reinterpret_cast<uintptr_t>(window_), 0), 1);
  EXPECT_TRUE(g_received.empty());
  MSG message;
  while (PeekMessageA(&message, window_, 0, 0, PM_REMOVE)) DispatchMessageA(&message);
  EXPECT_EQ(g_received, EveryStep());

  ASSERT_EQ(HandleI00File_SVODB(file.c_str(), 1, 0, 0), 1);
  std::vector<Received> received;
  while (PeekMessageA(&message, reinterpret_cast<HWND>(-1), 0, 0, PM_REMOVE))
    received.emplace_back(message.message, message.wParam, message.lParam);
  EXPECT_EQ(received, EveryStep());
}

TEST_F(WindowMessages, SamplingHandlesOneWaitingMessagePerSample) {
  std::vector<Received> posted;
  for (WPARAM i = 0; i < 5; ++i) posted.emplace_back(kClientMessage, i, 0);
  for (const auto& [message, wParam, lParam] : posted)
    ASSERT_TRUE(PostMessageA(window_, message, wParam, lParam));
  double mean = 0.0, spread = 0.0;
  char unit[SVODB_UNIT_SIZE] = "";
  g_sampling = true;
  ASSERT_EQ(GetParmMeanRMS_SVODB("VBus", 3, &mean, &spread, unit), 1);
  g_sampling = false;
  EXPECT_EQ(g_handledWhileSampling, 3);
  EXPECT_STREQ(unit, " Volts");  // unit texts start with a blank
  MSG message;
  while (PeekMessageA(&message, window_, 0, 0, PM_REMOVE)) DispatchMessageA(&message);
  EXPECT_EQ(g_received, posted);
}

}  // namespace
}  // namespace svodb::testing
