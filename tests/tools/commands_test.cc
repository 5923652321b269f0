#include "tools/vdsctl/commands.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/tools/fake_provider.h"

namespace vdsctl {
namespace {

class CommandsTest : public ::testing::Test {
 protected:
  CommandsTest() { provider_.Attach(vdsctl_test::NewFakeProvider(&settings_)); }

  template <class Run>
  ExitCode Capture(bool json, Run run) {
    out_.str("");
    err_.str("");
    Output output(json, true, out_, err_);
    Model model(provider_.Get());
    Commands commands(&model, &output);
    return run(commands);
  }

  vdsctl_test::FakeSettings settings_;
  ComPtr<IVdsProvider> provider_;
  std::ostringstream out_;
  std::ostringstream err_;
};

TEST_F(CommandsTest, EveryListHasItsJsonMember) {
  const std::pair<Kind, size_t> expected[] = {
      {Kind::kSubsystem, 2}, {Kind::kController, 3}, {Kind::kPort, 5}, {Kind::kDrive, 4},
      {Kind::kLun, 2},       {Kind::kPlex, 3},       {Kind::kPool, 2}};
  for (const auto& [kind, count] : expected) {
    ASSERT_EQ(Capture(true, [&](Commands& c) { return c.List(kind, std::nullopt); }), kExitOk);
    const Json document = Json::parse(out_.str());
    ASSERT_TRUE(document.contains(KindPlural(kind))) << out_.str();
    EXPECT_EQ(document[std::string(KindPlural(kind))].size(), count) << KindPlural(kind);
  }
}

TEST_F(CommandsTest, SubsystemOptionLimitsTheList) {
  ASSERT_EQ(Capture(true, [](Commands& c) { return c.List(Kind::kSubsystem, 1); }), kExitOk);
  const Json document = Json::parse(out_.str());
  ASSERT_EQ(document["subsystems"].size(), 1u);
  EXPECT_EQ(document["subsystems"][0]["index"], 1);

  ASSERT_EQ(Capture(false, [](Commands& c) { return c.List(Kind::kDrive, 1); }), kExitOk);
  EXPECT_EQ(out_.str().find("Subsystem"), std::string::npos) << out_.str();
  EXPECT_EQ(out_.str().find("  Drive ###  Status  Health"), 0u) << out_.str();
}

TEST_F(CommandsTest, DetailFindsTheObjectWithinItsSubsystem) {
  ASSERT_EQ(Capture(true, [](Commands& c) { return c.Detail(Kind::kDrive, 1, 0); }), kExitOk);
  const Json document = Json::parse(out_.str());
  EXPECT_EQ(document["drive"]["id"], GuidToString(vdsctl_test::TestId(3, vdsctl_test::kDriveTag)));
  EXPECT_EQ(document["drive"]["extents"].size(), 2u);

  EXPECT_EQ(Capture(false, [](Commands& c) { return c.Detail(Kind::kLun, 1, 0); }), kExitSyntax);
  EXPECT_EQ(err_.str(), "There is no LUN 0 in subsystem 1.\n");
}

TEST_F(CommandsTest, ProviderAndFailedCallsInBothModes) {
  ASSERT_EQ(Capture(false, [](Commands& c) { return c.ShowProvider(); }), kExitOk);
  EXPECT_NE(out_.str().find("  Name              : Fake Provider\n"), std::string::npos)
      << out_.str();
  ASSERT_EQ(Capture(true, [](Commands& c) { return c.ShowProvider(); }), kExitOk);
  EXPECT_EQ(Json::parse(out_.str())["provider"]["pwszVersion"], "1.0");

  settings_.poolsResult = VDS_E_NOT_SUPPORTED;
  EXPECT_EQ(Capture(true, [](Commands& c) { return c.List(Kind::kPool, std::nullopt); }),
            kExitFatal);
  EXPECT_EQ(Json::parse(out_.str())["error"]["name"], "VDS_E_NOT_SUPPORTED");
  EXPECT_EQ(err_.str(), "");
}

}  // namespace
}  // namespace vdsctl
