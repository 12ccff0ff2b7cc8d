// Files of a test's own.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace door {

/// A folder that goes with it, and all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "robot-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    fPath = pattern;
  }
  ~TemporaryFolder() { std::filesystem::remove_all(fPath); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return fPath; }
  std::string file(const std::string& name) const { return (fPath / name).string(); }
  void write(const std::string& name, const std::string& content) const {
    std::filesystem::create_directories((fPath / name).parent_path());
    std::ofstream(fPath / name, std::ios::binary) << content;
  }

 private:
  std::filesystem::path fPath;
};

}  // namespace door
