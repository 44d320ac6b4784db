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
#include <string>

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

TEST_F(ServeApi, WritesReadBackTheStoredValue) {
  struct Case {
    const char* name;
    const char* request;
    double stored;
  };
  const Case cases[] = {{"KVP", R"({"value": 0.05})", 0.05},
                        {"FilterType", R"({"label": "BiQuad"})", 2.0},
                        {"FilterType", R"({"value": 3})", 3.0}};
  for (const Case& c : cases) {
    const std::string path = std::string("/api/variables/") + c.name;
    auto result = Send("PUT", path, TheServer().Headers(), c.request);
    ASSERT_TRUE(result) << c.name;
    ASSERT_EQ(result->status, 200) << c.name << ": " << result->body;
    EXPECT_EQ(json::parse(result->body)["value"], c.stored) << c.name;
    EXPECT_EQ(GetJson(path)["value"], c.stored) << c.name;
  }
}

TEST_F(ServeApi, VariablesCarryUnitsRangesLabelsAndGroups) {
  const json variables = GetJson("/api/variables");
  ASSERT_TRUE(variables.is_array());
  EXPECT_EQ(variables.size(), 159u);
  EXPECT_EQ(variables.front()["name"], "AFBDivisorSrc");
  EXPECT_EQ(variables.front()["availability"], "not available on this model");
  const json filter = GetJson("/api/variables/FilterType");
  EXPECT_EQ(filter["group"], "User parameters");
  EXPECT_EQ(filter["labels"], json::parse(R"([{"label":"ARfx","value":3},{"label":"BiQuad","value":2}])"));
  EXPECT_EQ(GetJson("/api/variables/SerialNum")["text"], "VD22010001");
  EXPECT_EQ(GetJson("/api/variables/DeadBand")["group"], "Manufacturing settings");
  EXPECT_EQ(GetJson("/api/variables/VBus")["group"], "Status and monitoring");
  bool cmdGain = false;  // the factory image differs from the defaults in CmdGain
  for (const json& row : GetJson("/api/diff/defaults")["differing"]) cmdGain |= row["name"] == "CmdGain";
  EXPECT_TRUE(cmdGain);
}

TEST_F(ServeApi, PageIsServedWithoutTokenButOnlyToItsOwnHost) {
  httplib::Client client = TheServer().Client();
  auto page = client.Get("/");
  ASSERT_TRUE(page);
  EXPECT_EQ(page->status, 200);
  EXPECT_NE(page->body.find("<title>svodb panel</title>"), std::string::npos);
  auto script = client.Get("/app.js");
  ASSERT_TRUE(script);
  EXPECT_EQ(script->get_header_value("Content-Type"), "text/javascript; charset=utf-8");
  auto rebound = client.Get("/", {{"Host", "evil.example:80"}});
  ASSERT_TRUE(rebound);
  EXPECT_EQ(rebound->status, 403);
}

// Last, as it changes the drive's NV memory that the cases above compare.
// ARF0 is kept as a register count: 300 Hz asked, 303.6 Hz stored.
TEST_F(ServeApi, SaveCopiesTheWorkingValuesToNv) {
  auto put = Send("PUT", "/api/variables/ARF0", TheServer().Headers(), R"({"value": 300})");
  ASSERT_TRUE(put);
  ASSERT_EQ(put->status, 200);
  EXPECT_EQ(json::parse(put->body)["value"], 303.6);
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
