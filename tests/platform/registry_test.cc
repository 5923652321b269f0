#include "platform/registry.h"

#include <gtest/gtest.h>

#include "platform/winerror.h"
#include "tests/platform/temp_dir.h"

namespace {

constexpr char kGood[] =
    "\xEF\xBB\xBFWindows Registry Editor Version 5.00\r\n"
    "\r\n"
    "; a comment\r\n"
    "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\VelaVDSProvider\\Parameters]\r\n"
    "\"Name\"=\"Vela \\\"HW\\\" Provider\"\r\n"
    "\"Path\"=\"C:\\\\Program Files\\\\Vela\\\\\"\r\n"
    "\"Options\"=dword:0004000f\r\n"
    "@=\"default\"\r\n"
    "\"Blob\"=hex:01,02,\\\r\n"
    "  03\r\n";

class Registry : public ::testing::Test {
 protected:
  void TearDown() override { RegistryResetForTesting(); }
  void Use(const std::string& text) { SetRegistryFile(m_dir.Write("registry.reg", text)); }
  TempDir m_dir;
};

HKEY OpenParameters() {
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE,
                          "system\\currentcontrolset\\services\\velavdsprovider\\parameters", 0,
                          KEY_READ, &key),
            ERROR_SUCCESS);
  return key;
}

TEST_F(Registry, ReadsStringsDwordsDefaultAndHexWithoutCase) {
  Use(kGood);
  HKEY key = OpenParameters();
  ASSERT_NE(key, nullptr);

  DWORD type = 0, value = 0, size = sizeof(value);
  ASSERT_EQ(
      RegQueryValueExW(key, u"OPTIONS", nullptr, &type, reinterpret_cast<BYTE*>(&value), &size),
      ERROR_SUCCESS);
  EXPECT_EQ(type, REG_DWORD);
  EXPECT_EQ(value, 0x4000Fu);

  char text[64];
  size = sizeof(text);
  ASSERT_EQ(RegQueryValueExA(key, "name", nullptr, &type, reinterpret_cast<BYTE*>(text), &size),
            ERROR_SUCCESS);
  EXPECT_EQ(type, REG_SZ);
  EXPECT_STREQ(text, "Vela \"HW\" Provider");
  EXPECT_EQ(size, sizeof("Vela \"HW\" Provider"));

  WCHAR wide[64];
  size = sizeof(wide);
  ASSERT_EQ(RegQueryValueExW(key, u"Path", nullptr, &type, reinterpret_cast<BYTE*>(wide), &size),
            ERROR_SUCCESS);
  EXPECT_EQ(std::u16string(wide), u"C:\\Program Files\\Vela\\");
  EXPECT_EQ(size, (std::u16string(wide).size() + 1) * sizeof(WCHAR));

  size = sizeof(text);
  ASSERT_EQ(RegQueryValueExA(key, nullptr, nullptr, &type, reinterpret_cast<BYTE*>(text), &size),
            ERROR_SUCCESS);
  EXPECT_STREQ(text, "default");

  BYTE blob[8];
  size = sizeof(blob);
  ASSERT_EQ(RegQueryValueExA(key, "Blob", nullptr, &type, blob, &size), ERROR_SUCCESS);
  EXPECT_EQ(type, REG_BINARY);
  ASSERT_EQ(size, 3u);
  EXPECT_EQ(blob[2], 3);
  RegCloseKey(key);
}

TEST_F(Registry, SizesAndShortBuffersFollowWindows) {
  Use(kGood);
  HKEY key = OpenParameters();
  DWORD size = 0;
  ASSERT_EQ(RegQueryValueExW(key, u"Name", nullptr, nullptr, nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 19u * sizeof(WCHAR));
  BYTE small[4];
  size = sizeof(small);
  EXPECT_EQ(RegQueryValueExW(key, u"Name", nullptr, nullptr, small, &size), ERROR_MORE_DATA);
  EXPECT_EQ(size, 19u * sizeof(WCHAR));
  EXPECT_EQ(RegQueryValueExW(key, u"Missing", nullptr, nullptr, nullptr, &size),
            ERROR_FILE_NOT_FOUND);
  RegCloseKey(key);
  EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegQueryValueExW(key, u"Name", nullptr, nullptr, nullptr, &size), ERROR_INVALID_HANDLE);
}

TEST_F(Registry, TypedReadRefusesAWrongType) {
  Use(kGood);
  DWORD value = 0, size = sizeof(value);
  EXPECT_EQ(RegGetValueW(HKEY_LOCAL_MACHINE,
                         u"SYSTEM\\CurrentControlSet\\Services\\VelaVDSProvider\\Parameters",
                         u"Name", RRF_RT_REG_DWORD, nullptr, &value, &size),
            ERROR_UNSUPPORTED_TYPE);
  EXPECT_EQ(RegGetValueW(HKEY_LOCAL_MACHINE,
                         u"SYSTEM\\CurrentControlSet\\Services\\VelaVDSProvider\\Parameters",
                         u"Options", RRF_RT_REG_DWORD, nullptr, &value, &size),
            ERROR_SUCCESS);
  EXPECT_EQ(value, 0x4000Fu);
}

TEST_F(Registry, MissingFileIsAnEmptyRegistry) {
  SetRegistryFile(m_dir.File("absent.reg"));
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SYSTEM", 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(key, nullptr);
  EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "", 0, KEY_READ, &key), ERROR_SUCCESS);
  RegCloseKey(key);
}

