#include "remote/server/acceptor.h"

#include <fcntl.h>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <system_error>

#include "framework/xo/log.h"
#include "framework/xo/os.h"

namespace remote {
namespace {

const xo::log::Category kLog("remote");

/// For models, modules, libraries, logs and what else the robot has open.
constexpr std::size_t kOtherFiles = 128;
constexpr std::chrono::seconds kBetweenWarnings{10};
/// What the system keeps of what a client does not take; it doubles this. Left to itself it may
/// keep several MiB.
constexpr int kSendBytes = 128 * 1024;
/// Before another try when no connection can be taken in for want of files or memory.
constexpr std::chrono::milliseconds kBreath{50};
/// How often connections are looked at, and so many looks in a row find a lost one full.
constexpr std::chrono::seconds kBetweenLooks{4};
constexpr int kLooksFull = 4;
constexpr const char* kNotTakenIn = "No connection can be taken in: ";

Descriptor require(int file) {
  if (file < 0) throw std::system_error(errno, std::system_category(), "connections");
  return Descriptor(file);
}

void append(std::string& text, std::size_t number, int bytes) {
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
    text += static_cast<char>((number >> shift) & 0xFFU);
  }
}

void appendFrame(std::string& text, char type, const std::string& payload) {
  append(text, payload.size(), 3);
  text += type;
  append(text, 0, 1 + 4);  // no flags, the connection's own stream
  text += payload;
}

/// What an HTTP/2 client understands: settings, then that it should go, and why.
std::string goAway(const std::string& why) {
  constexpr char kSettings = 4;
  constexpr char kGoAway = 7;
  constexpr std::size_t kEnhanceYourCalm = 11;
  std::string payload;
  append(payload, 0, 4);  // nothing that it asks was looked at
  append(payload, kEnhanceYourCalm, 4);
  std::string text;
  appendFrame(text, kSettings, "");
  appendFrame(text, kGoAway, payload + why);
  return text;
}

}  // namespace

std::size_t connectionsFor(std::size_t wanted, std::size_t openFiles, std::size_t ways) {
  if (ways == 0) return wanted;
  const std::size_t free = openFiles > kOtherFiles ? openFiles - kOtherFiles : 0;
  return std::clamp<std::size_t>(free / (2 * ways), 8, std::max<std::size_t>(wanted, 8));
}

Acceptor::Acceptor(std::vector<Way> ways, std::size_t mostConnections)
    : fMost(mostConnections),
      fWays(std::move(ways)),
      fPoll(require(::epoll_create1(EPOLL_CLOEXEC))),
      fEnd(require(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))) {
  bool isWatched = watch(fEnd.get(), EPOLLIN);
  for (const Way& way : fWays) isWatched = isWatched && watch(way.listener.get(), EPOLLIN);
  if (!isWatched) throw std::system_error(errno, std::system_category(), "connections");
  fThread = std::thread([this] { run(); });
}

Acceptor::~Acceptor() {
  const std::uint64_t one = 1;
  (void)!::write(fEnd.get(), &one, sizeof(one));
  fThread.join();
}

bool Acceptor::watch(int file, unsigned events) const {
  epoll_event event{};
  event.events = events;
  event.data.fd = file;
  return ::epoll_ctl(fPoll.get(), EPOLL_CTL_ADD, file, &event) == 0;
}

void Acceptor::run() {
  xo::os::setCurrentThreadName("connections");
  std::array<epoll_event, 64> events{};
  for (;;) {
    const int count = ::epoll_wait(fPoll.get(), events.data(), static_cast<int>(events.size()),
                                   millisecondsToLook());
    for (int i = 0; i < count; ++i) {
      const epoll_event& event = events[static_cast<std::size_t>(i)];
      const int file = event.data.fd;
      if (file == fEnd.get()) return;
      const auto way = std::ranges::find_if(
          fWays, [file](const Way& one) { return one.listener.get() == file; });
      if (way != fWays.end()) {
        takeIn(*way);
      } else {
        ended(file);
      }
    }
    if (millisecondsToLook() == 0) look();
  }
}

int Acceptor::millisecondsToLook() const {
  if (fConnections.empty()) return -1;
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(fNextLook - std::chrono::steady_clock::now());
  return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
}

void Acceptor::look() {
  fNextLook = std::chrono::steady_clock::now() + kBetweenLooks;
  for (auto& [file, open] : fConnections) {
    if (!open.isStuck(file)) continue;
    kLog.verbose("A client takes nothing of what it is sent: its connection ends");
    ::shutdown(file, SHUT_RDWR);
  }
}

bool Acceptor::Open::isStuck(int file) {
  int now = 0;
  pollfd room{file, POLLOUT, 0};
  const bool isFull = ::ioctl(file, SIOCOUTQ, &now) == 0 && now > 0 && ::poll(&room, 1, 0) == 0;
  looksFull = !isFull ? 0 : now == unsent ? looksFull + 1 : 1;
  unsent = now;
  return looksFull == kLooksFull;
}

void Acceptor::takeIn(Way& way) {
  Descriptor connection(
      ::accept4(way.listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (connection.get() < 0) {
    // Its client may have gone. Else it still waits, and files may come free.
    if (errno == EAGAIN || errno == ECONNABORTED) return;
    warn(std::string(kNotTakenIn) + std::system_category().message(errno) + ": who comes waits");
    std::this_thread::sleep_for(kBreath);
    return;
  }
  if (way.open >= fMost) {
    return turnAway(way, std::move(connection),
                    "The connections have reached the limit of " + std::to_string(fMost));
  }
  const int on = 1;  // fails for Unix sockets, which have no such delay
  (void)::setsockopt(connection.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
  (void)::setsockopt(connection.get(), SOL_SOCKET, SO_SNDBUF, &kSendBytes, sizeof(kSendBytes));
  Open open{Descriptor(::fcntl(connection.get(), F_DUPFD_CLOEXEC, 0)), &way};
  const int second = open.second.get();
  if (second < 0 || !watch(second, EPOLLRDHUP)) {
    const std::string error = std::system_category().message(errno);
    return turnAway(way, std::move(connection), kNotTakenIn + error);
  }
  if (fConnections.empty()) fNextLook = std::chrono::steady_clock::now() + kBetweenLooks;
  fConnections.emplace(second, std::move(open));
  ++way.open;
  grpc::experimental::ExternalConnectionAcceptor::NewConnectionParameters parameters;
  parameters.listener_fd = way.listener.get();
  parameters.fd = connection.release();
  way.taker->HandleNewConnection(&parameters);
}

void Acceptor::turnAway(const Way& way, Descriptor connection, const std::string& why) {
  if (way.isPlaintext) {
    const std::string words = goAway(why);
    (void)::send(connection.get(), words.data(), words.size(), MSG_NOSIGNAL);
    ::shutdown(connection.get(), SHUT_WR);
  }
  warn(why + ": another one was turned away");
}

void Acceptor::warn(const std::string& text) {
  const auto now = std::chrono::steady_clock::now();
  if (now - fLastWarning < kBetweenWarnings) return;
  fLastWarning = now;
  kLog.warning(text);
}

void Acceptor::ended(int file) {
  const auto found = fConnections.find(file);
  if (found == fConnections.end()) return;
  --found->second.way->open;
  // gRPC may hold the connection for a moment more, and the poll would go on about it.
  ::epoll_ctl(fPoll.get(), EPOLL_CTL_DEL, file, nullptr);
  fConnections.erase(found);
}

}  // namespace remote
