// svodb serve's JSON API against the virtual drive, without a browser: a
// request without the token, from another page or too large is refused and
// changes nothing; the API's own writes go through the library's checks.
#include <gtest/gtest.h>
#include <httplib.h>
#include <sys/wait.h>

#include <cstdio>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <string>

#include "serve/request_guard.h"

namespace {

using nlohmann::json;

// One server for the whole program, started as a user starts it (it stops
// by itself after two minutes) and stopped through its API while the
// program still runs: a static's destructor would run the client after
// library statics it uses may already be gone.
struct Server : testing::Environment {
  void SetUp() override {
    output = popen(SVODB_TOOL " serve --port 0 --for 120", "r");
    char line[256] = "";
    ASSERT_TRUE(output != nullptr && std::fgets(line, sizeof line, output) != nullptr);
    const std::string text = line;
    std::smatch match;
    ASSERT_TRUE(
        std::regex_search(text, match, std::regex(R"(http://127\.0\.0\.1:(\d+)/\?token=([0-9a-f]{32}))")))
        << "svodb serve printed no address: " << text;
    port = std::stoi(match[1]);
    own = {{"X-Svodb-Token", match[2]}};
  }
  void TearDown() override {
    if (port != 0) Send("POST", "/api/shutdown", own);
    const int status = output != nullptr ? pclose(output) : -1;
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "svodb serve ended with status " << status;
  }

  httplib::Result Send(const std::string& method, const std::string& path, const httplib::Headers& headers,
                       const std::string& body = "") const {
    httplib::Client client("127.0.0.1", port);
    if (method == "GET") return client.Get(path, headers);
    return method == "PUT" ? client.Put(path, headers, body, "application/json")
                           : client.Post(path, headers, body, "application/json");
  }
  // The body of a request with the token that must succeed.
  std::string Body(const std::string& method, const std::string& path, const std::string& body = "") const {
    const auto result = Send(method, path, own, body);
    EXPECT_TRUE(result && result->status == 200) << method << " " << path;
    return result ? result->body : "";
  }
  json Variable(const std::string& name) const { return json::parse(Body("GET", "/api/variables/" + name)); }

  httplib::Headers own;  // the token's header
  std::FILE* output = nullptr;
  int port = 0;
};

Server* const kServer = static_cast<Server*>(testing::AddGlobalTestEnvironment(new Server));

// Which token, Host and Origin pass is the guard's own test below; here
// each refusal is seen to stop the request before it reaches the drive.
TEST(ServeApi, RefusedRequestsChangeNothing) {
  const std::string nv = kServer->Body("GET", "/api/backup");
  ASSERT_NE(nv.find("KVP"), std::string::npos);
  const std::string kvp = "/api/variables/KVP", value = R"({"value": 0.05})", big(3 * 1024 * 1024, '#');
  httplib::Headers foreign = kServer->own;
  foreign.emplace("Origin", "http://evil.example");
  const std::tuple<std::string, std::string, httplib::Headers, std::string, int> cases[] = {
      {"PUT", kvp, {}, value, 401},
      {"POST", "/api/save", {}, "", 401},
      {"PUT", kvp, foreign, value, 403},
      {"POST", "/api/save", foreign, "", 403},
      {"PUT", kvp, kServer->own, R"({"value": 0.0)", 400},
      {"PUT", kvp, kServer->own, R"({"valu": 0.05})", 400},
      {"PUT", "/api/variables/FilterType", kServer->own, R"({"label": "X"})", 400},
      {"PUT", "/api/variables/KIP", kServer->own, R"({"value": 1e9})", 422},
      {"POST", "/api/restore", kServer->own, "UserParams\n" + big, 413},
      {"POST", "/api/flash?name=big.i00", kServer->own, big, 413},
  };
  for (const auto& [method, path, headers, body, status] : cases) {
    const auto result = kServer->Send(method, path, headers, body);
    ASSERT_TRUE(result) << method << " " << path;
    EXPECT_EQ(result->status, status) << method << " " << path << " " << body.substr(0, 20);
    if (status == 422) {
      EXPECT_EQ(json::parse(result->body), json({{"code", 23}, {"error", "Data is out of range (code 23)"}}));
    }
  }
  for (const char* name : {"KVP", "KIP"})
    EXPECT_EQ(kServer->Variable(name)["value"], kServer->Variable(name)["default"]);
  EXPECT_EQ(kServer->Variable("FilterType")["value"], 3.0);
  EXPECT_EQ(kServer->Body("GET", "/api/backup"), nv) << "the drive's NV memory changed";
}

// Last, as it changes the drive's NV memory that the cases above compare.
// The page, the variables' table, edits and the diff are the browser
// test's. ARF0 is kept as a register count: 300 Hz asked, 303.6 Hz stored.
TEST(ServeApi, WritesByValueAndLabelAndASaveCopiesThemToNv) {
  EXPECT_EQ(json::parse(kServer->Body("GET", "/api/variables")).size(),
            159u);  // the table, as the page reads it
  EXPECT_EQ(json::parse(kServer->Body("PUT", "/api/variables/ARF0", R"({"value": 300})"))["value"], 303.6);
  kServer->Body("PUT", "/api/variables/FilterType", R"({"label": "BiQuad"})");
  EXPECT_EQ(kServer->Variable("FilterType")["value"], 2.0);
  const std::string stored = "ARF0             = 303.600000";
  EXPECT_EQ(kServer->Body("GET", "/api/backup").find(stored), std::string::npos)
      << "NV changed before the save";
  const std::string output = json::parse(kServer->Body("POST", "/api/save"))["output"];
  EXPECT_NE(output.find("saved the drive's working user parameters"), std::string::npos) << output;
  EXPECT_NE(kServer->Body("GET", "/api/backup").find(stored), std::string::npos);
}

}  // namespace

namespace svodb_tool {
namespace {

// Which requests the guard lets through, decided from the request alone.
TEST(RequestGuard, RefusesForeignHostsAndOriginsBeforeTokens) {
  const std::string token = "0123456789abcdef0123456789abcdef";
  const std::pair<RequestFacts, int> cases[] = {
      {{"127.0.0.1:8600", "", token}, 0},
      {{"localhost:8600", "http://localhost:8600", token}, 0},
      {{"127.0.0.1:8600", "http://127.0.0.1:8600", token}, 0},
      {{"127.0.0.1:8600", "", ""}, 401},
      {{"127.0.0.1:8600", "", token.substr(0, 31)}, 401},
      {{"127.0.0.1:8600", "", token + "0"}, 401},
      {{"127.0.0.1:8600", "", "0123456789abcdef0123456789abcdeF"}, 401},
      {{"127.0.0.1:8600", "http://evil.example", token}, 403},
      {{"127.0.0.1:8600", "http://evil.example", ""}, 403},
      {{"127.0.0.1:8600", "null", token}, 403},
      {{"127.0.0.1:8600", "https://127.0.0.1:8600", token}, 403},
      {{"127.0.0.1:8600", "http://127.0.0.1:8601", token}, 403},
      {{"127.0.0.1:8600", "http://127.0.0.1:8600.evil.example", token}, 403},
      {{"evil.example:8600", "", token}, 403},
      {{"127.0.0.1", "", token}, 403},
      {{"", "", token}, 403},
  };
  for (const auto& [request, status] : cases) {
    EXPECT_EQ(RefusalStatus(request, 8600, token), status)
        << "Host " << request.host << ", Origin " << request.origin << ", token " << request.token;
  }
  EXPECT_EQ(RefusalStatus({"127.0.0.1:8600", "", ""}, 8600, ""), 401);  // no token opens nothing
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
