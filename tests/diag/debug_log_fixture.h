// A debug log configured through a registry file in a scratch folder.
#ifndef VELA_TESTS_DIAG_DEBUG_LOG_FIXTURE_H_
#define VELA_TESTS_DIAG_DEBUG_LOG_FIXTURE_H_

#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "diag/debug_log.h"
#include "platform/registry.h"
#include "tests/platform/temp_dir.h"

class DebugLogTest : public ::testing::Test {
 protected:
  void SetUp() override { DebugResetForTesting(); }
  void TearDown() override {
    DebugResetForTesting();
    RegistryResetForTesting();
  }

  // Writes the registry with the given lines under the Debug key (and any extra sections).
  void Configure(const std::string& debugValues, const std::string& extra = "") {
    std::string text =
        "Windows Registry Editor Version 5.00\n\n"
        "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\VelaVDSProvider\\Debug]\n" +
        debugValues + "\n" + extra;
    SetRegistryFile(m_dir.Write("registry.reg", text));
  }

  std::string LogPath() const { return m_dir.File("vds.debug"); }
  std::string FileNameValue() const { return "\"FileName\"=\"" + LogPath() + "\"\n"; }
  std::string Log() const { return m_dir.Read("vds.debug"); }

  std::vector<std::string> LogLines() const {
    std::vector<std::string> lines;
    std::istringstream in(Log());
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
  }

  static bool Stamped(const std::string& line) {
    static const std::regex stamp("^[A-Z][a-z]{2} [0-9]{2}, [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}: ");
    return std::regex_search(line, stamp);
  }
  static std::string Unstamped(const std::string& line) {
    return Stamped(line) ? line.substr(line.find(": ") + 2) : line;
  }

  TempDir m_dir;
};

#endif  // VELA_TESTS_DIAG_DEBUG_LOG_FIXTURE_H_
