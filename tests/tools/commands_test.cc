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
  ASSERT_EQ(
      Capture(true, [](Commands& c) { return c.Detail(Kind::kDrive, 1, ObjectRef::Index(0)); }),
      kExitOk);
  const Json document = Json::parse(out_.str());
  EXPECT_EQ(document["drive"]["id"], GuidToString(vdsctl_test::TestId(3, vdsctl_test::kDriveTag)));
  EXPECT_EQ(document["drive"]["extents"].size(), 2u);

  EXPECT_EQ(
      Capture(false, [](Commands& c) { return c.Detail(Kind::kLun, 1, ObjectRef::Index(0)); }),
      kExitSyntax);
  EXPECT_EQ(err_.str(), "There is no LUN 0 in subsystem 1 (subsystem 1 has no LUNs).\n");
}

// Objects named by number, name= or serial=, and every way a name can fail, in words.
TEST_F(CommandsTest, ObjectsByNumberNameOrSerial) {
  auto detail = [&](Kind kind, int subsystem, const char* word) {
    return Capture(true,
                   [&](Commands& c) { return c.Detail(kind, subsystem, ParseObjectRef(word)); });
  };
  ASSERT_EQ(detail(Kind::kLun, 0, "name=VDS_LUN_1"), kExitOk);
  EXPECT_EQ(Json::parse(out_.str())["lun"]["index"], 1);
  ASSERT_EQ(detail(Kind::kDrive, 0, "SERIAL=DRV-2"), kExitOk);
  EXPECT_EQ(Json::parse(out_.str())["drive"]["index"], 2);
  ASSERT_EQ(detail(Kind::kPool, 0, "name=Pool 1"), kExitOk);
  EXPECT_EQ(Json::parse(out_.str())["pool"]["index"], 1);

  const std::pair<const char*, const char*> failures[] = {
      {"99", "There is no drive 99 in subsystem 0 (drive index must be a number from 0 to 2)."},
      {"x2",
       "'x2' names no drive: drive index must be a number from 0 to 2, or name=TEXT or "
       "serial=TEXT."},
      {"-1",
       "'-1' names no drive: drive index must be a number from 0 to 2, or name=TEXT or "
       "serial=TEXT."},
      {"name=nothing", "There is no drive with name=nothing in subsystem 0."},
  };
  for (const auto& [word, text] : failures) {
    EXPECT_EQ(detail(Kind::kDrive, 0, word), kExitSyntax) << word;
    EXPECT_EQ(Json::parse(out_.str())["error"]["message"], text);
  }
  EXPECT_EQ(detail(Kind::kPlex, 0, "name=x"), kExitSyntax);
  EXPECT_EQ(Json::parse(out_.str())["error"]["message"],
            "Plexes have no name; give the plex's number.");
}

TEST_F(CommandsTest, SubsystemByNumberIdentificationOrName) {
  int index = -1;
  const std::pair<const char*, int> found[] = {
      {"1", 1}, {"SN-1", 1}, {"Array 0", 0}, {"name=Array 1", 1}};
  for (const auto& [text, expected] : found) {
    ASSERT_EQ(Capture(false, [&](Commands& c) { return c.ResolveSubsystem(text, &index); }),
              kExitOk)
        << text << err_.str();
    EXPECT_EQ(index, expected) << text;
  }
  EXPECT_EQ(Capture(false, [&](Commands& c) { return c.ResolveSubsystem("7", &index); }),
            kExitSyntax);
  EXPECT_EQ(err_.str(), "There is no subsystem 7 (subsystems: 0, 1).\n");
  EXPECT_EQ(Capture(false, [&](Commands& c) { return c.ResolveSubsystem("Array 9", &index); }),
            kExitSyntax);
  EXPECT_EQ(err_.str(), "There is no subsystem with the identification or name 'Array 9'.\n");
}

TEST_F(CommandsTest, ProviderAndFailedCallsInBothModes) {
  ASSERT_EQ(Capture(false, [](Commands& c) { return c.ShowProvider(); }), kExitOk);
  EXPECT_NE(out_.str().find("  Name             : Fake Provider\n"), std::string::npos)
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
