// The library as a client loads it: libsvodb.so opened with dlopen, which
// itself binds the virtual drive's libCommSVODB.so through the real transport
// binding (found through LD_LIBRARY_PATH, as a deployed transport would be).
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

class LoadedLibrary : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { handle_ = dlopen(SVODB_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL); }
  static void TearDownTestSuite() {
    if (handle_ != nullptr) dlclose(handle_);
  }

  template <typename Function>
  static Function Find(const char* name) {
    return reinterpret_cast<Function>(dlsym(handle_, name));
  }

  static void* handle_;
};

void* LoadedLibrary::handle_ = nullptr;

TEST_F(LoadedLibrary, ExportsPlainNamesOnly) {
  ASSERT_NE(handle_, nullptr) << dlerror();
  EXPECT_NE(dlsym(handle_, "ChangeGetSleepTime_SVODB"), nullptr);
  EXPECT_EQ(dlsym(handle_, "_ChangeGetSleepTime_SVODB@4"), nullptr);
  EXPECT_EQ(dlsym(handle_, "ReadRegisterOnline"), nullptr);
}

TEST_F(LoadedLibrary, TalksToTheVirtualDriveThroughTheTransportLibrary) {
  ASSERT_NE(handle_, nullptr) << dlerror();
  auto usePort = Find<int32_t (*)(int32_t, int32_t, int32_t, int32_t, int32_t, int32_t)>("UsePort");
  auto closePort = Find<int32_t (*)()>("ClosePort");
  auto readFpga = Find<int32_t (*)(int32_t, int32_t*)>("ReadUnitFPGA_SVODB");
  auto writeFpga = Find<int32_t (*)(int32_t, int32_t)>("WriteUnitFPGA_SVODB");
  auto readNv = Find<int32_t (*)(int32_t, int32_t*, int32_t*)>("ReadUnitEEPROM_SVODB");
  auto version = Find<void (*)(char*)>("DLLVersion_SVODB");
  auto userNv = Find<bool (*)(const char*, uint8_t*)>("UserNVPara_SVODB");
  auto setNode = Find<int32_t (*)(int32_t)>("SetNode_SVODB");
  ASSERT_TRUE(usePort && closePort && readFpga && writeFpga && readNv && version && userNv && setNode);

  char text[60];
  version(text);
  EXPECT_EQ(std::string(text), "SVODB virtual drive 1.0 and 1.60.0000");

  ASSERT_EQ(usePort(1, 19200, 1, 0, 0, 0), 1);
  int32_t data = 0, fpgaRegister = 0;
  EXPECT_EQ(readFpga(30, &data), 1);
  EXPECT_EQ(data & 0x0F, 4);  // LogicVer
  EXPECT_EQ(writeFpga(16, 0x21), 1);
  EXPECT_EQ(readFpga(16, &data), 1);
  EXPECT_EQ(data, 0x21);
  EXPECT_EQ(readNv(255, &fpgaRegister, &data), 1);
  EXPECT_EQ(fpgaRegister, 127);

  // A register transfer: the drive's LogicVer, read twice and compared.
  uint8_t supported = 0;
  EXPECT_TRUE(userNv("KVP", &supported));
  EXPECT_EQ(supported, 1);
  EXPECT_EQ(setNode(0), 1);

  EXPECT_EQ(closePort(), 1);
  EXPECT_EQ(readFpga(30, &data), 0);  // closed: no response
}

}  // namespace
