// The binding of the transport library: found functions are called with the
// caller's arguments; a missing library or function answers as a drive that
// does not respond, never crashes.
#include "drive/transport_library.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>

#include "svodb/commsvodb.h"

namespace svodb {
namespace {

int g_loads = 0;
int32_t g_lastAddress = -1;

int32_t COMMSVODB_CALL FakeGetVarFromFpga(int32_t address, int32_t* data, int32_t*) {
  g_lastAddress = address;
  *data = 0x42;
  return 1;
}
int32_t COMMSVODB_CALL FakeGetCommType() { return 2; }
int32_t COMMSVODB_CALL FakeInitMotoBus(int32_t a, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t,
                                       int32_t h) {
  return a * 10 + h;
}
void COMMSVODB_CALL FakeVersion(char* text) { std::strcpy(text, "fake transport 2.0"); }

// A library that has only these four functions.
class FakeLibrary final : public SharedLibrary {
 public:
  void* FindFunction(const char* name) const override {
    const std::map<std::string, void*> functions{
        {"GetVarFromFPGA", reinterpret_cast<void*>(&FakeGetVarFromFpga)},
        {"GetCommType", reinterpret_cast<void*>(&FakeGetCommType)},
        {"InitMotoBus", reinterpret_cast<void*>(&FakeInitMotoBus)},
        {"CommSVODBVersion", reinterpret_cast<void*>(&FakeVersion)}};
    const auto found = functions.find(name);
    return found == functions.end() ? nullptr : found->second;
  }
  std::string Path() const override { return "/opt/drive/libCommSVODB.so"; }
};

LibraryLookup LoadPartialLibrary() {
  ++g_loads;
  return LibraryLookup{std::make_unique<FakeLibrary>(), {}};
}

TEST(TransportLibrary, LoadsOnceAtTheFirstCallAndCallsTheFunctionsItFinds) {
  g_loads = 0;
  TransportLibrary transport(LoadPartialLibrary);
  EXPECT_EQ(g_loads, 0);
  for (int call = 0; call < 2; ++call) EXPECT_EQ(transport.GetCommType(), 2);
  EXPECT_EQ(g_loads, 1);
  int32_t data = 0, second = 0;
  EXPECT_EQ(transport.GetVarFromFPGA(77, &data, &second), 1);
  EXPECT_EQ(std::pair(g_lastAddress, data), std::pair(77, 0x42));
  EXPECT_EQ(transport.InitMotoBus({3, 0, 0, 0, 0, 0, 0, 9}), 39);
  char text[kTransportVersionCapacity];
  transport.CommSVODBVersion(text);
  EXPECT_STREQ(text, "fake transport 2.0");
  // A missing function answers as a drive that does not respond.
  int32_t value = 5, other = 5;
  const std::array results{transport.PutVarToFPGA(1, 2), transport.GetVarFromEEPROM(1, &value, &other),
                           transport.GetISPStatus(&value, 10), value};
  EXPECT_EQ(results, (std::array{0, 0, 0, 5}));
  std::memset(text, 'X', sizeof text);
  transport.CommNCLVersion(text);
  EXPECT_STREQ(text, "");
}

TEST(TransportLibrary, StatusSaysWhatWasLoadedOrWhyNot) {
  TransportLibrary partial(LoadPartialLibrary);
  TransportLibrary missing([] { return LibraryLookup{nullptr, "/opt/drive/libCommSVODB.so (here): gone"}; });
  TransportLibrary none(SharedLibraryLoader{});
  const std::tuple<TransportLibrary&, TransportStatus::State, std::string> cases[] = {
      {partial, TransportStatus::State::kIncomplete,
       "/opt/drive/libCommSVODB.so lacks InitComPort KillMotoBus PutVarToFPGA GetVarFromEEPROM "
       "PutVarToEEPROM "
       "NVEraseUnit FlushPort ChangeBaudRate SendISPByte GetISPStatus ChangeGetSleepTime "
       "GetMaxNumMotoBusAxes "
       "CommNCLVersion"},
      {missing, TransportStatus::State::kNotFound,
       "libCommSVODB.so not found: /opt/drive/libCommSVODB.so (here): gone"},
      {none, TransportStatus::State::kNotFound, "libCommSVODB.so not found: no way to load it"},
  };
  for (const auto& [transport, state, text] : cases) {
    const TransportStatus status = transport.Status();
    EXPECT_EQ(std::tuple(status.state, status.text), std::tuple(state, text));
  }
  // A missing library is a drive that does not respond.
  char text[kTransportVersionCapacity] = "stale";
  missing.CommSVODBVersion(text);
  EXPECT_EQ(std::tuple(missing.IsLoaded(), missing.GetCommType(), std::string(text)),
            std::tuple(false, 0, ""));
  // The search through real folders is the plugin folder's test.
  EXPECT_EQ(LoadFromPlaces(kTransportLibraryName, {}).problem, "libCommSVODB.so: no place to look for it");
}

}  // namespace
}  // namespace svodb
