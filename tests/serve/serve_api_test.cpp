// svodb serve's JSON API against the virtual drive, without a browser: a
// request without the token, from another page or too large is refused and
// changes nothing; the API's own writes go through the library's checks.
#include <gtest/gtest.h>
#include <httplib.h>
#include <sys/wait.h>

#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <string>

#include "serve/request_guard.h"

namespace {

using nlohmann::json;

// One server for the whole program, started as a user starts it and
// stopped through its API (or by itself after two minutes).
class Server {
 public:
  Server() {
    pipe_ = popen(SVODB_TOOL " serve --port 0 --for 120", "r");
    char line[256] = "";
    if (pipe_ == nullptr || std::fgets(line, sizeof line, pipe_) == nullptr) return;
    std::smatch match;
    const std::string text = line;
    if (std::regex_search(text, match, std::regex(R"(http://127\.0\.0\.1:(\d+)/\?token=([0-9a-f]{32}))"))) {
      port_ = std::stoi(match[1]);
      token_ = match[2];
    }
  }
  ~Server() { Stop(); }
  // Returns the server's exit status (-1 if it was not running).
  int Stop() noexcept {
    try {
      if (port_ != 0) Client().Post("/api/shutdown", Headers(), "", "text/plain");
    } catch (...) {
    }
    const int status = pipe_ != nullptr ? pclose(pipe_) : -1;
    port_ = 0;
    pipe_ = nullptr;
    return status;
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  int Port() const { return port_; }
  httplib::Client Client() const { return httplib::Client("127.0.0.1", port_); }
  httplib::Headers Headers() const { return {{"X-Svodb-Token", token_}}; }
  const std::string& Token() const { return token_; }

 private:
  std::FILE* pipe_ = nullptr;
  int port_ = 0;
  std::string token_;
};

Server& TheServer() {
  static Server server;
  return server;
}

// Stopped before the program's exit: a static's destructor would run the
// client after library statics it uses may already be gone.
class StopServerAtEnd : public testing::Environment {
 public:
  void TearDown() override {
    const int status = TheServer().Stop();
    EXPECT_TRUE(status == -1 || (WIFEXITED(status) && WEXITSTATUS(status) == 0))
        << "svodb serve ended with status " << status;
  }
};
[[maybe_unused]] testing::Environment* const kStopServerAtEnd =
    testing::AddGlobalTestEnvironment(new StopServerAtEnd);

json GetJson(const std::string& path) {
  auto result = TheServer().Client().Get(path, TheServer().Headers());
  if (!result || result->status != 200) return nullptr;
  return json::parse(result->body);
}

std::string Backup() {
  auto result = TheServer().Client().Get("/api/backup", TheServer().Headers());
  return result && result->status == 200 ? result->body : "";
}

class ServeApi : public testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(TheServer().Port(), 0) << "svodb serve printed no address"; }
};

struct RefusedCase {
  const char* what;
  std::string method;
  std::string path;
  httplib::Headers headers;
  std::string body;
  int status;
};

httplib::Result Send(const std::string& method, const std::string& path, const httplib::Headers& headers,
                     const std::string& body) {
  httplib::Client client = TheServer().Client();
  return method == "PUT" ? client.Put(path, headers, body, "application/json")
                         : client.Post(path, headers, body, "application/json");
}

TEST_F(ServeApi, RefusedRequestsChangeNothing) {
  const std::string token = TheServer().Token();
  const std::string nv = Backup();
  ASSERT_NE(nv.find("KVP"), std::string::npos);
  const std::string kvp = "/api/variables/KVP", value = R"({"value": 0.05})";
  const std::string big(3 * 1024 * 1024, '#');
  // Which token, Host and Origin pass is the guard's own test; here each
  // refusal is seen to stop the request before it reaches the drive.
  const httplib::Headers own{{"X-Svodb-Token", token}};
  const httplib::Headers foreign{{"X-Svodb-Token", token}, {"Origin", "http://evil.example"}};
  const std::string filter = "/api/variables/FilterType";
  const RefusedCase cases[] = {
      {"no token", "PUT", kvp, {}, value, 401},
      {"no token to save", "POST", "/api/save", {}, "", 401},
      {"another page", "PUT", kvp, foreign, value, 403},
      {"another page saving", "POST", "/api/save", foreign, "", 403},
      {"malformed JSON", "PUT", kvp, own, R"({"value": 0.0)", 400},
      {"no value", "PUT", kvp, own, R"({"valu": 0.05})", 400},
      {"no such label", "PUT", filter, own, R"({"label": "X"})", 400},
      {"out of range", "PUT", "/api/variables/KIP", own, R"({"value": 1e9})", 422},
      {"oversized upload", "POST", "/api/restore", own, "UserParams\n" + big, 413},
      {"oversized flash", "POST", "/api/flash?name=big.i00", own, big, 413},
  };
  for (const RefusedCase& c : cases) {
    const auto result = Send(c.method, c.path, c.headers, c.body);
    ASSERT_TRUE(result) << c.what;
    EXPECT_EQ(result->status, c.status) << c.what;
    if (c.status == 422) {
      EXPECT_EQ(json::parse(result->body), json({{"code", 23}, {"error", "Data is out of range (code 23)"}}));
    }
  }
  for (const char* name : {"KVP", "KIP"}) {
    const json variable = GetJson(std::string("/api/variables/") + name);
    EXPECT_EQ(variable["value"], variable["default"]) << name;
  }
  EXPECT_EQ(GetJson("/api/variables/FilterType")["value"], 3.0);
  EXPECT_EQ(Backup(), nv) << "the drive's NV memory changed";
}

// Last, as it changes the drive's NV memory that the cases above compare.
// The page, the variables' table, edits and the diff are the browser
// test's. ARF0 is kept as a register count: 300 Hz asked, 303.6 Hz stored.
TEST_F(ServeApi, WritesByValueAndLabelAndASaveCopiesThemToNv) {
  EXPECT_EQ(GetJson("/api/variables").size(), 159u);  // the page's table, read as the page reads it
  auto put = Send("PUT", "/api/variables/ARF0", TheServer().Headers(), R"({"value": 300})");
  ASSERT_TRUE(put);
  ASSERT_EQ(put->status, 200);
  EXPECT_EQ(json::parse(put->body)["value"], 303.6);
  auto label = Send("PUT", "/api/variables/FilterType", TheServer().Headers(), R"({"label": "BiQuad"})");
  ASSERT_TRUE(label);
  EXPECT_EQ(GetJson("/api/variables/FilterType")["value"], 2.0) << label->body;
  const std::string stored = "ARF0             = 303.600000";
  EXPECT_EQ(Backup().find(stored), std::string::npos) << "NV changed before the save";
  auto save = Send("POST", "/api/save", TheServer().Headers(), "");
  ASSERT_TRUE(save);
  EXPECT_EQ(save->status, 200) << save->body;
  const std::string output = json::parse(save->body)["output"];
  EXPECT_NE(output.find("saved the drive's working user parameters"), std::string::npos);
  EXPECT_NE(Backup().find(stored), std::string::npos);
}

}  // namespace

namespace svodb_tool {
namespace {

// Which requests the guard lets through, decided from the request alone.
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
