// Self-registration: the class registration under HKEY_CLASSES_ROOT and the entry in the disk
// service's list, with the module's log lines.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>

#include "platform/registry.h"
#include "platform/strings.h"
#include "platform/winerror.h"
#include "provider/module.h"
#include "provider/provider.h"
#include "tests/diag/debug_log_fixture.h"

namespace {

constexpr char kClassKey[] = "hkey_classes_root\\clsid\\{5b7c2a10-6e4d-4f3a-9c21-7d8e10a4b6f3}";
constexpr char kAppIdKey[] = "hkey_classes_root\\appid\\{5b7c2a10-6e4d-4f3a-9c21-7d8e10a4b6f3}";
constexpr char kListKey[] =
    "hkey_local_machine\\system\\currentcontrolset\\services\\vds\\hardwareproviders\\"
    "{6d3e9a41-0c7b-4e52-a1f6-2b9c7e5d4a10}";

class Registration : public DebugLogTest {
 protected:
  void SetUp() override {
    DebugLogTest::SetUp();
    ResetProviderNameAndVersionForTesting();
  }

  void Configure(const std::string& extra) {
    DebugLogTest::Configure(FileNameValue() + "\"DebugLevel\"=dword:00000005\n", extra);
  }

  RegistryTree Tree() const {
    RegistryTree tree;
    std::vector<std::string> errors;
    EXPECT_TRUE(ParseRegistryText(m_dir.Read("registry.reg"), &tree, &errors));
    return tree;
  }

  static std::string Text(RegistryTree& tree, const std::string& key, const std::string& name) {
    auto keyIt = tree.find(key);
    if (keyIt == tree.end()) return "<no key>";
    auto valueIt = keyIt->second.values.find(name);
    if (valueIt == keyIt->second.values.end()) return "<no value>";
    std::u16string wide;
    const std::vector<uint8_t>& data = valueIt->second.data;
    for (size_t i = 0; i + 1 < data.size(); i += 2) {
      char16_t c = static_cast<char16_t>(data[i] | (data[i + 1] << 8));
      if (c == 0) break;
      wide += c;
    }
    return Utf16ToUtf8(wide);
  }

  bool Logged(const std::string& text) const {
    std::vector<std::string> lines = LogLines();
    // Each message follows its "[pid/tid] " prefix.
    const std::string tail = "] " + text;
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
      return line.size() >= tail.size() &&
             line.compare(line.size() - tail.size(), tail.size(), tail) == 0;
    });
  }
};

