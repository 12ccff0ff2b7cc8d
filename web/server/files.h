// The files that the page consists of, in memory: what is not among them does not exist, so no path
// that a browser names ever reaches the file system.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace web {

struct File {
  std::string type;  ///< as the header Content-Type tells it
  std::string tag;   ///< as ETag does, quotes included; changes with the content
  std::string content;
  std::string packed;     ///< the same by gzip; "" where that is not smaller
  std::string packedTag;  ///< of that
};

/// Immutable, so thread-safe.
class Files {
 public:
  /// Reads what a browser may load (html, css, js, svg, png, json) in `folder` and below. Hidden
  /// files, those of npm and what has another ending are not the page's. Empty when there is no
  /// such folder. Errors: `std::runtime_error` that names a file that cannot be read.
  explicit Files(const std::filesystem::path& folder);

  bool isEmpty() const { return fFiles.empty(); }
  /// The file at a path as browsers ask for it ("/", "/robot.js"); null when there is none.
  std::shared_ptr<const File> find(std::string_view path) const;

 private:
  std::map<std::string, std::shared_ptr<const File>, std::less<>> fFiles;
};

}  // namespace web
