// A scratch folder for one test, removed with everything in it at the end.
#ifndef VELA_TESTS_PLATFORM_TEMP_DIR_H_
#define VELA_TESTS_PLATFORM_TEMP_DIR_H_

#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vela-test-XXXXXX").string();
    char* made = mkdtemp(pattern.data());
    m_path = made ? made : "";
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& Path() const { return m_path; }
  std::string File(const std::string& name) const { return m_path + "/" + name; }

  // Writes through a rename, so that a reader that checks the file's identity sees a change.
  std::string Write(const std::string& name, const std::string& text) const {
    std::string path = File(name);
    {
      std::ofstream out(path + ".new", std::ios::binary | std::ios::trunc);
      out << text;
    }
    std::rename((path + ".new").c_str(), path.c_str());
    return path;
  }

  std::string Read(const std::string& name) const {
    std::ifstream in(File(name), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

 private:
  std::string m_path;
};

#endif  // VELA_TESTS_PLATFORM_TEMP_DIR_H_