TEST_F(Registration, RegisterWritesTheScriptAndTheListAndUnregisterTakesThemAway) {
  Configure(
      "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\VelaVDSProvider\\Parameters]\n"
      "\"Name\"=\"Site Provider\"\n\"Version\"=\"9.9\"\n"
      "[HKEY_CLASSES_ROOT\\CLSID\\{00000000-0000-0000-0000-000000000001}]\n@=\"Other class\"\n");
  ASSERT_EQ(DllRegisterServer(), S_OK);
  RegistryTree tree = Tree();
  const std::string clsid = "{5B7C2A10-6E4D-4F3A-9C21-7D8E10A4B6F3}";
  EXPECT_EQ(Text(tree, "hkey_classes_root\\velahwprv.velahwprovider.1", ""),
            "VelaHwProvider Class");
  EXPECT_EQ(Text(tree, "hkey_classes_root\\velahwprv.velahwprovider.1\\clsid", ""), clsid);
  EXPECT_EQ(Text(tree, "hkey_classes_root\\velahwprv.velahwprovider", ""), "VelaHwProvider Class");
  EXPECT_EQ(Text(tree, "hkey_classes_root\\velahwprv.velahwprovider\\clsid", ""), clsid);
  EXPECT_EQ(Text(tree, "hkey_classes_root\\velahwprv.velahwprovider\\curver", ""),
            "VelaHwPrv.VelaHwProvider.1");
  EXPECT_EQ(Text(tree, kClassKey, ""), "VelaHwPovider Class");
  EXPECT_EQ(Text(tree, kClassKey, "appid"), clsid);
  EXPECT_EQ(Text(tree, std::string(kClassKey) + "\\progid", ""), "VelaHwPrv.VelaHwProvider.1");
  EXPECT_EQ(Text(tree, std::string(kClassKey) + "\\versionindependentprogid", ""), "VelaHwPovider");
  std::string server = Text(tree, std::string(kClassKey) + "\\inprocserver32", "");
  EXPECT_EQ(server.front(), '/');  // the full path of the file holding the code
  EXPECT_EQ(Text(tree, std::string(kClassKey) + "\\inprocserver32", "threadingmodel"), "Free");
  EXPECT_EQ(Text(tree, kAppIdKey, ""), "VelaHwPovider Class");
  EXPECT_EQ(Text(tree, kAppIdKey, "dllsurrogate"), "");
  EXPECT_EQ(Text(tree, kListKey, ""), "Site Provider");
  EXPECT_EQ(Text(tree, kListKey, "version"), "9.9");
  EXPECT_EQ(Text(tree, kListKey, "clsid"), clsid);
  EXPECT_EQ(Text(tree, kListKey, "versionid"), "{A94F2C07-3B18-4D6E-8E25-71C0D6F3B982}");
  EXPECT_TRUE(Logged("DllRegisterServer()"));
  EXPECT_TRUE(Logged("DllRegisterServer() out"));

  // A second registration: the service refuses, the class registration is written again.
  EXPECT_EQ(DllRegisterServer(), S_OK);
  EXPECT_TRUE(Logged("OOP!! DllRegisterServer(): pVdsAdmin->RegisterProvider is failed!"));

  ASSERT_EQ(DllUnregisterServer(), S_OK);
  tree = Tree();
  EXPECT_EQ(tree.count(kClassKey), 0u);
  EXPECT_EQ(tree.count(kAppIdKey), 0u);
  EXPECT_EQ(tree.count(kListKey), 0u);
  EXPECT_EQ(tree.count("hkey_classes_root\\velahwprv.velahwprovider.1"), 1u);
  EXPECT_EQ(Text(tree, "hkey_classes_root\\clsid\\{00000000-0000-0000-0000-000000000001}", ""),
            "Other class");
  EXPECT_NE(Text(tree,
                 "hkey_local_machine\\system\\currentcontrolset\\services\\velavdsprovider\\"
                 "debug",
                 "filename"),
            "<no value>");

  // Nothing is registered any more: the service refuses and nothing else is touched.
  EXPECT_EQ(DllUnregisterServer(), VDS_E_OBJECT_NOT_FOUND);
  EXPECT_TRUE(Logged("OOP!! DllUnregisterServer(): pVdsAdmin->UnregisterProvider is failed!"));
}

TEST_F(Registration, WithoutTheServiceTheClassIsStillRegisteredAndNotRemoved) {
  Configure(
      "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\vds]\n"
      "\"Start\"=dword:00000004\n");
  EXPECT_EQ(DllRegisterServer(), S_OK);
  EXPECT_TRUE(Logged("velahwprv::DllRegisterServer GetProviderNameAndVersion failed."));
  EXPECT_TRUE(Logged("OOP!! DllRegisterServer(): CoCreateInstance () is failed!"));
  RegistryTree tree = Tree();
  EXPECT_EQ(tree.count(kClassKey), 1u);
  EXPECT_EQ(tree.count(kListKey), 0u);

  EXPECT_EQ(DllUnregisterServer(), HRESULT_FROM_WIN32(ERROR_SERVICE_DISABLED));
  EXPECT_TRUE(Logged("OOP!! DllUnregisterServer(): CoCreateInstance is failed!"));
  EXPECT_EQ(Tree().count(kClassKey), 1u);
}

TEST_F(Registration, ARegistryThatCannotBeWrittenFailsTheRegistration) {
  Configure("");
  std::string text = m_dir.Read("registry.reg");
  ASSERT_EQ(chmod(m_dir.File("registry.reg").c_str(), 0444), 0);
  EXPECT_EQ(DllRegisterServer(), HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
  EXPECT_TRUE(Logged("OOP!! DllRegisterServer(): CoCreateInstance () is failed!"));
  EXPECT_TRUE(Logged("OOP!! DllRegisterServer(): _Module.RegisterServer is failed!"));
  EXPECT_EQ(m_dir.Read("registry.reg"), text);
}

}  // namespace
