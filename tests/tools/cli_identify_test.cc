// vdsctl's host disks, device identification and LUN identification data against the
// simulator's host view, and the page bytes checked by an outside decoder (sg3-utils' sg_vpd).
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "tests/tools/cli_runner.h"

using nlohmann::json;
using vdsctl_test::CliResult;
using vdsctl_test::CliRunner;

namespace {

class CliIdentify : public ::testing::Test {
 protected:
  void SetUp() override {
    simulate_ = "--simulate=" + std::string(VDSCTL_INVENTORY_DIR) + "/two-subsystems.json";
    view_ = runner_.Dir() + "/view.json";
  }
  CliResult Run(std::vector<std::string> args) {
    args.insert(args.begin(), {simulate_, "--host-view", view_});
    return runner_.Run(args);
  }
  json RunJson(std::vector<std::string> args) {
    args.insert(args.begin(), "--json");
    const CliResult result = Run(args);
    EXPECT_EQ(result.exitCode, 0) << Describe(result);
    return json::parse(result.out, nullptr, false);
  }
  json View() {
    std::ifstream in(view_);
    return json::parse(in, nullptr, false);
  }
  CliRunner runner_;
  std::string simulate_;
  std::string view_;
};

// sg3-utils' hex input: the bytes as blank-separated pairs.
std::string SpacedHex(const std::string& hex) {
  std::string out;
  for (size_t i = 0; i + 1 < hex.size(); i += 2)
    out += hex.substr(i, 2) + (i % 32 == 30 ? "\n" : " ");
  return out + "\n";
}

bool HaveSgVpd() { return std::system("command -v sg_vpd >/dev/null 2>&1") == 0; }

std::string RunCapture(const std::string& command) {
  std::string out;
  if (FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[512];
    while (size_t n = fread(buffer, 1, sizeof(buffer), pipe)) out.append(buffer, n);
    if (pclose(pipe) != 0) out += "\n(exit status not zero)";
  }
  return out;
}

}  // namespace

TEST_F(CliIdentify, ListDisksFindsEveryMappedLunAndNothingElse) {
  // Each run starts its own simulator and provider, so LUNs are compared by their numbers.
  const json luns = RunJson({"list", "luns"});
  std::set<std::pair<int, int>> all;  // (subsystem, index)
  for (const json& lun : luns["luns"]) {
    all.insert({lun["subsystem"].get<int>(), lun["index"].get<int>()});
  }
  ASSERT_EQ(all.size(), 3u);  // all three are mapped to this host

  const json disks = RunJson({"list", "disks"});
  ASSERT_EQ(disks["disks"].size(), 4u);
  std::set<std::pair<int, int>> found;
  for (const json& disk : disks["disks"]) {
    SCOPED_TRACE(disk.dump());
    ASSERT_TRUE(disk["address"].is_array());
    if (disk["vendor"] == "ATA") {
      EXPECT_TRUE(disk["lun"].is_null());
      EXPECT_TRUE(disk["lunIndex"].is_null());
      continue;
    }
    EXPECT_EQ(disk["vendor"], "VELA");
    EXPECT_EQ(disk["product"], "TG-2024");
    ASSERT_TRUE(disk["lun"].is_string());
    ASSERT_TRUE(disk["lunIndex"].is_number_integer());
    const std::pair<int, int> lun{disk["subsystem"].get<int>(), disk["lunIndex"].get<int>()};
    EXPECT_TRUE(found.insert(lun).second) << "two disks name the same LUN";
  }
  EXPECT_EQ(found, all);

  const CliResult words = Run({"list", "disks"});
  ASSERT_EQ(words.exitCode, 0) << Describe(words);
  EXPECT_NE(words.out.find("Path"), std::string::npos) << Describe(words);
  EXPECT_NE(words.out.find("SIM HOST BOOT"), std::string::npos) << Describe(words);
}

