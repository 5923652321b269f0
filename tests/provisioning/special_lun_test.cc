#include <gtest/gtest.h>

#include "platform/registry.h"
#include "provisioning/utility.h"

namespace {

constexpr char kDebugKey[] =
    "HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\VelaVDSProvider\\Debug";

class SpecialLun : public ::testing::Test {
 protected:
  void SetUp() override {
    SetRegistryFile(::testing::TempDir() + "/special_lun_absent.reg");
    SetDisabled("dword:00000000");
  }
  void TearDown() override { SetDisabled("dword:00000000"); }
  static void SetDisabled(const char* text) {
    ASSERT_TRUE(RegistryOverride(kDebugKey, "DisabeSepcialLun", text));
  }
};

TEST_F(SpecialLun, KindsByTheLowestPrivateBit) {
  EXPECT_TRUE(IsSupportSpecialLun());
  EXPECT_EQ(SpecialLunKind(0), 0);
  EXPECT_EQ(SpecialLunKind(kHintMaskSnapPoolLun), 1);
  EXPECT_EQ(SpecialLunKind(kHintMaskMasterVolume), 2);
  EXPECT_EQ(SpecialLunKind(kHintMaskSnapshot), 3);
  EXPECT_EQ(SpecialLunKind(kHintMaskSnapshot | kHintMaskMasterVolume | kHintMaskSnapPoolLun), 1);
  EXPECT_EQ(SpecialLunKind(kHintMaskSnapshot | kHintMaskMasterVolume), 2);
  // The dummy and level bits are no special kind.
  EXPECT_EQ(SpecialLunKind(kHintMaskDummyLun | kHintMaskRaid5 | kHintMaskHotSpare), 0);
  EXPECT_TRUE(IsSpecialLun(kHintMaskSnapshot));
  EXPECT_FALSE(IsSpecialLun(kHintMaskDummyLun));
}

TEST_F(SpecialLun, DisabledByTheRegistryValue) {
  SetDisabled("dword:00000001");
  EXPECT_FALSE(IsSupportSpecialLun());
  EXPECT_EQ(SpecialLunKind(kHintMaskSnapPoolLun), 0);
  EXPECT_FALSE(IsSpecialLun(kHintMaskSnapshot));
  // Read again on every call.
  SetDisabled("dword:00000000");
  EXPECT_EQ(SpecialLunKind(kHintMaskSnapPoolLun), 1);
}

TEST_F(SpecialLun, AValueOfTheWrongTypeCountsAsUnreadable) {
  SetDisabled("yes");
  EXPECT_TRUE(IsSupportSpecialLun());
}

}  // namespace
