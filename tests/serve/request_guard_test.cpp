// Which requests the panel's server lets through, decided from the request
// alone.
#include "serve/request_guard.h"

#include <gtest/gtest.h>

#include <set>

namespace svodb_tool {
namespace {

constexpr int32_t kPort = 8600;
const std::string kToken = "0123456789abcdef0123456789abcdef";

TEST(RequestGuard, RefusesForeignHostsAndOriginsBeforeTokens) {
  struct Case {
    RequestFacts request;
    int status;
  };
  const Case cases[] = {
      {{"127.0.0.1:8600", "", kToken}, 0},
      {{"localhost:8600", "http://localhost:8600", kToken}, 0},
      {{"127.0.0.1:8600", "http://127.0.0.1:8600", kToken}, 0},
      {{"127.0.0.1:8600", "", ""}, 401},
      {{"127.0.0.1:8600", "", kToken.substr(0, 31)}, 401},
      {{"127.0.0.1:8600", "", kToken + "0"}, 401},
      {{"127.0.0.1:8600", "", "0123456789abcdef0123456789abcdeF"}, 401},
      {{"127.0.0.1:8600", "http://evil.example", kToken}, 403},
      {{"127.0.0.1:8600", "http://evil.example", ""}, 403},
      {{"127.0.0.1:8600", "null", kToken}, 403},
      {{"127.0.0.1:8600", "https://127.0.0.1:8600", kToken}, 403},
      {{"127.0.0.1:8600", "http://127.0.0.1:8601", kToken}, 403},
      {{"127.0.0.1:8600", "http://127.0.0.1:8600.evil.example", kToken}, 403},
      {{"evil.example:8600", "", kToken}, 403},
      {{"127.0.0.1", "", kToken}, 403},
      {{"", "", kToken}, 403},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(RefusalStatus(c.request, kPort, kToken), c.status)
        << "Host " << c.request.host << ", Origin " << c.request.origin << ", token " << c.request.token;
  }
  EXPECT_EQ(RefusalStatus({"127.0.0.1:8600", "", ""}, kPort, ""), 401);  // no token opens nothing
}

TEST(RequestGuard, TokensAreFreshHexadecimal) {
  std::set<std::string> seen;
  for (int i = 0; i < 50; ++i) {
    const std::string token = NewToken();
    EXPECT_EQ(token.size(), 32u);
    EXPECT_EQ(token.find_first_not_of("0123456789abcdef"), std::string::npos) << token;
    EXPECT_TRUE(seen.insert(token).second) << "repeated " << token;
  }
}

}  // namespace
}  // namespace svodb_tool
