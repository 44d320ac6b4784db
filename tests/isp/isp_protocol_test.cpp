// The ISP protocol against the virtual drive: erase and configure, the
// waits, the stream with its network polling, and where each ends.
#include "isp/isp_protocol.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "isp/isp_timeline.h"

namespace svodb::isp {
namespace {

using Lines = std::vector<std::string>;
using sim::IspBehaviour;
using sim::Operation;

Lines Concat(std::initializer_list<Lines> parts) {
  Lines all;
  for (const Lines& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

const Lines kLogic4 = {"GetVarFromFPGA(30) -> 1 [4]", "GetVarFromFPGA(30) -> 1 [4]"};
const Lines kLogic3 = {"GetVarFromFPGA(30) -> 1 [3]", "GetVarFromFPGA(30) -> 1 [3]"};
const Lines kSpiOn = {"PutVarToFPGA(111, 128) -> 1"};
Lines Unlock(int function) {
  return {"PutVarToFPGA(77, 85) -> 1", "PutVarToFPGA(77, 170) -> 1",
          "PutVarToFPGA(77, " + std::to_string(function) + ") -> 1"};
}

class Isp : public ::testing::Test {
 protected:
  void Open(bool serial, int logicVersion = 4) {
    drive = sim::VirtualDrive(
        sim::DriveConfig{.logicVersion = logicVersion, .versionText = std::to_string(logicVersion) + ".0A"});
    ASSERT_EQ(serial ? drive.InitComPort(1, 19200) : drive.InitMotoBus({}), 1);
    drive.Log().Clear();
    timeline.Clear();
  }
  const Lines& Traffic() { return timeline.Entries(); }

  ParameterDatabase db;
  RegisterMap registers;
  sim::VirtualDrive drive;
  testing::Timeline timeline;
  testing::TimelineTransport transport{drive, timeline};
  testing::TimelinePlatform platform{timeline};
  LibraryContext ctx{db, registers, transport, platform};
};

TEST_F(Isp, EraseOnEachLinkAndLogicVersion) {
  Open(true, 4);
  drive.Flash().SetByte(77, 0);
  EXPECT_EQ(EraseFlash(ctx), 1);
  EXPECT_EQ(Traffic(),
            Concat({{"GetCommType() -> 1"},
                    kLogic4,
                    kSpiOn,
                    Unlock(9),
                    {"ChangeBaudRate(115200) -> 1", "GetISPStatus(20000) -> 1 [2]", "SendISPByte(0) -> 1 [1]",
                     "ChangeBaudRate(19200) -> 1", "PutVarToFPGA(111, 0) -> 1"}}));
  EXPECT_EQ(drive.Flash().Bytes()[77], 0xFF);

  Open(false, 3);
  EXPECT_EQ(EraseFlash(ctx), 1);
  EXPECT_EQ(Traffic(), Concat({{"GetCommType() -> 2"},
                               kLogic3,
                               Unlock(9),
                               {"GetISPStatus(20000) -> 1 [2]", "SendISPByte(0) -> 1 [1]"}}));
}

TEST_F(Isp, EraseEndsWhereAStepFails) {
  struct Case {
    const char* what;
    std::function<void(sim::VirtualDrive&)> fault;
    Result expected;
    Lines tail;
  };
  const Case cases[] = {
      {"logic version unread",
       [](auto& d) { d.Faults().FailCall(Operation::kGetVarFromFPGA, 1, 6); },
       6,
       {"GetCommType() -> 1", "GetVarFromFPGA(30) -> 6"}},
      {"unlock refused",
       [](auto& d) { d.Faults().FailCall(Operation::kPutVarToFPGA, 2, 4, 77); },
       4,
       {"PutVarToFPGA(77, 85) -> 1", "PutVarToFPGA(77, 170) -> 4"}},
      // The drive's ISP channel runs at 115200 only: the closing byte goes unanswered.
      {"no fast link",
       [](auto& d) { d.Faults().FailCall(Operation::kChangeBaudRate, 1, 2); },
       0,
       {"ChangeBaudRate(115200) -> 2", "SendISPByte(0) -> 0"}},
      {"status unread",
       [](auto& d) { d.Faults().FailCall(Operation::kGetISPStatus, 1, 0); },
       16,
       {"GetISPStatus(20000) -> 0", "SendISPByte(0) -> 1 [1]", "ChangeBaudRate(19200) -> 1"}},
      {"busy",
       [](auto& d) { d.Flash().SetBehaviour(IspBehaviour::kBusyForEver); },
       25,
       {"GetISPStatus(20000) -> 1 [4]", "SendISPByte(0) -> 1 [1]", "ChangeBaudRate(19200) -> 1"}},
      // Without SPI_EN a logic-4 drive does not reach its flash.
      {"SPI_EN lost",
       [](auto& d) { d.Faults().DropFpgaWrite(111); },
       16,
       {"GetISPStatus(20000) -> 0", "SendISPByte(0) -> 0", "ChangeBaudRate(19200) -> 1"}},
      {"SPI_EN not off",
       [](auto& d) { d.Faults().FailCall(Operation::kPutVarToFPGA, 5, 6); },
       6,
       {"SendISPByte(0) -> 1 [1]", "ChangeBaudRate(19200) -> 1", "PutVarToFPGA(111, 0) -> 6"}},
  };
  for (const Case& c : cases) {
    Open(true, 4);
    c.fault(drive);
    EXPECT_EQ(EraseFlash(ctx), c.expected) << c.what;
    const Lines tail(Traffic().end() - static_cast<std::ptrdiff_t>(c.tail.size()), Traffic().end());
    EXPECT_EQ(tail, c.tail) << c.what;
  }
}

TEST_F(Isp, ConfigureReloadsTheDriveAndLeavesTheLinkFast) {
  Open(true, 4);
  EXPECT_EQ(ConfigureFlash(ctx), 1);
  EXPECT_EQ(Traffic(), Concat({{"GetCommType() -> 1"},
                               kLogic4,
                               kSpiOn,
                               Unlock(17),
                               {"ChangeBaudRate(115200) -> 1", "sleep 500", "PutVarToFPGA(111, 0) -> 1"}}));
  EXPECT_EQ(drive.Flash().Reconfigurations(), 1);
  EXPECT_EQ(drive.BaudRate(), 115200);

  Open(false, 3);
  EXPECT_EQ(ConfigureFlash(ctx), 1);
  EXPECT_EQ(Traffic(), Concat({{"GetCommType() -> 2"}, kLogic3, Unlock(17), {"sleep 500"}}));

  Open(true, 3);
  drive.Faults().FailCall(Operation::kPutVarToFPGA, 3, 6);
  EXPECT_EQ(ConfigureFlash(ctx), 6);
  EXPECT_EQ(drive.Flash().Reconfigurations(), 0);
  EXPECT_EQ(Traffic().back(), "PutVarToFPGA(77, 17) -> 6");
}

// A session of a logic-3 drive on the serial link, unlocked for programming.
class IspSessionTest : public Isp {
 protected:
  IspSession& Start(bool serial = true, int busyRepliesBeforeReady = 2) {
    Open(serial, 3);
    drive.Flash().SetBusyRepliesBeforeReady(busyRepliesBeforeReady);
    session.emplace(ctx);
    session->WriteUnlockKey();
    session->WriteFunction(Function::kProgram);
    session->RaiseLinkSpeed();
    timeline.Clear();
    return *session;
  }
  std::optional<IspSession> session;
};

TEST_F(IspSessionTest, TheReadyWaitCountsOnlyRepliesOtherThanBusy) {
  EXPECT_EQ(Start(true, 15).WaitReady(), std::nullopt);
  EXPECT_EQ(Traffic().size(), 16u);

  Start();
  drive.Flash().SetBehaviour(IspBehaviour::kNeverReady);
  EXPECT_EQ(session->WaitReady(), 16);
  EXPECT_EQ(Traffic(), Concat({Lines(10, "GetISPStatus(16000) -> 1 [8]"),
                               {"SendISPByte(0) -> 1 [1]", "ChangeBaudRate(19200) -> 1"}}));

  Start();
  drive.Faults().FailCall(Operation::kGetISPStatus, 2, 0);
  EXPECT_EQ(session->WaitReady(), 16);
  EXPECT_EQ(Traffic()[1], "GetISPStatus(16000) -> 0");
  EXPECT_EQ(Traffic().size(), 4u);
}

TEST_F(IspSessionTest, ADriveBusyForEverIsGivenUpOnAfter160Seconds) {
  Start();
  drive.Flash().SetBehaviour(IspBehaviour::kBusyForEver);
  platform.clock.SetTickPerRead(1000);
  EXPECT_EQ(session->WaitReady(), 16);
  EXPECT_EQ(std::count(Traffic().begin(), Traffic().end(), "GetISPStatus(16000) -> 1 [4]"), 160);

  // When the clock stands still, the number of busy replies bounds the wait.
  struct BusyDrive : NoTransport {
    int32_t GetCommType() override { return kSerialConnection; }
    int32_t GetISPStatus(int32_t* status, int32_t) override {
      *status = status::kBusy;
      ++reads;
      return code::kOk;
    }
    uint32_t reads = 0;
  } busy;
  LibraryContext busyCtx{db, registers, busy, platform};
  platform.clock.SetTickPerRead(0);
  IspSession stuck(busyCtx);
  EXPECT_EQ(stuck.WaitDone(42), kNotFinished);
  EXPECT_EQ(busy.reads, kBusyReplyLimit);
}

TEST_F(IspSessionTest, NetworkBytesNotYetTakenArePolledUpToTenTimes) {
  const std::vector<uint8_t> unit(512, 0x5A);
  const Lines polls = {"GetISPStatus(6000) -> 1 [0]", "GetISPStatus(6000) -> 1 [0]",
                       "GetISPStatus(6000) -> 1 [1]"};
  Start(false);
  drive.Flash().SetNetworkBacklog(256, 2);
  ASSERT_EQ(session->WaitReady(), std::nullopt);
  timeline.Clear();
  EXPECT_EQ(session->StreamUnit(unit, false), std::nullopt);
  EXPECT_EQ(Traffic(), Concat({{"SendISPByte x255 -> 1 [1]", "SendISPByte(90) -> 1 [0]"},
                               polls,
                               {"SendISPByte x255 -> 1 [1]", "SendISPByte(90) -> 1 [0]"},
                               polls}));

  Start(false);
  drive.Flash().SetNetworkBacklog(512, 12);
  ASSERT_EQ(session->WaitReady(), std::nullopt);
  timeline.Clear();
  EXPECT_EQ(session->StreamUnit(unit, false), std::nullopt);
  EXPECT_EQ(Traffic(), Concat({{"SendISPByte x511 -> 1 [1]", "SendISPByte(90) -> 1 [0]"},
                               Lines(10, "GetISPStatus(6000) -> 1 [0]")}));
  EXPECT_EQ(session->StreamUnit(unit, true), std::nullopt);  // the stream goes on
}

TEST_F(IspSessionTest, ARefusedByteEndsWithTheClosingBytesCode) {
  const std::vector<uint8_t> unit(512, 0x11);
  Start();
  ASSERT_EQ(session->WaitReady(), std::nullopt);
  drive.Faults().FailCall(Operation::kSendISPByte, 100, 6);
  EXPECT_EQ(session->StreamUnit(unit, false), 1);
  EXPECT_EQ(Lines(Traffic().end() - 3, Traffic().end()),
            (Lines{"SendISPByte(17) -> 6", "SendISPByte(0) -> 1 [1]", "ChangeBaudRate(19200) -> 1"}));

  Start();
  ASSERT_EQ(session->WaitReady(), std::nullopt);
  drive.Faults().FailCall(Operation::kSendISPByte, 100, 6);
  drive.Faults().FailCall(Operation::kSendISPByte, 101, 0);
  EXPECT_EQ(session->StreamUnit(unit, false), 0);
}

}  // namespace
}  // namespace svodb::isp
