#include "tavro/robot.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <filesystem>
#include <map>
#include <stdexcept>

#include "remote/client/address.h"
#include "tavro/log_sink.h"

namespace tavro {

namespace {

const xo::log::Category kLog{"tavro"};

// A group that a client makes stays until the LED service goes.
const door::Quota kGroups{"HBLeds", "createGroup", 1000, "client-made groups"};

// Ways in that have connections: TCP, the Unix socket, the page.
constexpr std::size_t kWays = 3;

// What the page looks at to show the robot, so viewers may call it.
std::vector<door::Reading> readings() {
  std::vector<door::Reading> all;
  const auto add = [&](const char* service, std::initializer_list<const char*> methods) {
    for (const char* method : methods) all.push_back({service, method});
  };
  add("HBRobotModel", {"getConfig", "getRobotName", "getPrettyName"});
  add("HBMotion", {"listLEDs", "getLEDStates", "getLEDOrigins"});
  add("HBLeds", {"listLEDs", "listLED", "listGroups", "listGroup"});
  add("HBHost", {"modules"});
  return all;
}

door::Limits limitsOfThisMachine() {
  door::Limits limits;
  limits.connections = remote::affordableConnections(limits.connections, kWays);
  return limits;
}

// How long calls that were asked to stop have for it before their modules' sleeps end.
constexpr std::chrono::milliseconds kStopPatience{300};

// What the robot's own modules publish.
const std::map<std::string, std::string> kServicesOfModules{
    {"memory", "HBMemory"}, {"robotmodel", "HBRobotModel"},
    {"motion", "HBMotion"}, {"signsandfeedback", "HBSignsAndFeedback"},
    {"leds", "HBLeds"},
};

/// What clients cannot lend while the robot starts: the names of all that it brings itself.
std::vector<std::string> ownServices(const std::vector<std::string>& without) {
  std::vector<std::string> names{"HBHost"};
  for (const auto& [module, service] : kServicesOfModules) {
    if (std::ranges::find(without, module) == without.end()) names.push_back(service);
  }
  return names;
}

remote::Server::Options serverOptionsOf(const Options& options) {
  return {.listen = options.listen,
          .tlsCertificate = options.tlsCertificate,
          .tlsKey = options.tlsKey,
          .tokens = options.tokens,
          .isInsecureAllowed = options.isInsecureAllowed,
          .unixPath = options.socket,
          .isUnixPathOptional = options.isSocketOptional,
          .softwareVersion = TAVRO_VERSION,
          .reservedNames = ownServices(options.without)};
}

bool isNumeric(const std::string& host) {
  boost::system::error_code error;
  (void)boost::asio::ip::make_address(host, error);
  return !error;
}

remote::Address pageAddress(const std::string& text) {
  std::string fault = "browsers reach no Unix socket";
  try {
    auto address = remote::parseAddress(text);
    if (address.kind == remote::Address::Kind::kTcp) {
      if (address.host == "localhost" || isNumeric(address.host)) return address;
      fault = "the host '" + address.host +
              "' is neither an address of numbers, such as 127.0.0.1 or [::1], nor localhost";
    }
  } catch (const std::invalid_argument& error) {
    fault = error.what();
  }
  throw std::invalid_argument("Cannot serve the page at " + text + " (--page): " + fault);
}

std::unique_ptr<web::Server> servePage(door::Access& access, const Options& options,
                                       web::LogTail& log) {
  if (options.page.empty()) return nullptr;
  const auto address = pageAddress(options.page);
  web::Server::Options page;
  page.name = address.host;
  page.host = address.host == "localhost" ? "127.0.0.1" : address.host;
  page.port = address.port;
  page.isLocal = address.isLocal();
  page.tlsCertificate = options.tlsCertificate;
  page.tlsKey = options.tlsKey;
  page.tokens = options.tokens;
  page.isInsecureAllowed = options.isInsecureAllowed;
  page.folder = options.pageFolder;
  page.connections = remote::affordableConnections(page.connections, kWays);
  page.softwareVersion = TAVRO_VERSION;
  page.log = &log;
  return std::make_unique<web::Server>(access, page);
}

}  // namespace

Robot::Robot(Options options, OutputTap& output, web::LogTail& log)
    : fOptions(std::move(options)),
      fSession(std::make_shared<xo::Session>()),
      fBroker(HB::HBBroker::create(fSession, {{"model", fOptions.model}})),
      fAccess(fSession, limitsOfThisMachine(), {kGroups}, readings()),
      fServer(fAccess, serverOptionsOf(fOptions)),
      fPage(servePage(fAccess, fOptions, log)),
      fLoader(fBroker, output) {
  fServer.setModules([this] { return fLoader.modules(); });
  if (fPage) fPage->setModules([this] { return fLoader.modules(); });
}

Robot::~Robot() {
  fServer.setModules(nullptr);
  fPage.reset();
}

int Robot::run(std::ostream& out, std::ostream& error) {
  out << "listening grpc=" << fServer.tcpAddress();
  if (!fServer.unixPath().empty()) out << " unix=" << fServer.unixPath();
  if (fPage) out << " page=" << fPage->url();
  out << std::endl;

  int status = 0;
  if (xLoadModules()) {
    const std::string name = xRobotName();
    const HostService hostService(*fSession, fLoader, fOptions.moduleDirectory);
    fServer.setReady(name);
    if (fPage) fPage->setReady(name);
    out << "ready robot=" << name;
    if (fPage) out << " page=" << fPage->url();
    out << std::endl;
    xWaitForStop();
    xStopServing();  // before HBHost goes: it waits for its calls
  } else if (const auto failure = fLoader.failure(); !failure.module.empty()) {
    error << "tavro: module " << failure.module << " cannot start: " << printable(failure.text)
          << std::endl;
    status = 1;
  }
  kLog.verbose("Stopping");
  xStopServing();
  fLoader.unloadAll();
  return status;
}

void Robot::requestStop() {
  fLoader.interrupt();
  const std::lock_guard lock(fMutex);
  fIsStopRequested = true;
  fStopped.notify_all();
}

void Robot::xStopServing() {
  const auto end = std::chrono::steady_clock::now() + kStopPatience;
  if (fPage) fPage->stop(std::chrono::milliseconds::zero());  // asks; both have the same time
  fServer.stop(kStopPatience);
  const auto left =
      std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
  if (fPage) fPage->stop(std::max(left, std::chrono::milliseconds::zero()));
}

bool Robot::xLoadModules() {
  const std::filesystem::path folder(fOptions.moduleDirectory);
  for (const char* name : kRobotModules) {
    if (std::ranges::find(fOptions.without, name) != fOptions.without.end()) {
      kLog.info(std::string("Module ") + name +
                " is left out: who needs its service waits until somebody lends it");
      continue;
    }
    fLoader.load((folder / (std::string("lib") + name + ".so")).string());
    if (!fLoader.failure().module.empty()) return false;
  }
  for (const std::string& file : fOptions.modules) fLoader.load(file);
  return fLoader.waitUntilAllStand();
}

std::string Robot::xRobotName() const {
  const auto model = fSession->find("HBRobotModel");
  if (!model.isAlive()) return {};  // left out, and nothing waited for another
  return printable(model.call<std::string>("getRobotName"));
}

void Robot::xWaitForStop() {
  std::unique_lock lock(fMutex);
  fStopped.wait(lock, [this] { return fIsStopRequested; });
}

}  // namespace tavro