TEST_F(CliIdentify, IdentifyDeviceSaysWhichLunOrThatItIsNotOurs) {
  const json ours = RunJson({"identify", "device", "\\\\.\\PhysicalDrive1"});
  EXPECT_TRUE(ours["lun"].is_string()) << ours;
  EXPECT_EQ(ours["lunIndex"], 0);

  CliResult result = Run({"--json", "identify", "device", "\\\\.\\PhysicalDrive0"});
  EXPECT_EQ(result.exitCode, 1) << Describe(result);
  const json error = json::parse(result.out)["error"];
  EXPECT_EQ(error["name"], "VDS_E_OBJECT_NOT_FOUND") << result.out;
  EXPECT_NE(error["call"].get<std::string>().find("QueryIfCreatedLun"), std::string::npos);

  result = Run({"identify", "device", "/dev/no-such-disk"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.err.find("can't be opened"), std::string::npos) << Describe(result);
  EXPECT_EQ(Run({"identify", "disk", "x"}).exitCode, 2);
  EXPECT_EQ(Run({"list", "disks", "--subsystem", "0"}).exitCode, 2);
  EXPECT_EQ(Run({"list", "disks", "extra"}).exitCode, 2);
}

TEST_F(CliIdentify, DetailLunCarriesItsIdentificationData) {
  const json lun = RunJson({"detail", "lun", "0"})["lun"];
  const json info = lun["identification"];
  ASSERT_TRUE(info.is_object()) << lun;
  EXPECT_EQ(info["m_version"], 1);
  EXPECT_EQ(info["m_szVendorId"], "VELA");
  EXPECT_EQ(info["m_szProductRevision"], "TS25");
  ASSERT_EQ(info["m_deviceIdDescriptor"]["m_rgIdentifiers"].size(), 4u);
  const json naa = info["m_deviceIdDescriptor"]["m_rgIdentifiers"][0];
  EXPECT_EQ(naa["type"], 3);
  EXPECT_EQ(naa["codeSet"], 1);
  EXPECT_EQ(naa["hex"].get<std::string>().size(), 32u);
  // The disk that list disks names for this LUN has the same serial.
  const json disks = RunJson({"list", "disks"});
  for (const json& disk : disks["disks"]) {
    if (disk["lun"] == lun["id"]) {
      EXPECT_EQ(disk["serial"], info["m_szSerialNumber"]);
    }
  }
  const CliResult words = Run({"detail", "lun", "0"});
  ASSERT_EQ(words.exitCode, 0) << Describe(words);
  EXPECT_NE(words.out.find("Identification:"), std::string::npos) << Describe(words);
  EXPECT_NE(words.out.find(naa["hex"].get<std::string>()), std::string::npos) << Describe(words);
}

TEST_F(CliIdentify, SgVpdDecodesThePagesAndTheIdentifierCleanly) {
  if (!HaveSgVpd()) GTEST_SKIP() << "sg3-utils' sg_vpd is not installed";
  const json info = RunJson({"detail", "lun", "0"})["lun"]["identification"];
  const std::string naa = info["m_deviceIdDescriptor"]["m_rgIdentifiers"][0]["hex"];
  const std::string serial = info["m_szSerialNumber"];
  json device;
  const json view = View();
  for (const json& candidate : view["devices"]) {
    if (candidate["path"] == "\\\\.\\PhysicalDrive1") device = candidate;
  }
  ASSERT_TRUE(device.is_object());

  const std::string page83 = runner_.WriteFile("p83.hex", SpacedHex(device["vpd"]["83"]));
  std::string out = RunCapture("sg_vpd --inhex=" + page83 + " 2>&1");
  EXPECT_NE(out.find("Device Identification VPD page"), std::string::npos) << out;
  EXPECT_NE(out.find("designator type: NAA,  code set: Binary\n      0x" + naa), std::string::npos)
      << out;
  EXPECT_NE(out.find("vendor id: VELA"), std::string::npos) << out;
  EXPECT_EQ(out.find("exit status"), std::string::npos) << out;

  const std::string page80 = runner_.WriteFile("p80.hex", SpacedHex(device["vpd"]["80"]));
  out = RunCapture("sg_vpd --inhex=" + page80 + " 2>&1");
  EXPECT_NE(out.find("Unit serial number: " + serial), std::string::npos) << out;

  // The identifier as GetIdentificationData forms it, put back into a page of its own.
  char header[32];
  std::snprintf(header, sizeof(header), "0083%04x0103%04x", 4 + 16, 16);
  const std::string own = runner_.WriteFile("own.hex", SpacedHex(header + naa));
  out = RunCapture("sg_vpd --inhex=" + own + " 2>&1");
  EXPECT_NE(out.find("0x" + naa), std::string::npos) << out;
  EXPECT_EQ(out.find("exit status"), std::string::npos) << out;
}
