// Exports called from several threads at once against the virtual drive: the
// library's lock serialises them, so every call gives the answer it gives
// alone and every transfer's traffic stays in one piece. Run under
// ThreadSanitizer in CI, which also reports any unserialised access.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "api/export_fixture.h"
#include "svodb/svodb.h"
#include "virtual_drive.h"

namespace svodb::testing {
namespace {

constexpr int kRounds = 40;

using Lines = std::vector<std::string>;
using ExportsFromThreads = ExportTest;

// Whole-set reads of the drive on two threads while a third composes
// messages: without serialisation one transfer's traffic would run into
// the other's. With it the log is made of whole transfers, each exactly
// the traffic that transfer makes alone, and every call answers as alone.
TEST_F(ExportsFromThreads, TransfersKeepTheirTrafficTogether) {
  sim::VirtualDrive drive;
  Use(drive);
  ASSERT_EQ(UsePort(1, 19200, 1, 0, 0, 0), SVODB_OK);
  ASSERT_EQ(SetNode_SVODB(1), SVODB_OK);
  const auto alone = [&](int32_t (*transfer)()) {
    drive.Log().Clear();
    EXPECT_EQ(transfer(), SVODB_OK);
    return drive.Log().Lines();
  };
  const Lines user = alone(RDFromDriveUser_SVODB), mfg = alone(RDFromDriveMfg_SVODB);
  ASSERT_FALSE(user.empty());
  ASSERT_NE(user, mfg);

  drive.Log().Clear();
  const std::function<bool()> jobs[] = {
      [] { return RDFromDriveUser_SVODB() == SVODB_OK; }, [] { return RDFromDriveMfg_SVODB() == SVODB_OK; },
      [] {
        std::array<char, SVODB_MESSAGE_SIZE> message{};
        ErrorMessage_SVODB(10408, message.data());
        return std::string(message.data()).ends_with("at variable--AFBMitEn");
      }};
  std::atomic<bool> go{false};
  std::array<int, 3> wrong{};
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < 3; ++i) {
    threads.emplace_back([&, i] {
      while (!go.load()) std::this_thread::yield();
      for (int round = 0; round < kRounds; ++round) wrong[i] += jobs[i]() ? 0 : 1;
    });
  }
  go.store(true);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, (std::array<int, 3>{}));

  const Lines lines = drive.Log().Lines();
  int transfers = 0;
  for (auto at = lines.begin(); at != lines.end(); ++transfers) {
    const Lines* whole = nullptr;
    for (const Lines* block : {&user, &mfg}) {
      if (lines.end() - at >= std::ssize(*block) && std::equal(block->begin(), block->end(), at))
        whole = block;
    }
    ASSERT_NE(whole, nullptr) << "traffic of two transfers mixed at line " << at - lines.begin() << ": "
                              << *at;
    at += std::ssize(*whole);
  }
  EXPECT_EQ(transfers, 2 * kRounds);
}

}  // namespace
}  // namespace svodb::testing
