#include "web/server/files.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "web/server/gzip.h"

namespace web {
namespace {

namespace fs = std::filesystem;

struct Kind {
  std::string_view ending;
  const char* type;
  bool isPacked = true;  // by gzip; what is packed already stays as it is
};
constexpr std::array kKinds{Kind{".html", "text/html; charset=utf-8"},
                            Kind{".css", "text/css; charset=utf-8"},
                            Kind{".js", "text/javascript; charset=utf-8"},
                            Kind{".svg", "image/svg+xml"},
                            Kind{".png", "image/png", false},
                            Kind{".json", "application/json"}};

const Kind* kindOf(const fs::path& file) {
  const std::string ending = file.extension().string();
  const auto* const found = std::ranges::find(kKinds, ending, &Kind::ending);
  return found == kKinds.end() ? nullptr : found;
}

bool isOfThePage(const fs::path& file) {
  const std::string name = file.filename().string();
  return !name.starts_with('.') && name != "node_modules" && name != "package.json" &&
         name != "package-lock.json";
}

std::string readAll(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream content;
  if (!stream || (fs::file_size(file) > 0 && !(content << stream.rdbuf()))) {
    throw std::runtime_error("The page's file " + file.string() + " cannot be read");
  }
  return content.str();
}

/// `coding` tells apart what is the same content on its way.
std::string tagOf(std::string_view content, const char* coding) {
  std::uint64_t hash = 14695981039346656037U;
  for (const char c : content) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "\"%016llx%s\"", static_cast<unsigned long long>(hash),
                coding);
  return text.data();
}

File fileOf(const Kind& kind, std::string content) {
  File file{kind.type, tagOf(content, ""), std::move(content), {}, {}};
  if (!kind.isPacked) return file;
  std::string packed = gzip(file.content);
  if (packed.size() >= file.content.size()) return file;
  file.packed = std::move(packed);
  file.packedTag = tagOf(file.content, "-gzip");
  return file;
}

}  // namespace

Files::Files(const fs::path& folder) {
  if (!fs::is_directory(folder)) return;
  for (auto entry = fs::recursive_directory_iterator(folder);
       entry != fs::recursive_directory_iterator(); ++entry) {
    if (!isOfThePage(entry->path())) {
      if (entry->is_directory()) entry.disable_recursion_pending();
      continue;
    }
    const Kind* const kind = kindOf(entry->path());
    if (kind == nullptr || !entry->is_regular_file()) continue;
    std::string path("/");
    path += entry->path().lexically_relative(folder).generic_string();
    fFiles[path] = std::make_shared<const File>(fileOf(*kind, readAll(entry->path())));
  }
}

std::shared_ptr<const File> Files::find(std::string_view path) const {
  const auto found = fFiles.find(path == "/" ? "/index.html" : path);
  return found == fFiles.end() ? nullptr : found->second;
}

}  // namespace web
