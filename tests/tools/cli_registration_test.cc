// vdsctl as the registration tool, and finding the provider through the registry.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/tools/cli_runner.h"

namespace vdsctl_test {
namespace {

using nlohmann::json;

TEST(CliRegistration, RegisterListLoadAndUnregister) {
  CliRunner cli;
  const std::string registry = cli.Dir() + "/registry.reg";
  CliResult result = cli.Run({"--registry", registry, "--json", "providers"});
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  EXPECT_EQ(json::parse(result.out)["providers"].size(), 0u);

  result = cli.Run({"--registry", registry, "register", VDSCTL_PROVIDER_MODULE});
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  EXPECT_NE(result.out.find("DllRegisterServer in "), std::string::npos) << result.out;
  EXPECT_NE(result.out.find(": S_OK (0x00000000)."), std::string::npos) << result.out;

  result = cli.Run({"--registry", registry, "--json", "providers"});
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  json providers = json::parse(result.out)["providers"];
  ASSERT_EQ(providers.size(), 1u);
  EXPECT_EQ(providers[0]["id"], "{6D3E9A41-0C7B-4E52-A1F6-2B9C7E5D4A10}");
  EXPECT_EQ(providers[0]["classId"], "{5B7C2A10-6E4D-4F3A-9C21-7D8E10A4B6F3}");
  EXPECT_EQ(providers[0]["name"], "Tessaro VDS Provider");
  EXPECT_EQ(providers[0]["loads"], true);

  // The registered module serves a run; a name that is not registered is refused.
  result = cli.Run({"--registry", registry, "--simulate", "--provider", "Tessaro VDS Provider",
                    "--json", "list", "controllers"});
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  EXPECT_EQ(json::parse(result.out)["controllers"].size(), 2u);
  result = cli.Run({"--registry", registry, "--simulate", "--provider", "Other", "provider"});
  EXPECT_EQ(result.exitCode, 2) << Describe(result);
  EXPECT_NE(result.err.find("No registered hardware provider is called Other."), std::string::npos);

  // A class registration that points at a file that is gone: listed, does not load.
  result = cli.Run({"--registry", registry, "--json", "unregister", VDSCTL_PROVIDER_MODULE});
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  EXPECT_EQ(json::parse(result.out)["unregister"]["name"], "S_OK");
  result = cli.Run({"--registry", registry, "--json", "unregister", VDSCTL_PROVIDER_MODULE});
  EXPECT_EQ(result.exitCode, 1) << Describe(result);
  EXPECT_EQ(json::parse(result.out)["unregister"]["name"], "VDS_E_OBJECT_NOT_FOUND");
}

TEST(CliRegistration, ModulesThatAreNotProvidersAreRefusedInWords) {
  CliRunner cli;
  const std::string registry = cli.Dir() + "/registry.reg";
  CliResult result = cli.Run({"--registry", registry, "register", cli.Dir() + "/missing.so"});
  EXPECT_EQ(result.exitCode, 4) << Describe(result);
  EXPECT_NE(result.err.find("Cannot load the module"), std::string::npos) << result.err;
  result = cli.Run({"--registry", registry, "register", "libm.so.6"});
  EXPECT_EQ(result.exitCode, 4) << Describe(result);
  EXPECT_NE(result.err.find("is not a provider module: it has no DllRegisterServer."),
            std::string::npos)
      << result.err;
}

}  // namespace
}  // namespace vdsctl_test
