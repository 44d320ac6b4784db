// svodb serve's JSON API against the virtual drive, without a browser: a
// request without the token, from another page or too large is refused and
// changes nothing; the API's own writes go through the library's checks.
#include <gtest/gtest.h>
#include <httplib.h>

#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>

#include <sys/wait.h>

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

TEST_F(ServeApi, RefusedRequestsChangeNothing) {
  const std::string token = TheServer().Token();
  const std::string own = "127.0.0.1:" + std::to_string(TheServer().Port());
  const std::string nv = Backup();
  ASSERT_NE(nv.find("KVP"), std::string::npos);
  const RefusedCase cases[] = {
      {"no token", "PUT", "/api/variables/KVP", {}, R"({"value": 0.05})", 401},
      {"wrong token",
       "PUT",
       "/api/variables/KVP",
       {{"X-Svodb-Token", std::string(32, '0')}},
       R"({"value": 0.05})",
       401},
      {"token cut short",
       "PUT",
       "/api/variables/KVP",
       {{"X-Svodb-Token", token.substr(1)}},
       R"({"value": 0.05})",
       401},
      {"no token to save", "POST", "/api/save", {}, "", 401},
      {"another page",
       "PUT",
       "/api/variables/KVP",
       {{"X-Svodb-Token", token}, {"Origin", "http://evil.example"}},
       R"({"value": 0.05})",
       403},
      {"another port",
       "PUT",
       "/api/variables/KVP",
       {{"X-Svodb-Token", token}, {"Origin", "http://127.0.0.1:1"}},
       R"({"value": 0.05})",
       403},
      {"a rebound host name",
       "PUT",
       "/api/variables/KVP",
       {{"X-Svodb-Token", token}, {"Host", "evil.example"}},
       R"({"value": 0.05})",
       403},
      {"another page saving", "POST", "/api/save", {{"X-Svodb-Token", token}, {"Origin", "null"}}, "", 403},
      {"malformed JSON", "PUT", "/api/variables/KVP", {{"X-Svodb-Token", token}}, R"({"value": 0.0)", 400},
      {"no value", "PUT", "/api/variables/KVP", {{"X-Svodb-Token", token}}, R"({"valu": 0.05})", 400},
      {"a label of no entry",
       "PUT",
       "/api/variables/FilterType",
       {{"X-Svodb-Token", token}},
       R"({"label": "Bogus"})",
       400},
      {"out of range", "PUT", "/api/variables/KIP", {{"X-Svodb-Token", token}}, R"({"value": 1e9})", 422},
      {"oversized upload",
       "POST",
       "/api/restore",
       {{"X-Svodb-Token", token}},
       "UserParams\n" + std::string(3 * 1024 * 1024, '#'),
       413},
      {"oversized flash",
       "POST",
       "/api/flash?name=big.i00",
       {{"X-Svodb-Token", token}},
       std::string(3 * 1024 * 1024, ':'),
       413},
  };
  for (const RefusedCase& c : cases) {
    httplib::Client client = TheServer().Client();
    const auto result = c.method == "PUT" ? client.Put(c.path, c.headers, c.body, "application/json")
                                          : client.Post(c.path, c.headers, c.body, "application/json");
    ASSERT_TRUE(result) << c.what;
    EXPECT_EQ(result->status, c.status) << c.what;
  }
  const json kvp = GetJson("/api/variables/KVP");
  const json kip = GetJson("/api/variables/KIP");
  const json filter = GetJson("/api/variables/FilterType");
  EXPECT_EQ(kvp["value"], kvp["default"]);
  EXPECT_EQ(kip["value"], kip["default"]);
  EXPECT_EQ(filter["value"], 3.0);
  EXPECT_EQ(Backup(), nv) << "the drive's NV memory changed";
}

TEST_F(ServeApi, OutOfRangeWriteNamesTheLibraryCode) {
  auto result = TheServer().Client().Put("/api/variables/KIP", TheServer().Headers(), R"({"value": 1e9})",
                                         "application/json");
  ASSERT_TRUE(result);
  EXPECT_EQ(json::parse(result->body), json({{"code", 23}, {"error", "Data is out of range (code 23)"}}));
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
    auto result = TheServer().Client().Put(std::string("/api/variables/") + c.name, TheServer().Headers(),
                                           c.request, "application/json");
    ASSERT_TRUE(result) << c.name;
    ASSERT_EQ(result->status, 200) << c.name << ": " << result->body;
    EXPECT_EQ(json::parse(result->body)["value"], c.stored) << c.name;
    EXPECT_EQ(GetJson(std::string("/api/variables/") + c.name)["value"], c.stored) << c.name;
  }
}

TEST_F(ServeApi, VariablesCarryUnitsRangesLabelsAndGroups) {
  const json variables = GetJson("/api/variables");
  ASSERT_TRUE(variables.is_array());
  EXPECT_EQ(variables.size(), 159u);
  const json& first = variables.front();
  EXPECT_EQ(first["name"], "AFBDivisorSrc");
  EXPECT_EQ(first["availability"], "not available on this model");
  const json filter = GetJson("/api/variables/FilterType");
  EXPECT_EQ(filter["group"], "User parameters");
  EXPECT_EQ(filter["labels"], json::parse(R"([{"label":"ARfx","value":3},{"label":"BiQuad","value":2}])"));
  const json serial = GetJson("/api/variables/SerialNum");
  EXPECT_EQ(serial["text"], "VD22010001");
  EXPECT_EQ(GetJson("/api/variables/DeadBand")["group"], "Manufacturing settings");
  EXPECT_EQ(GetJson("/api/variables/VBus")["group"], "Status and monitoring");
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

TEST_F(ServeApi, DiffAgainstDefaultsListsChangedParameters) {
  const json diff = GetJson("/api/diff/defaults");
  ASSERT_TRUE(diff.is_object());
  EXPECT_GT(diff["compared"].get<int>(), 0);
  bool cmdGain = false;
  for (const json& row : diff["differing"]) cmdGain |= row["name"] == "CmdGain";
  EXPECT_TRUE(cmdGain) << diff.dump();
}

}  // namespace

namespace {

// Last, as it changes the drive's NV memory that the cases above compare.
// ARF0 is kept as a register count: 300 Hz asked, 303.6 Hz stored.
TEST_F(ServeApi, SaveCopiesTheWorkingValuesToNv) {
  httplib::Client client = TheServer().Client();
  auto put =
      client.Put("/api/variables/ARF0", TheServer().Headers(), R"({"value": 300})", "application/json");
  ASSERT_TRUE(put);
  ASSERT_EQ(put->status, 200);
  EXPECT_EQ(json::parse(put->body)["value"], 303.6);
  EXPECT_EQ(Backup().find("ARF0             = 303.600000"), std::string::npos)
      << "NV changed before the save";
  auto save = client.Post("/api/save", TheServer().Headers(), "", "text/plain");
  ASSERT_TRUE(save);
  EXPECT_EQ(save->status, 200) << save->body;
  EXPECT_NE(
      json::parse(save->body)["output"].get<std::string>().find("saved the drive's working user parameters"),
      std::string::npos);
  EXPECT_NE(Backup().find("ARF0             = 303.600000"), std::string::npos);
}

}  // namespace
