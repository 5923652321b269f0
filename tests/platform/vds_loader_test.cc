// The disk service's list of hardware providers, as a provider reaches it through the loader.
#include "platform/vds_loader.h"

#include <gtest/gtest.h>

#include "platform/registry.h"
#include "platform/vds_interfaces.h"
#include "platform/winerror.h"
#include "tests/platform/temp_dir.h"

namespace {

constexpr GUID kProvider = {0x11111111, 0x2222, 0x3333, {4, 4, 5, 5, 5, 5, 5, 5}};
constexpr GUID kClass = {0xAAAAAAAA, 0xBBBB, 0xCCCC, {0xD, 0xD, 0xE, 0xE, 0xE, 0xE, 0xE, 0xE}};
constexpr GUID kVersion = {0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}};

class VdsLoader : public ::testing::Test {
 protected:
  void TearDown() override { RegistryResetForTesting(); }
  void Use(const std::string& text) { SetRegistryFile(m_dir.Write("registry.reg", text)); }

  static HRESULT Create(IVdsAdmin** admin) {
    return CoCreateInstance(CLSID_VdsLoader, nullptr, CLSCTX_LOCAL_SERVER, IID_IVdsAdmin,
                            reinterpret_cast<void**>(admin));
  }

  static HRESULT Register(IVdsAdmin* admin) {
    char16_t name[] = u"Test Provider";
    char16_t version[] = u"1.2.3";
    return admin->RegisterProvider(kProvider, kClass, name, VDS_PT_HARDWARE, nullptr, version,
                                   kVersion);
  }

  std::string Text() const { return m_dir.Read("registry.reg"); }

  TempDir m_dir;
};

TEST_F(VdsLoader, KeepsTheListOfHardwareProviders) {
  Use("Windows Registry Editor Version "
      "5.00\n\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Keep]\n\"k\"=\"v\"\n");
  IVdsAdmin* admin = nullptr;
  ASSERT_EQ(Create(&admin), S_OK);
  ASSERT_EQ(Register(admin), S_OK);
  const std::string key =
      "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\vds\\HardwareProviders\\"
      "{11111111-2222-3333-0404-050505050505}]\n"
      "@=\"Test Provider\"\n"
      "\"CLSID\"=\"{AAAAAAAA-BBBB-CCCC-0D0D-0E0E0E0E0E0E}\"\n"
      "\"Type\"=dword:00000002\n"
      "\"Version\"=\"1.2.3\"\n"
      "\"VersionId\"=\"{01020304-0506-0708-090A-0B0C0D0E0F10}\"\n";
  EXPECT_NE(Text().find(key), std::string::npos) << Text();

  EXPECT_EQ(Register(admin), VDS_E_ALREADY_REGISTERED);
  EXPECT_EQ(admin->UnregisterProvider(kProvider), S_OK);
  EXPECT_EQ(Text().find("{11111111-"), std::string::npos);
  EXPECT_EQ(admin->UnregisterProvider(kProvider), VDS_E_OBJECT_NOT_FOUND);
  EXPECT_NE(Text().find("\"k\"=\"v\""), std::string::npos);
  admin->Release();
}

TEST_F(VdsLoader, CreationFailsWithoutAServiceThatCanKeepItsList) {
  IVdsAdmin* admin = nullptr;
  EXPECT_EQ(CoCreateInstance(CLSID_VdsLoader, nullptr, CLSCTX_INPROC_SERVER, IID_IVdsAdmin,
                             reinterpret_cast<void**>(&admin)),
            REGDB_E_CLASSNOTREG);
  EXPECT_EQ(CoCreateInstance(kClass, nullptr, CLSCTX_LOCAL_SERVER, IID_IVdsAdmin,
                             reinterpret_cast<void**>(&admin)),
            REGDB_E_CLASSNOTREG);

  Use("Windows Registry Editor Version 5.00\n\n"
      "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\vds]\n\"Start\"=dword:00000004\n");
  EXPECT_EQ(Create(&admin), HRESULT_FROM_WIN32(ERROR_SERVICE_DISABLED));
  EXPECT_EQ(admin, nullptr);

  SetRegistryFile(m_dir.File("no-such-folder/registry.reg"));
  EXPECT_EQ(Create(&admin), HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND));
  EXPECT_EQ(admin, nullptr);
}

}  // namespace
