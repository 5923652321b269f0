// Setting a policy through DsmSetLoadBalancePolicyALUA: what each path is sent, as the journal
// of the host view shows it; and the primary flag read back.
#include "multipath/lb_policy.h"

#include <gtest/gtest.h>

#include "multipath/vds_wmi.h"
#include "tests/multipath/host_view_support.h"

using nlohmann::json;

namespace {

class LbPolicyTest : public ::testing::Test {
 protected:
  // One disk, serial "SN1", paths in the group states given.
  void Load(const std::vector<uint32_t>& states, bool withOperations = true) {
    TestDisk disk{"MPIO\\Disk&Ven_V\\1&0&1_0", "MPIO Disk1", "SN1", 2, {}};
    for (size_t i = 0; i < states.size(); ++i) {
      auto [primary, optimized] = states[i] == 0 || states[i] == 0x10 ? std::pair(1u, 1u)
                                  : states[i] == 1                    ? std::pair(1u, 0u)
                                                                      : std::pair(0u, 1u);
      disk.paths.push_back({100 + i, 3, 0, states[i], primary, optimized, 0, 0});
    }
    json view = MpioView({disk});
    if (!withOperations) view["wmi"]["ROOT\\WMI"]["DSM_LB_Operations"] = json::array();
    view_.Write(view);
    ASSERT_TRUE(VdsWmi::Connect());
    ASSERT_EQ(VdsWmi::WmiGetMpioDiskInfo(disks_), 0);
    ASSERT_EQ(VdsWmi::WmiGetMpioDsmPathV2(v2_), 0);
    VdsWmi::Disconnect();
  }

  int Set(VDS_LOADBALANCE_POLICY_ENUM policy, std::vector<VDS_PATH_POLICY> input, bool isULP,
          bool stateOption) {
    return WmiSetLoadBalancePolicy_V2::DSM_LB_Operations(disks_, "SN1", v2_, policy, input.data(),
                                                         static_cast<LONG>(input.size()), isULP,
                                                         stateOption);
  }

  static std::vector<VDS_PATH_POLICY> Input(size_t count, int primaryIndex = -1) {
    std::vector<VDS_PATH_POLICY> input(count);
    for (size_t i = 0; i < count; ++i) {
      input[i].pathId.ullPathId = 100 + i;
      input[i].bPrimaryPath = static_cast<int>(i) == primaryIndex;
    }
    return input;
  }

  // (primary, optimized, preferred) of each path of the last call.
  std::vector<std::tuple<int, int, int>> Sent() {
    std::vector<std::tuple<int, int, int>> flags;
    const std::vector<json> calls = view_.Calls();
    if (calls.empty()) return flags;
    for (const json& path : calls.back()["in"]["LoadBalancePolicy"]["DSM_Paths"]) {
      flags.emplace_back(path["PrimaryPath"], path["OptimizedPath"], path["PreferredPath"]);
    }
    return flags;
  }

  HostViewFile view_;
  std::vector<MpioDiskInfo> disks_;
  std::vector<MpioDsmPathV2List> v2_;
};

using Flags = std::vector<std::tuple<int, int, int>>;

}  // namespace

TEST_F(LbPolicyTest, RoundRobinTakesTheFlagsFromTheGroupState) {
  Load({0, 2, 0x10});
  ASSERT_EQ(Set(VDS_LBP_ROUND_ROBIN, Input(3), false, false), 0);
  EXPECT_EQ(Sent(), (Flags{{1, 1, 0}, {0, 1, 0}, {1, 1, 0}}));
  const std::vector<json> calls = view_.Calls();
  EXPECT_EQ(calls.back()["in"]["LoadBalancePolicy"]["DSM_Paths"][2]["TargetPortGroup_State"], 0x10);
}

TEST_F(LbPolicyTest, FailoverWithoutTheStateOptionKeepsTheFlagsAndSetsThePreferredPath) {
  Load({0, 1, 2});
  ASSERT_EQ(Set(VDS_LBP_FAILOVER, Input(3), false, false), 0);
  EXPECT_EQ(Sent(), (Flags{{1, 1, 0}, {1, 0, 0}, {0, 1, 0}}));
  ASSERT_EQ(Set(VDS_LBP_FAILOVER, Input(3, 1), false, false), 0);
  EXPECT_EQ(Sent(), (Flags{{1, 1, 0}, {1, 0, 1}, {0, 1, 0}}));
}

