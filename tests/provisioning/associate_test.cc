#include "provisioning/associate.h"

#include <gtest/gtest.h>

#include <memory>

#include "platform/vds.h"

namespace {

TEST(Associate, MappedViews) {
  auto view = std::make_unique<partitionView>();
  EXPECT_FALSE(PartitionViewMapped(*view));
  view->lun = 5;
  EXPECT_TRUE(PartitionViewMapped(*view));
  view->lun = 65535;
  EXPECT_FALSE(PartitionViewMapped(*view));
  view->lun = 0;
  view->reserved_12[2] = 0xC0;  // the port field of a mapping for all hosts
  EXPECT_TRUE(PartitionViewMapped(*view));
  view->reserved_12[2] = 0;
  view->numElements = 1;
  EXPECT_TRUE(PartitionViewMapped(*view));
}

TEST(Associate, PartitionsOfAMappedVdisk) {
  EXPECT_EQ(CheckVdiskPartitionsForAssociation(2, true, false), VDS_E_NOT_SUPPORTED);
  EXPECT_EQ(CheckVdiskPartitionsForAssociation(2, true, true), S_OK);
  EXPECT_EQ(CheckVdiskPartitionsForAssociation(1, true, false), S_OK);
  EXPECT_EQ(CheckVdiskPartitionsForAssociation(2, false, false), S_OK);
}

TEST(Associate, OwnerKeptOrToggled) {
  // Owner A (1): ports of A keep it, ports of B or none toggle it.
  AssociateDecision d = DecideAssociation(true, {{1, 0}, {1, 1}}, 1);
  EXPECT_EQ(d.hr, S_OK);
  EXPECT_FALSE(d.toggleOwner);
  EXPECT_EQ(d.requested, "A");
  EXPECT_EQ(d.specifiedPorts, ",A0,A1");
  d = DecideAssociation(true, {{0, 1}}, 1);
  EXPECT_TRUE(d.toggleOwner);
  EXPECT_EQ(d.requested, "B");
  d = DecideAssociation(true, {}, 1);
  EXPECT_TRUE(d.toggleOwner);
  EXPECT_EQ(d.requested, "none");
  d = DecideAssociation(true, {}, 0);
  EXPECT_TRUE(d.toggleOwner);
  d = DecideAssociation(true, {{0, 0}}, 0);
  EXPECT_FALSE(d.toggleOwner);
}

TEST(Associate, Refusals) {
  AssociateDecision d = DecideAssociation(true, {{1, 0}, {0, 0}}, 1);
  EXPECT_EQ(d.hr, VDS_E_NOT_SUPPORTED);
  EXPECT_TRUE(d.bothSides);
  EXPECT_FALSE(d.toggleOwner);
  d = DecideAssociation(false, {{1, 0}}, 1);
  EXPECT_EQ(d.hr, VDS_E_NOT_SUPPORTED);
  EXPECT_FALSE(d.toggleOwner);
}

}  // namespace
