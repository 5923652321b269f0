// Changes to the registry file as transactions: other processes, crashes, files that must not be
// rewritten.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "platform/registry.h"
#include "platform/strings.h"
#include "platform/winerror.h"
#include "tests/platform/temp_dir.h"

namespace {

constexpr char kHeader[] = "Windows Registry Editor Version 5.00\n\n";

class RegistryChange : public ::testing::Test {
 protected:
  void TearDown() override { RegistryResetForTesting(); }

  std::string Use(const std::string& text) {
    std::string path = m_dir.Write("registry.reg", text);
    SetRegistryFile(path);
    return path;
  }

  // Creates HKLM\<key> and sets "<name>"=<text> in it.
  static LONG SetValue(const std::string& key, const std::string& name, const std::string& text) {
    HKEY handle = nullptr;
    LONG status = RegCreateKeyExW(HKEY_LOCAL_MACHINE, Utf8ToUtf16(key).c_str(), 0, nullptr,
                                  REG_OPTION_NON_VOLATILE, KEY_WRITE, nullptr, &handle, nullptr);
    if (status != ERROR_SUCCESS) return status;
    std::u16string data = Utf8ToUtf16(text);
    status = RegSetValueExW(handle, Utf8ToUtf16(name).c_str(), 0, REG_SZ,
                            reinterpret_cast<const BYTE*>(data.c_str()),
                            static_cast<DWORD>((data.size() + 1) * 2));
    RegCloseKey(handle);
    return status;
  }

  RegistryTree ReadBack() const {
    RegistryTree tree;
    std::vector<std::string> errors;
    EXPECT_TRUE(ParseRegistryText(m_dir.Read("registry.reg"), &tree, &errors));
    EXPECT_TRUE(errors.empty());
    return tree;
  }

  TempDir m_dir;
};

TEST_F(RegistryChange, ProcessesChangingAtOnceLoseNothing) {
  Use(kHeader);
  constexpr int kWriters = 4;
  constexpr int kKeys = 15;
  pid_t children[kWriters];
  for (int w = 0; w < kWriters; ++w) {
    children[w] = fork();
    ASSERT_GE(children[w], 0);
    if (children[w] == 0) {
      for (int k = 0; k < kKeys; ++k) {
        std::string key = "SOFTWARE\\W" + std::to_string(w) + "\\K" + std::to_string(k);
        if (SetValue(key, "v", key) != ERROR_SUCCESS) _exit(1);
      }
      _exit(0);
    }
  }
  for (pid_t child : children) {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  RegistryTree tree = ReadBack();
  for (int w = 0; w < kWriters; ++w) {
    for (int k = 0; k < kKeys; ++k) {
      std::string key =
          "hkey_local_machine\\software\\w" + std::to_string(w) + "\\k" + std::to_string(k);
      ASSERT_TRUE(tree.count(key)) << key;
      EXPECT_EQ(tree[key].values.count("v"), 1u) << key;
    }
  }
}

TEST_F(RegistryChange, AWriterKilledAtAnyPointLeavesAWholeFile) {
  Use(kHeader);
  for (int round = 0; round < 8; ++round) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      close(ready[0]);
      std::string payload(2000, 'x');
      for (int k = 0;; ++k) {
        SetValue("SOFTWARE\\Crash\\K" + std::to_string(k % 50), "v", payload);
        if (k == round) (void)!write(ready[1], "r", 1);
      }
    }
    close(ready[1]);
    char byte;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);  // the writer is in its next change now
    close(ready[0]);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    RegistryTree tree = ReadBack();
    EXPECT_TRUE(tree.count("hkey_local_machine\\software\\crash\\k0"));
  }
  // The temporary files of killed writers are left beside it; they are never read.
  EXPECT_EQ(SetValue("SOFTWARE\\After", "v", "1"), ERROR_SUCCESS);
}

TEST_F(RegistryChange, AChangeKeepsWhatOthersWroteAndWhatItDoesNotKnow) {
  Use(std::string(kHeader) + "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Other]\n\"Bin\"=hex(7):41,00,00,00\n");
  HKEY handle = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Mine", 0, nullptr, 0, KEY_WRITE,
                            nullptr, &handle, nullptr),
            ERROR_SUCCESS);
  // Another process writes the file while the key is open here.
  m_dir.Write("registry.reg",
              std::string(kHeader) +
                  "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Other]\n\"Bin\"=hex(7):41,00,00,00\n"
                  "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Mine]\n"
                  "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Theirs]\n\"t\"=dword:00000002\n");
  DWORD one = 1;
  ASSERT_EQ(RegSetValueExW(handle, u"m", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&one), 4),
            ERROR_SUCCESS);
  RegCloseKey(handle);
  RegistryTree tree = ReadBack();
  EXPECT_EQ(tree["hkey_local_machine\\software\\theirs"].values.count("t"), 1u);
  EXPECT_EQ(tree["hkey_local_machine\\software\\mine"].values.count("m"), 1u);
  EXPECT_EQ(tree["hkey_local_machine\\software\\other"].values["bin"].type, REG_MULTI_SZ);
}

TEST_F(RegistryChange, FilesThatCannotBeRewrittenStayAsTheyAre) {
  // Read-only.
  std::string text = std::string(kHeader) + "[HKEY_LOCAL_MACHINE\\SOFTWARE\\A]\n\"x\"=\"1\"\n";
  std::string path = Use(text);
  ASSERT_EQ(chmod(path.c_str(), 0444), 0);
  EXPECT_EQ(SetValue("SOFTWARE\\A", "y", "2"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegDeleteTreeW(HKEY_LOCAL_MACHINE, u"SOFTWARE\\A"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(m_dir.Read("registry.reg"), text);
  HKEY opened = nullptr;  // reading still works
  EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\A", 0, KEY_READ, &opened), ERROR_SUCCESS);
  RegCloseKey(opened);

  // A line that cannot be read would be lost by a rewrite.
  text = std::string(kHeader) + "[HKEY_LOCAL_MACHINE\\SOFTWARE\\A]\n\"x\"=what is this\n";
  path = Use(text);
  EXPECT_EQ(SetValue("SOFTWARE\\B", "y", "2"), ERROR_BADDB);
  EXPECT_EQ(m_dir.Read("registry.reg"), text);

  // A folder that does not exist.
  SetRegistryFile(m_dir.File("missing/registry.reg"));
  EXPECT_EQ(SetValue("SOFTWARE\\B", "y", "2"), ERROR_PATH_NOT_FOUND);
}

TEST_F(RegistryChange, AMissingOrEmptyFileBecomesARegistry) {
  SetRegistryFile(m_dir.File("registry.reg"));
  EXPECT_EQ(SetValue("SOFTWARE\\New", "v", "1"), ERROR_SUCCESS);
  EXPECT_EQ(ReadBack().count("hkey_local_machine\\software\\new"), 1u);
  Use("");
  EXPECT_EQ(SetValue("SOFTWARE\\New", "v", "1"), ERROR_SUCCESS);
  EXPECT_EQ(ReadBack().count("hkey_local_machine\\software\\new"), 1u);
}

}  // namespace
