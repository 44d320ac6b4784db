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

class ExportsFromThreads : public ExportTest {
 protected:
  void SetUp() override {
    ExportTest::SetUp();
    Use(drive_);
    ASSERT_EQ(UsePort(1, 19200, 1, 0, 0, 0), SVODB_OK);
  }

  // Runs each job on a thread of its own, all at once; each job counts the
  // rounds in which an export answered otherwise than it does alone.
  void RunTogether(const std::vector<std::function<int()>>& jobs) {
    std::atomic<bool> go{false};
    std::vector<int> wrong(jobs.size(), 0);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < jobs.size(); ++i) {
      threads.emplace_back([&, i] {
        while (!go.load()) std::this_thread::yield();
        for (int round = 0; round < kRounds; ++round) wrong[i] += jobs[i]();
      });
    }
    go.store(true);
    for (std::thread& thread : threads) thread.join();
    for (std::size_t i = 0; i < jobs.size(); ++i) EXPECT_EQ(wrong[i], 0) << "job " << i;
  }

  sim::VirtualDrive drive_;
};

// Whole-set reads of the drive on two threads: without serialisation one
// transfer's traffic would run into the other's. With it the log is made of
// whole transfers, each exactly the traffic that transfer makes alone.
TEST_F(ExportsFromThreads, TransfersKeepTheirTrafficTogether) {
  ASSERT_EQ(SetNode_SVODB(1), SVODB_OK);
  const auto trafficAlone = [&](int32_t (*transfer)()) {
    drive_.Log().Clear();
    EXPECT_EQ(transfer(), SVODB_OK);
    return drive_.Log().Lines();
  };
  const std::vector<std::string> user = trafficAlone(RDFromDriveUser_SVODB);
  const std::vector<std::string> mfg = trafficAlone(RDFromDriveMfg_SVODB);
  ASSERT_FALSE(user.empty());
  ASSERT_NE(user, mfg);

  drive_.Log().Clear();
  RunTogether({[] { return RDFromDriveUser_SVODB() == SVODB_OK ? 0 : 1; },
               [] { return RDFromDriveMfg_SVODB() == SVODB_OK ? 0 : 1; },
               [] {
                 std::array<char, SVODB_MESSAGE_SIZE> message{};
                 ErrorMessage_SVODB(10408, message.data());
                 return std::string(message.data()).ends_with("at variable--AFBMitEn") ? 0 : 1;
               }});

  const std::vector<std::string> lines = drive_.Log().Lines();
  const auto startsWith = [&](std::size_t at, const std::vector<std::string>& block) {
    return lines.size() - at >= block.size() && std::equal(block.begin(), block.end(), lines.begin() + at);
  };
  std::size_t at = 0;
  int transfers = 0;
  while (at < lines.size()) {
    if (startsWith(at, user)) {
      at += user.size();
    } else if (startsWith(at, mfg)) {
      at += mfg.size();
    } else {
      ADD_FAILURE() << "traffic of two transfers mixed at line " << at << ": " << lines[at];
      return;
    }
    ++transfers;
  }
  EXPECT_EQ(transfers, 2 * kRounds);
}

}  // namespace
}  // namespace svodb::testing
