// The words of vdsctl's multipath commands.
#include <gtest/gtest.h>

#include "tools/vdsctl/multipath_commands.h"

using namespace vdsctl;

TEST(MultipathWords, PoliciesByNameOrNumber) {
  EXPECT_EQ(ParsePolicy("roundrobin"), VDS_LBP_ROUND_ROBIN);
  EXPECT_EQ(ParsePolicy("weighted"), VDS_LBP_WEIGHTED_PATHS);
  EXPECT_EQ(ParsePolicy("4"), VDS_LBP_DYN_LEAST_QUEUE_DEPTH);
  EXPECT_EQ(ParsePolicy("9"), static_cast<VDS_LOADBALANCE_POLICY_ENUM>(9));  // the provider says no
  EXPECT_FALSE(ParsePolicy("-1"));
  EXPECT_FALSE(ParsePolicy("round robin"));
  EXPECT_EQ(PolicyName(VDS_LBP_FAILOVER), "failover");
  EXPECT_EQ(ParsePathStatus("standby"), VDS_MPS_STANDBY);
  EXPECT_FALSE(ParsePathStatus("offline"));
}

TEST(MultipathWords, WwnsWithOrWithoutColons) {
  VDS_WWN wwn{};
  ASSERT_TRUE(ParseWwn("21:00:02:8c:44:10:00:04", &wwn));
  EXPECT_EQ(wwn.rguchWwn[0], 0x21);
  EXPECT_EQ(wwn.rguchWwn[7], 0x04);
  ASSERT_TRUE(ParseWwn("2100028C44100005", &wwn));
  EXPECT_EQ(wwn.rguchWwn[7], 0x05);
  EXPECT_FALSE(ParseWwn("2100028c4410000", &wwn));
  EXPECT_FALSE(ParseWwn("2100028c441000zz", &wwn));
  EXPECT_FALSE(ParseWwn("-100028c44100005", &wwn));
}

TEST(MultipathWords, PrimaryAndWeightLists) {
  PolicyRequest request;
  std::string problem;
  ASSERT_TRUE(ParsePolicyWords({"primary=0x77000001,5", "weight=5:10,0x10:3"}, &request, &problem))
      << problem;
  EXPECT_EQ(request.primary, (std::vector<uint64_t>{0x77000001, 5}));
  ASSERT_EQ(request.weights.size(), 2u);
  EXPECT_EQ(request.weights[1], (std::pair<uint64_t, ULONG>{16, 3}));
  for (const char* bad : {"primary=", "weight=5", "weight=5:99999999999", "speed=3", "primary=x"}) {
    PolicyRequest ignored;
    EXPECT_FALSE(ParsePolicyWords({bad}, &ignored, &problem)) << bad;
    EXPECT_FALSE(problem.empty());
  }
}
