// A file that lives as long as its name in a test.
#pragma once

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace HB::test {

class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& content = {}) {
    std::string pattern = (std::filesystem::temp_directory_path() / "robot-model-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    fFolder = pattern;
    fPath = fFolder + "/model.xml";
    std::ofstream(fPath, std::ios::binary) << content;
  }
  ~TemporaryFile() {
    std::error_code ignored;
    std::filesystem::remove_all(fFolder, ignored);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::string& path() const { return fPath; }
  const std::string& folder() const { return fFolder; }

 private:
  std::string fFolder;
  std::string fPath;
};

}  // namespace HB::test
