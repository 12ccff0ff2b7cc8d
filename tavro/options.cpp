#include "tavro/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>

#include "remote/client/address.h"

namespace tavro {

namespace {

namespace fs = std::filesystem;

constexpr auto kDefaultPage = "127.0.0.1:5481";
constexpr auto kNoPage = "none";

constexpr auto kUsage = R"(Starts a robot and serves it until Ctrl-C.

Examples:
  tavro                                    Vanto, on 127.0.0.1:5480; its page: http://127.0.0.1:5481
  tavro --model models/lirae.xml           another robot
  tavro --listen 127.0.0.1:0 --page none   on a free port, printed as "listening grpc=...", no page
  tavro --module build/my/libhello.so      with a module of your own, after the robot's
  tavro --without motion                   waits for a motion service that a client lends
  tavro --listen 0.0.0.0:5480 --tls-cert robot.crt --tls-key robot.key --tokens tokens
                                           for other machines too

Clients on this machine need nothing. An address that others reach, the page's too, needs TLS and a
file of tokens (mode 0600, lines "operator TOKEN" or "viewer TOKEN", a name after it if you like):
operators may do everything, viewers list, describe, read and watch.
)";

// What comes with the program and was not named: beside an installed one, or in the source tree
// that it was built in. "" when it is in neither.
std::string findBeside(const fs::path& executableFolder, const char* installed,
                       const char* inSources) {
  for (const char* place : {installed, inSources}) {
    const fs::path found = (executableFolder / place).lexically_normal();
    if (fs::exists(found)) return found.string();
  }
  return {};
}

CommandLine wrongUsage(const std::string& text) {
  return {std::nullopt, "", "tavro: " + text + "\nTry 'tavro --help'.\n", 2};
}

void addProtection(CLI::App& app, Options& options) {
  app.add_option("--tls-cert", options.tlsCertificate,
                 "TLS for --listen and --page: the certificate, as PEM")
      ->type_name("FILE");
  app.add_option("--tls-key", options.tlsKey, "The certificate's key, as PEM")->type_name("FILE");
  app.add_option("--tokens", options.tokens, "The tokens that let clients in and their roles")
      ->type_name("FILE");
  app.add_flag("--insecure", options.isInsecureAllowed,
               "Let other machines in without TLS or tokens: everybody there may drive the robot");
}

// Errors: std::runtime_error that names the one that is none, and lists them.
void requireModules(const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    if (std::ranges::find(kRobotModules, name) != kRobotModules.end()) continue;
    std::string text = "--without: the robot has no module '" + name + "'; it has";
    for (const char* const one : kRobotModules) {
      text += (one == kRobotModules.front() ? " " : ", ") + std::string(one);
    }
    throw std::runtime_error(text);
  }
}

}  // namespace

CommandLine readCommandLine(const std::vector<std::string>& arguments,
                            const std::string& executableFolder) {
  Options options;
  options.listen = remote::kDefaultTcpAddress;
  options.page = kDefaultPage;
  options.socket = remote::defaultUnixPath();
  options.moduleDirectory =
      (fs::path(executableFolder) / "../lib/tavro").lexically_normal().string();
  std::string level = "info";

  CLI::App app(kUsage, "tavro");
  app.set_version_flag("--version", "tavro " TAVRO_VERSION);
  app.add_option("--model", options.model, "The robot, described in an XML file")
      ->type_name("FILE");
  app.add_option("--listen", options.listen, "Where clients reach it")
      ->type_name("HOST:PORT")
      ->capture_default_str();
  app.add_option("--page", options.page, "Where browsers find its page, or 'none'")
      ->type_name("HOST:PORT")
      ->capture_default_str();
  addProtection(app, options);
  const auto* const socket =
      app.add_option("--socket", options.socket, "A Unix socket for clients on this machine")
          ->type_name("PATH")
          ->capture_default_str();
  app.add_option("--module", options.modules, "Modules to load after the robot's own")
      ->type_name("FILE");
  app.add_option("--without", options.without, "One of the robot's own modules to leave out")
      ->type_name("NAME");
  app.add_option("--module-dir", options.moduleDirectory, "Where the robot's own modules lie")
      ->type_name("FOLDER");
  app.add_option("--log-level", level, "silent, fatal, error, warning, info, verbose or debug")
      ->type_name("LEVEL")
      ->capture_default_str();
  try {
    // CLI11 takes the words from the back.
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    requireModules(options.without);
    options.isSocketOptional = socket->empty();
    options.logLevel = xo::log::levelFromName(level);
  } catch (const CLI::CallForHelp&) {
    return {std::nullopt, app.help(), "", 0};
  } catch (const CLI::CallForVersion&) {
    return {std::nullopt, app.version() + "\n", "", 0};
  } catch (const std::exception& error) {
    return wrongUsage(error.what());
  }
  if (options.page == kNoPage) options.page.clear();
  options.pageFolder = findBeside(executableFolder, "../share/tavro/page", "../../web/page");
  if (options.model.empty()) {
    options.model =
        findBeside(executableFolder, "../share/tavro/models/vanto.xml", "../../models/vanto.xml");
  }
  if (options.model.empty()) {
    return wrongUsage("no robot model found beside the program; name one with --model FILE");
  }
  return {options, "", "", 0};
}

std::string executableFolder() { return fs::read_symlink("/proc/self/exe").parent_path().string(); }

}  // namespace tavro