TEST_F(Registry, FileWithoutHeaderIsRejectedWhole) {
  RegistryTree tree;
  std::vector<std::string> errors;
  EXPECT_FALSE(ParseRegistryText("[HKEY_LOCAL_MACHINE\\A]\n\"x\"=dword:1\n", &tree, &errors));
  EXPECT_TRUE(tree.empty());
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0].rfind("line 1:", 0), 0u);

  Use("REGEDIT4\n[HKEY_LOCAL_MACHINE\\A]\n");
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "A", 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, BadLinesAreSkippedAndNamed) {
  RegistryTree tree;
  std::vector<std::string> errors;
  ASSERT_TRUE(
      ParseRegistryText("Windows Registry Editor Version 5.00\n"
                        "\"orphan\"=dword:1\n"  // 2: outside a key
                        "[HKEY_LOCAL_MACHINE\\K]\n"
                        "\"a\"=dword:123456789\n"     // 4: too long
                        "\"b\"=\"unterminated\n"      // 5
                        "\"c\"=hex:1,zz\n"            // 6
                        "\"d\" dword:1\n"             // 7: no '='
                        "\"e\"=\"bad \\q escape\"\n"  // 8
                        "\"f\"=hex(zz):00\n"          // 9
                        "\"g\"=weird:1\n"             // 10
                        "[HKEY_NOWHERE\\K]\n"         // 11
                        "\"h\"=dword:1\n"             // skipped with 11
                        "[HKEY_LOCAL_MACHINE\\K\n"    // 13
                        "[HKEY_LOCAL_MACHINE\\K]\n"
                        "\"ok\"=dword:00000002\n",
                        &tree, &errors));
  std::vector<std::string> lines;
  for (const std::string& error : errors) lines.push_back(error.substr(0, error.find(':')));
  EXPECT_EQ(lines, (std::vector<std::string>{"line 2", "line 4", "line 5", "line 6", "line 7",
                                             "line 8", "line 9", "line 10", "line 11", "line 13"}));
  ASSERT_EQ(tree.count("hkey_local_machine\\k"), 1u);
  const RegistryKey& key = tree.at("hkey_local_machine\\k");
  EXPECT_EQ(key.values.size(), 1u);
  EXPECT_EQ(key.values.count("ok"), 1u);
}

TEST_F(Registry, ChangesToTheFileAreSeenAtTheNextOpen) {
  Use("Windows Registry Editor Version 5.00\n[HKEY_LOCAL_MACHINE\\K]\n\"v\"=dword:1\n");
  HKEY key = nullptr;
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "K", 0, KEY_READ, &key), ERROR_SUCCESS);
  RegCloseKey(key);
  m_dir.Write("registry.reg",
              "Windows Registry Editor Version 5.00\n[HKEY_LOCAL_MACHINE\\K]\n\"v\"=dword:2\n");
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "K", 0, KEY_READ, &key), ERROR_SUCCESS);
  DWORD value = 0, size = sizeof(value);
  RegQueryValueExA(key, "v", nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size);
  EXPECT_EQ(value, 2u);
  RegCloseKey(key);
}

TEST_F(Registry, OverrideWinsOverTheFileForTheRun) {
  Use(kGood);
  const std::string keyPath =
      "HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\VelaVDSProvider\\Parameters";
  ASSERT_TRUE(RegistryOverride(keyPath, "Options", "dword:00000010"));
  ASSERT_TRUE(RegistryOverride(keyPath + "\\Extra", "Label", "\"quoted\""));
  EXPECT_FALSE(RegistryOverride("HKEY_NOWHERE\\X", "v", "1"));
  EXPECT_FALSE(RegistryOverride(keyPath, "v", "dword:xyz"));
  HKEY key = OpenParameters();
  DWORD value = 0, size = sizeof(value);
  RegQueryValueExA(key, "Options", nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size);
  EXPECT_EQ(value, 0x10u);
  RegCloseKey(key);
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE,
                          "SYSTEM\\CurrentControlSet\\Services\\VelaVDSProvider\\Parameters\\Extra",
                          0, KEY_READ, &key),
            ERROR_SUCCESS);
  char text[16];
  size = sizeof(text);
  RegQueryValueExA(key, "Label", nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size);
  EXPECT_STREQ(text, "quoted");
  RegCloseKey(key);
}

TEST_F(Registry, WritesReachTheFileAndReadBack) {
  Use("Windows Registry Editor Version 5.00\n");
  HKEY key = nullptr;
  DWORD disposition = 0;
  ASSERT_EQ(RegCreateKeyExW(HKEY_CLASSES_ROOT, u"CLSID\\{X}\\InprocServer32", 0, nullptr,
                            REG_OPTION_NON_VOLATILE, KEY_WRITE, nullptr, &key, &disposition),
            ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
  std::vector<uint8_t> data = RegistryStringData("Free");
  ASSERT_EQ(RegSetValueExW(key, u"ThreadingModel", 0, REG_SZ, data.data(),
                           static_cast<DWORD>(data.size())),
            ERROR_SUCCESS);
  RegCloseKey(key);
  std::string text = m_dir.Read("registry.reg");
  EXPECT_NE(
      text.find("[HKEY_CLASSES_ROOT\\CLSID\\{X}\\InprocServer32]\n\"ThreadingModel\"=\"Free\""),
      std::string::npos);

  ASSERT_EQ(RegDeleteTreeW(HKEY_CLASSES_ROOT, u"CLSID\\{X}"), ERROR_SUCCESS);
  EXPECT_EQ(RegOpenKeyExW(HKEY_CLASSES_ROOT, u"CLSID\\{X}\\InprocServer32", 0, KEY_READ, &key),
            ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegOpenKeyExW(HKEY_CLASSES_ROOT, u"CLSID", 0, KEY_READ, &key), ERROR_SUCCESS);
  RegCloseKey(key);
}

}  // namespace
