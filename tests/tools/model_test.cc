#include "tools/vdsctl/model.h"

#include <gtest/gtest.h>

#include "tests/tools/fake_provider.h"

namespace vdsctl {
namespace {

using vdsctl_test::TestId;

class ModelTest : public ::testing::Test {
 protected:
  ModelTest() : model_(provider_) {}
  ~ModelTest() override { provider_->Release(); }

  vdsctl_test::FakeSettings settings_;
  IVdsProvider* provider_ = vdsctl_test::NewFakeProvider(&settings_);
  Model model_;
};

TEST_F(ModelTest, NumbersObjectsWithinTheirSubsystem) {
  std::vector<DriveRow> drives;
  ASSERT_FALSE(model_.Drives(std::nullopt, &drives));
  ASSERT_EQ(drives.size(), 4u);
  EXPECT_EQ(drives[2].index, 2);
  EXPECT_EQ(drives[2].subsystem, 0);
  EXPECT_EQ(drives[3].index, 0);
  EXPECT_EQ(drives[3].subsystem, 1);
  EXPECT_EQ(drives[3].prop.id, TestId(3, vdsctl_test::kDriveTag));
  EXPECT_EQ(drives[0].pwszFriendlyName, "Drive serial 0");
  EXPECT_EQ(drives[0].pwszIdentification, "DRV-0");
  EXPECT_EQ(drives[0].prop.pwszFriendlyName, nullptr);
  ASSERT_EQ(drives[0].extents.size(), 2u);
  EXPECT_EQ(drives[0].extents[1].ullSize, 70ull << 30);

  std::vector<DriveRow> second;
  ASSERT_FALSE(model_.Drives(1, &second));
  ASSERT_EQ(second.size(), 1u);
  EXPECT_EQ(second[0].subsystem, 1);
}

// Ports and plexes come in the order of fresh ids; they are numbered by what stays.
TEST_F(ModelTest, PortsAndPlexesAreNumberedByTheirIdentification) {
  std::vector<PortRow> ports;
  ASSERT_FALSE(model_.Ports(0, &ports));
  ASSERT_EQ(ports.size(), 4u);
  EXPECT_EQ(ports[0].pwszFriendlyName, "Port 1");
  EXPECT_EQ(ports[3].index, 3);
  EXPECT_EQ(ports[3].controller, 1);
  EXPECT_EQ(ports[3].pwszFriendlyName, "Port 10");

  std::vector<PlexRow> plexes;
  ASSERT_FALSE(model_.Plexes(std::nullopt, &plexes));
  ASSERT_EQ(plexes.size(), 3u);
  EXPECT_EQ(plexes[2].index, 2);
  EXPECT_EQ(plexes[2].lun, 1);
  // The plexes of LUN 1 by the identification of their drives.
  EXPECT_EQ(plexes[1].prop.id, TestId(11, vdsctl_test::kPlexTag));
  EXPECT_EQ(plexes[2].prop.id, TestId(10, vdsctl_test::kPlexTag));

  std::vector<LunRow> luns;
  ASSERT_FALSE(model_.Luns(std::nullopt, &luns));
  ASSERT_EQ(luns.size(), 2u);
  EXPECT_EQ(luns[1].plexes, (std::vector<GUID>{TestId(11, vdsctl_test::kPlexTag),
                                               TestId(10, vdsctl_test::kPlexTag)}));
  EXPECT_EQ(luns[1].pwszUnmaskingList, "*");
}

// Provider, subsystems and controllers are read as drives are (commands_test shows them).
TEST_F(ModelTest, ReadsPoolsWithTheirCustomAttributes) {
  std::vector<PoolRow> pools;
  ASSERT_FALSE(model_.Pools(&pools));
  ASSERT_EQ(pools.size(), 2u);
  EXPECT_EQ(pools[1].pwszDescription, "Description 1");
  EXPECT_EQ(pools[1].pwszIntendedUsage, "general");
  EXPECT_EQ(pools[1].attributes.pwszIntendedUsage, nullptr);
  ASSERT_EQ(pools[1].customAttributes.size(), 1u);
  EXPECT_EQ(pools[1].customAttributes[0].first, "Owner");
  EXPECT_EQ(pools[1].customAttributes[0].second, std::nullopt);
}

TEST_F(ModelTest, AFailedCallNamesTheMethod) {
  settings_.poolsResult = VDS_E_NOT_SUPPORTED;
  std::vector<PoolRow> pools;
  CallResult error = model_.Pools(&pools);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->hr, VDS_E_NOT_SUPPORTED);
  EXPECT_EQ(error->call, "IVdsHwProviderStoragePools::QueryStoragePools");

  settings_.extentsResult = E_OUTOFMEMORY;
  std::vector<DriveRow> drives;
  error = model_.Drives(std::nullopt, &drives);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->hr, E_OUTOFMEMORY);
  EXPECT_EQ(error->call, "IVdsDrive::QueryExtents");

  settings_.refreshResult = VDS_E_INTERNAL_ERROR;
  error = model_.Refresh();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->call, "IVdsHwProvider::Refresh");
}

TEST_F(ModelTest, ReenumeratesTheDrivesOfOneOrAllSubsystems) {
  ASSERT_FALSE(model_.ReenumerateDrives(1));
  EXPECT_EQ(settings_.reenumerateDriveCalls, 1);
  ASSERT_FALSE(model_.ReenumerateDrives(std::nullopt));
  EXPECT_EQ(settings_.reenumerateDriveCalls, 3);
  EXPECT_FALSE(model_.ReenumerateSubsystems());
}

}  // namespace
}  // namespace vdsctl
