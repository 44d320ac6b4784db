// The Linux system platform pumps and posts through the handlers a client
// registers with svodb_set_message_handlers.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <tuple>
#include <vector>

#include "api/export_fixture.h"
#include "platform/platform.h"
#include "svodb/svodb.h"
#include "svodb/svodb_linux.h"
#include "virtual_drive.h"

namespace svodb::testing {
namespace {

using Post = std::tuple<uintptr_t, uint32_t, uintptr_t, intptr_t>;

// What a client's event loop sees of the library: `waiting` messages for
// the pump, `accepts` the post handler's answer.
struct Client {
  int pumps = 0, waiting = 0, accepts = 1;
  std::vector<Post> posts;

  static int Pump(void* context) {
    Client& client = *static_cast<Client*>(context);
    ++client.pumps;
    return client.waiting > 0 ? (--client.waiting, 1) : 0;
  }
  static int PostTo(void* context, uintptr_t window, uint32_t message, uintptr_t wParam, intptr_t lParam) {
    Client& client = *static_cast<Client*>(context);
    client.posts.emplace_back(window, message, wParam, lParam);
    return client.accepts;
  }
};

class MessageHandlers : public ExportTest {
 protected:
  void TearDown() override {
    svodb_set_message_handlers(nullptr, nullptr, nullptr);
    ExportTest::TearDown();
  }
  Client client;
};

TEST_F(MessageHandlers, PumpAndPostReachTheClientWithItsContextEachHandlerOptional) {
  Platform& platform = SystemPlatform();
  EXPECT_FALSE(platform.PumpOneMessage() || platform.PostWindowMessage(1, 2, 3, 4));  // no handlers yet
  svodb_set_message_handlers(Client::Pump, Client::PostTo, &client);
  client.waiting = 1;
  EXPECT_EQ((std::array{platform.PumpOneMessage(), platform.PumpOneMessage()}), (std::array{true, false}));
  EXPECT_EQ(client.pumps, 2);
  EXPECT_TRUE(platform.PostWindowMessage(0x1234, 0x8001, 7, -9));
  client.accepts = 0;
  EXPECT_FALSE(platform.PostWindowMessage(UINTPTR_MAX, 0xFFFFFFFFu, 0, INTPTR_MIN));
  EXPECT_EQ(client.posts,
            (std::vector<Post>{{0x1234, 0x8001, 7, -9}, {UINTPTR_MAX, 0xFFFFFFFFu, 0, INTPTR_MIN}}));

  // A later call replaces both handlers and the context.
  Client other;
  svodb_set_message_handlers(nullptr, Client::PostTo, &other);
  EXPECT_FALSE(platform.PumpOneMessage());
  EXPECT_TRUE(platform.PostWindowMessage(1, 2, 3, 4));
  svodb_set_message_handlers(Client::Pump, nullptr, &other);
  EXPECT_FALSE(platform.PostWindowMessage(1, 2, 3, 4));
  EXPECT_EQ(client.pumps, 2);
  EXPECT_EQ(other.posts, (std::vector<Post>{{1, 2, 3, 4}}));
}

TEST_F(MessageHandlers, SamplingPumpsTheClientOncePerSample) {
  sim::VirtualDrive drive;
  ASSERT_EQ(drive.InitComPort(1, 19200), 1);
  Use(drive);
  svodb_set_message_handlers(Client::Pump, Client::PostTo, &client);
  client.waiting = 10;
  double mean = 0, spread = 0;
  EXPECT_EQ(GetParmMeanRMS_SVODBT("LogicVer", 4, &mean, &spread), 1);
  EXPECT_EQ(mean, 4.0);
  EXPECT_EQ((std::tuple{client.pumps, client.waiting, client.posts.size()}), (std::tuple{4, 6, 0u}));
}

}  // namespace
}  // namespace svodb::testing