TEST_F(LbPolicyTest, FailoverWithTheStateOptionKeepsOneOptimizedPath) {
  Load({0, 0, 0x10});
  ASSERT_EQ(Set(VDS_LBP_FAILOVER, Input(3), false, true), 0);
  EXPECT_EQ(Sent(), (Flags{{1, 1, 0}, {0, 1, 0}, {0, 1, 0}}));
  ASSERT_EQ(Set(VDS_LBP_FAILOVER, Input(3), true, true), 0);  // ULP keeps them primary
  EXPECT_EQ(Sent(), (Flags{{1, 1, 0}, {1, 0, 0}, {1, 0, 0}}));
  // A primary given: that one path is preferred and optimized, the others primary as asked.
  ASSERT_EQ(Set(VDS_LBP_FAILOVER, Input(3, 2), false, true), 0);
  EXPECT_EQ(Sent(), (Flags{{0, 1, 0}, {0, 1, 0}, {1, 1, 1}}));
}

TEST_F(LbPolicyTest, NoOperationsInstanceSendsNothing) {
  Load({0, 1}, false);
  EXPECT_EQ(Set(VDS_LBP_ROUND_ROBIN, Input(2), false, false), 0);
  EXPECT_TRUE(view_.Calls().empty());
  EXPECT_EQ(WmiSetLoadBalancePolicy_V2::DSM_LB_Operations(
                disks_, "NOSUCH", v2_, VDS_LBP_ROUND_ROBIN, nullptr, 0, false, false),
            1);
}

TEST_F(LbPolicyTest, FailoverReadsThePreferredPathAsPrimary) {
  Load({0, 1});
  DsmLoadPolicy record;
  record.instanceName = v2_[0].instanceName;
  record.DSMPathCount = 2;
  EXPECT_TRUE(CalcPrimaryByPathId(record, 100, v2_, true, false));
  EXPECT_TRUE(CalcPrimaryByPathId(record, 101, v2_, true, false));  // round robin: primary
  v2_[0].LoadBalancePolicy = 1;
  EXPECT_FALSE(CalcPrimaryByPathId(record, 101, v2_, true, false));  // failover: not optimized
  EXPECT_TRUE(CalcPrimaryByPathId(record, 101, v2_, true, true));    // unless the state option
  v2_[0].paths[1].PreferredPath = 1;
  EXPECT_FALSE(CalcPrimaryByPathId(record, 100, v2_, true, false));
  EXPECT_TRUE(CalcPrimaryByPathId(record, 101, v2_, true, false));
  EXPECT_FALSE(CalcPrimaryByPathId(record, 999, v2_, true, false));
}

TEST(DsmObjectPath, DoublesTheFirstAndTheLastBackslash) {
  EXPECT_EQ(DsmObjectPath(u"C", u"a\\b\\c\\d"), u"C.InstanceName=\"a\\\\b\\c\\\\d\"");
  EXPECT_EQ(DsmObjectPath(u"C", u"a\\b"), u"C.InstanceName=\"a\\\\b\"");
  EXPECT_EQ(DsmObjectPath(u"C", u"ab"), u"C.InstanceName=\"ab\"");
}

// Hosts before the ALUA methods: DsmSetLoadBalancePolicy with the weight and primary flag of each
// path, the input's where it names the path, the host's own otherwise.
TEST_F(LbPolicyTest, TheOlderSetterSendsWeightsAndPrimariesFromTheInputOrTheHost) {
  Load({0, 1, 2});
  std::vector<VDS_PATH_POLICY> input = Input(2, 1);
  input[0].ulWeight = 7;
  input[1].ulWeight = 9;
  ASSERT_EQ(WmiSetLoadBalancePolicy(disks_, "SN1", VDS_LBP_WEIGHTED_PATHS, input.data(),
                                    static_cast<LONG>(input.size())),
            0);
  const std::vector<json> calls = view_.Calls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0]["method"], "DsmSetLoadBalancePolicy");
  const json& policy = calls[0]["in"]["LoadBalancePolicy"];
  EXPECT_EQ(policy["Version"], 1);
  EXPECT_EQ(policy["LoadBalancePolicy"], VDS_LBP_WEIGHTED_PATHS);
  ASSERT_EQ(policy["DSM_Paths"].size(), 3u);
  std::vector<std::pair<int, int>> sent;  // (weight, primary)
  for (const json& path : policy["DSM_Paths"])
    sent.emplace_back(path["PathWeight"], path["PrimaryPath"]);
  EXPECT_EQ(sent, (std::vector<std::pair<int, int>>{{7, 0}, {9, 1}, {0, 0}}));

  EXPECT_EQ(WmiSetLoadBalancePolicy(disks_, "NOSUCH", VDS_LBP_ROUND_ROBIN, nullptr, 0), 1);
  EXPECT_EQ(view_.Calls().size(), 1u);
}
