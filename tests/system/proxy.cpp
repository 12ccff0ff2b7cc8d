#include "tests/system/proxy.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <vector>

namespace tests {

using remote::RawSocket;

Proxy::Proxy(int robotPort)
    : fRobotPort(robotPort),
      fEnd(RawSocket::connectTcp(fListener.port())),
      fThread([this] { run(); }) {}

Proxy::~Proxy() { fallSilent(); }

void Proxy::fallSilent() {
  fEnd.closeSending();
  if (fThread.joinable()) fThread.join();
}

void Proxy::cut() {
  fallSilent();
  for (Link& link : fLinks) {
    link.client.breakOff();
    link.robot.breakOff();
  }
}

bool Proxy::pass(const RawSocket& from, const RawSocket& to) {
  std::array<char, 65536> bytes{};
  const ssize_t got = ::recv(from.file(), bytes.data(), bytes.size(), 0);
  if (got <= 0) return false;
  return ::send(to.file(), bytes.data(), static_cast<std::size_t>(got), MSG_NOSIGNAL) == got;
}

void Proxy::run() {
  const RawSocket end = fListener.accept();  // the first is this proxy's own
  for (;;) {
    std::vector<pollfd> waiting{{end.file(), POLLIN, 0}, {fListener.file(), POLLIN, 0}};
    for (const Link& link : fLinks) {
      waiting.push_back({link.client.file(), POLLIN, 0});
      waiting.push_back({link.robot.file(), POLLIN, 0});
    }
    ::poll(waiting.data(), waiting.size(), -1);
    if (waiting[0].revents != 0) return;
    auto events = waiting.begin() + 2;
    for (auto link = fLinks.begin(); link != fLinks.end(); events += 2) {
      const bool isUp = (events[0].revents == 0 || pass(link->client, link->robot)) &&
                        (events[1].revents == 0 || pass(link->robot, link->client));
      link = isUp ? std::next(link) : fLinks.erase(link);
    }
    if (waiting[1].revents != 0) {
      fLinks.push_back({fListener.accept(), RawSocket::connectTcp(fRobotPort)});
    }
  }
}

}  // namespace tests
