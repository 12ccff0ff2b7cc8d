#include "access/tokens.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "framework/xo/text.h"

namespace door {
namespace {

constexpr std::size_t kMostBytes = 64 * 1024;
constexpr std::size_t kMostNameBytes = 64;

/// Looks at every byte, whatever the first difference is.
bool areEqual(std::string_view one, std::string_view other) {
  unsigned difference = one.size() == other.size() ? 0 : 1;
  for (std::size_t i = 0; i < one.size(); ++i) {
    const char against = i < other.size() ? other[i] : '\0';
    difference |= static_cast<unsigned char>(one[i]) ^ static_cast<unsigned char>(against);
    asm volatile("" : "+r"(difference));  // no early end of the loop
  }
  return difference == 0;
}

/// The fault of a file that others can get at, or "".
std::string faultOf(const struct stat& found) {
  std::array<char, 8> mode{};
  std::snprintf(mode.data(), mode.size(), "%04o", found.st_mode & 07777U);
  if (!S_ISREG(found.st_mode)) return "this is no file";
  if (found.st_uid != ::geteuid()) {
    return "it belongs to user " + std::to_string(found.st_uid) + ", not to you (user " +
           std::to_string(::geteuid()) + ")";
  }
  if ((found.st_mode & 0177U) != 0) {
    return std::string("its mode is ") + mode.data() +
           "; 0600 is needed, so that nobody else reads the tokens";
  }
  if (static_cast<std::size_t>(found.st_size) > kMostBytes) {
    return "it has " + std::to_string(found.st_size) + " bytes; the limit is " +
           std::to_string(kMostBytes);
  }
  return "";
}

std::string readPrivateFile(const std::string& path) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  if (file < 0) throw std::runtime_error(path + ": " + std::system_category().message(errno));
  struct stat found {};
  std::string fault =
      ::fstat(file, &found) == 0 ? faultOf(found) : std::system_category().message(errno);
  std::string text(kMostBytes, '\0');
  std::size_t size = 0;
  while (fault.empty() && size < text.size()) {
    const ssize_t got = ::read(file, text.data() + size, text.size() - size);
    if (got < 0) fault = std::system_category().message(errno);
    if (got <= 0) break;
    size += static_cast<std::size_t>(got);
  }
  ::close(file);
  if (!fault.empty()) throw std::runtime_error(path + ": " + fault);
  text.resize(size);
  return text;
}

}  // namespace

/// Collects entries and faults. What stands in a line is never repeated: it may be a token at the
/// wrong place.
class Tokens::Reader {
 public:
  explicit Reader(std::string path) : fPath(std::move(path)) {}

  void takeLine(const std::string& line) {
    ++fLine;
    std::istringstream words(line);
    std::string role;
    Entry entry;
    if (!(words >> role) || role.front() == '#') return;
    if (role != "operator" && role != "viewer") {
      return complain("a line begins with 'operator' or 'viewer', then comes the token");
    }
    entry.holder.role = role == "operator" ? Role::kOperator : Role::kViewer;
    entry.line = fLine;
    std::string more;
    words >> entry.token >> entry.holder.name;
    if (words >> more) return complain("there is more after the token and the name");
    if (const std::string fault = faultOfEntry(entry); !fault.empty()) return complain(fault);
    fTokens.fEntries.push_back(std::move(entry));
  }

  Tokens take() {
    if (fFaults.empty() && fTokens.fEntries.empty()) fFaults = fPath + ": there is no token in it";
    if (!fFaults.empty()) throw std::runtime_error(fFaults);
    return std::move(fTokens);
  }

 private:
  void complain(const std::string& fault) {
    if (!fFaults.empty()) fFaults += '\n';
    fFaults += fPath + ":" + std::to_string(fLine) + ": " + fault;
  }

  std::string faultOfEntry(const Entry& entry) const {
    if (entry.token.empty()) return "the token is missing";
    if (entry.token.size() < kShortest || entry.token.size() > kLongest) {
      return "the token has " + std::to_string(entry.token.size()) + " characters; allowed are " +
             std::to_string(kShortest) + " to " + std::to_string(kLongest);
    }
    if (!xo::isPlain(entry.token)) return "the token has characters other than printable ASCII";
    if (!xo::isPlain(entry.holder.name) || entry.holder.name.size() > kMostNameBytes) {
      return "the name must be printable ASCII of at most " + std::to_string(kMostNameBytes) +
             " characters";
    }
    for (const Entry& earlier : fTokens.fEntries) {
      if (earlier.token == entry.token) {
        return "the token stands in line " + std::to_string(earlier.line) + " already";
      }
    }
    return "";
  }

  const std::string fPath;
  std::size_t fLine = 0;
  std::string fFaults;
  Tokens fTokens;
};

Tokens Tokens::read(std::string_view text, const std::string& path) {
  Reader reader(path);
  std::istringstream lines{std::string(text)};
  for (std::string line; std::getline(lines, line);) reader.takeLine(line);
  return reader.take();
}

Tokens Tokens::readFile(const std::string& path) { return read(readPrivateFile(path), path); }

std::optional<Holder> Tokens::find(std::string_view token) const {
  const Entry* found = nullptr;
  for (const Entry& entry : fEntries) {  // all of them, so that time does not tell which it was
    if (areEqual(token, entry.token)) found = &entry;
  }
  if (found == nullptr) return std::nullopt;
  return found->holder;
}

}  // namespace door
