#include "remote/client/credentials.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "framework/xo/text.h"

namespace remote {

std::string readWholeFile(const std::string& path) {
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  if (!file || !(text << file.rdbuf())) {
    throw std::runtime_error(path + ": " +
                             (errno != 0 ? std::system_category().message(errno)
                                         : std::string("nothing can be read from it")));
  }
  return text.str();
}

std::string readTokenFile(const std::string& path) {
  struct stat found {};
  if (::stat(path.c_str(), &found) == 0 && (found.st_mode & 077U) != 0) {
    throw std::runtime_error(path + ": others may get at this file; mode 0600 is needed");
  }
  std::istringstream lines(readWholeFile(path));
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string token;
    std::string more;
    if (!(words >> token) || token.front() == '#') continue;
    if (words >> more || !xo::isPlain(token)) {
      throw std::runtime_error(path + ": its first line must be the token alone");
    }
    return token;
  }
  throw std::runtime_error(path + ": there is no token in it");
}

std::string tokenOfEnvironment(const Address& address, const std::optional<Tls>& tls) {
  const char* const token = std::getenv("TAVRO_TOKEN");
  if (token == nullptr || (!tls && !address.isLocal())) return {};
  return token;
}

}  // namespace remote
