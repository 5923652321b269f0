#include "provider/provider.h"

#include <gtest/gtest.h>

#include <fstream>

#include "platform/osversion.h"
#include "platform/registry.h"
#include "platform/strings.h"
#include "tests/provider/provider_test_support.h"

namespace {

class ProviderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    EnsureModuleAttached();
    provider_ = CProvider::Create();
    ASSERT_NE(provider_, nullptr);
  }
  void TearDown() override {
    static_cast<IVdsProvider*>(provider_)->Release();
    WriteRegistry("");
    Options = 0;
    StartingLUN = 1;
    SetOsVersionForTesting(6, 2);
    ResetProviderNameAndVersionForTesting();
  }
  void WriteRegistry(const std::string& body) {
    std::ofstream(TestDir() + "/registry.reg") << "Windows Registry Editor Version 5.00\n\n"
                                               << body;
    SetRegistryFile(TestDir() + "/registry.reg");
  }
  CProvider* provider_ = nullptr;
};

TEST_F(ProviderTest, PropertiesCarryTheIdentityAndTheDefaults) {
  VDS_PROVIDER_PROP prop{};
  EXPECT_EQ(provider_->GetProperties(nullptr), E_POINTER);
  ASSERT_EQ(provider_->GetProperties(&prop), S_OK);
  EXPECT_EQ(Utf16ToUtf8(prop.pwszName), "Tessaro VDS Provider");
  EXPECT_EQ(Utf16ToUtf8(prop.pwszVersion), "2.8.5.45");
  EXPECT_EQ(prop.type, VDS_PT_HARDWARE);
  EXPECT_EQ(prop.ulFlags, 2u);
  EXPECT_EQ(prop.ulStripeSizeFlags, 0x1C000u);
  EXPECT_EQ(prop.sRebuildPriority, 0);
  CoTaskMemFree(prop.pwszName);
  CoTaskMemFree(prop.pwszVersion);
}

TEST_F(ProviderTest, TypeAndVersionSupport) {
  VDS_HWPROVIDER_TYPE type{};
  EXPECT_EQ(provider_->GetProviderType(nullptr), E_FAIL);
  ASSERT_EQ(provider_->GetProviderType(&type), S_OK);
  EXPECT_EQ(type, 2);

  ULONG support = 0;
  EXPECT_EQ(provider_->GetVersionSupport(nullptr), E_POINTER);
  SetOsVersionForTesting(6, 1);  // Windows 7
  ASSERT_EQ(provider_->GetVersionSupport(&support), S_OK);
  EXPECT_EQ(support, 0x1Fu);
  SetOsVersionForTesting(6, 0);
  ASSERT_EQ(provider_->GetVersionSupport(&support), S_OK);
  EXPECT_EQ(support, 3u);
}

TEST_F(ProviderTest, StoragePoolsNeedWindows7AndNoOptionBit18) {
  IEnumVdsObject* list = nullptr;
  SetOsVersionForTesting(6, 0);
  EXPECT_EQ(provider_->QueryStoragePools(0, 0, nullptr, &list), VDS_E_NOT_SUPPORTED);
  SetOsVersionForTesting(6, 1);
  Options = kOptionNoStoragePools;
  EXPECT_EQ(provider_->QueryStoragePools(0, 0, nullptr, &list), VDS_E_NOT_SUPPORTED);
  Options = 0;
  EXPECT_EQ(provider_->QueryStoragePools(0, 0, nullptr, nullptr), E_POINTER);
}

TEST_F(ProviderTest, OnLoadWithoutProxyStaysOfflineAndReadsTheParameters) {
  WriteRegistry(
      "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\VelaVDSProvider\\Parameters]\n"
      "\"Name\"=\"Test Provider\"\n"
      "\"Version\"=\"9.9\"\n"
      "\"StartingLUN\"=dword:00000004\n"
      "\"Options\"=dword:00040000\n");
  EXPECT_EQ(provider_->OnLoad(nullptr, nullptr), S_OK);
  EXPECT_FALSE(isProviderOnline.load());
  EXPECT_EQ(StartingLUN.load(), 4u);
  EXPECT_EQ(Options.load(), kOptionNoStoragePools);
  VDS_PROVIDER_PROP prop{};
  ASSERT_EQ(provider_->GetProperties(&prop), S_OK);
  EXPECT_EQ(Utf16ToUtf8(prop.pwszName), "Test Provider");
  EXPECT_EQ(Utf16ToUtf8(prop.pwszVersion), "9.9");
  CoTaskMemFree(prop.pwszName);
  CoTaskMemFree(prop.pwszVersion);
  EXPECT_EQ(provider_->OnUnload(FALSE), S_OK);
}

}  // namespace
