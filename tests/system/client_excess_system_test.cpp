// What a robot does with clients that want too much: connections, bytes, names. Real processes over
// real sockets, beside another client that must not notice. Prints what it measured.
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <vector>

#include "remote/test/raw_socket.h"
#include "tests/system/harmed_robot.h"
#include "tests/system/raw_calls.h"
#include "web/test/page_client.h"

namespace tests {
namespace {

using HB::HBValue;
using remote::RawSocket;
using remote::RemoteError;
using ::testing::HasSubstr;

/// How an HTTP/2 client begins: its first words, and settings that are those of everybody.
const std::string kPreface =
    std::string("PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n") + std::string("\0\0\0\4\0\0\0\0\0", 9);
const std::string kAsking = "GET / HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
constexpr std::size_t kHundredMb = 100'000'000;
constexpr int kMillion = 1'000'000;
/// While 100 MB come in; a message may have 1 MiB.
constexpr long kFlatKib = 16 * 1024;
/// What is kept of a million names, which the library gathers before it looks at their size.
constexpr long kGatheredKib = 48 * 1024;

/// How many connections this process can open: as many as wanted, as far as it is allowed.
int affordable(int wanted) {
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);
  constexpr int kOthers = 256;
  return std::min(wanted, static_cast<int>(std::min<rlim_t>(limit.rlim_cur, 1'000'000)) - kOthers);
}

std::size_t limitOf(HarmedRobot& robot, const std::string& name) {
  for (const auto& [limit, most] : robot.client().info().limits) {
    if (limit == name) return most;
  }
  throw std::runtime_error("no limit is called " + name);
}

/// Connections that say one thing and then nothing.
class Idle {
 public:
  template <class Connect>
  Idle(int count, const std::string& words, Connect connect) {
    for (int i = 0; i < count; ++i) {
      fSockets.push_back(connect());
      fSockets.back().send(words);
    }
  }
  /// How many were told this, or "" closed, so far.
  std::size_t told(const std::string& text) {
    fHeard.resize(fSockets.size());
    std::size_t count = 0;
    for (std::size_t i = 0; i < fSockets.size(); ++i) {
      std::array<char, 4096> bytes{};
      const ssize_t got = ::recv(fSockets[i].file(), bytes.data(), bytes.size(), MSG_DONTWAIT);
      if (got > 0) fHeard[i].append(bytes.data(), static_cast<std::size_t>(got));
      if (fHeard[i].find(text) != std::string::npos) ++count;
    }
    return count;
  }
  std::size_t size() const { return fSockets.size(); }

 private:
  std::vector<RawSocket> fSockets;
  std::vector<std::string> fHeard;
};

TEST(ClientThatWantsTooMuch, FiveThousandIdleConnectionsAreKeptUpToTheLimitAndTheOthersTold) {
  HarmedRobot robot;
  robot.begin();
  const int count = affordable(5000 * 2) / 2;
  const std::size_t limit = limitOf(robot, "connections, by each way in");
  const std::string words = "The connections have reached the limit of " + std::to_string(limit);
  ASSERT_GT(count, static_cast<int>(limit)) << "more open files must be allowed: ulimit -Hn";
  for (int round = 0; round < faultRounds(); ++round) {
    const auto start = std::chrono::steady_clock::now();
    Idle tcp(count, kPreface, [&] { return RawSocket::connectTcp(robot.port()); });
    Idle local(count, kPreface, [&] { return RawSocket::connectUnix(robot.robot().socket()); });
    // The witness and the neighbour came by TCP.
    EXPECT_TRUE(eventually([&] { return tcp.told(words) == tcp.size() - (limit - 2); }))
        << tcp.told(words);
    EXPECT_TRUE(eventually([&] { return local.told(words) == local.size() - limit; }))
        << local.told(words);
    std::cout << "measured: " << tcp.size() + local.size()
              << " idle connections: " << tcp.told(words) + local.told(words)
              << " told the limit; all within "
              << (std::chrono::steady_clock::now() - start) / std::chrono::milliseconds(1)
              << " ms\n";
    try {
      remote::RobotClient::connect(robot.address());
      ADD_FAILURE() << "one more was taken in";
    } catch (const RemoteError& error) {
      EXPECT_THAT(error.what(), HasSubstr(words));
    }
  }
  robot.expectUnharmed("idle connections", 48 * 1024);
}

TEST(ClientThatWantsTooMuch, FiveThousandIdleBrowsersAreKeptUpToTheLimitAndTheOthersTurnedAway) {
  HarmedRobot robot;
  robot.begin();
  {
    const int count = affordable(5000);
    ASSERT_GT(count, 256 + 32) << "more open files must be allowed: ulimit -Hn";
    Idle browsers(count, "", [&] { return RawSocket::connectTcp(robot.pagePort()); });
    EXPECT_TRUE(eventually(
        [&] { return robot.vitals().descriptors - robot.before().descriptors == 256 + 32; }));
  }
  EXPECT_TRUE(eventually([&] { return robot.isAsBefore(); }));
  {
    Idle browsers(256, "", [&] { return RawSocket::connectTcp(robot.pagePort()); });
    Idle asking(10, kAsking, [&] { return RawSocket::connectTcp(robot.pagePort()); });
    EXPECT_TRUE(eventually([&] {
      return asking.told("More connections to the page than the limit of 256") == asking.size();
    }));
  }
  robot.expectUnharmed("idle browsers", 8 * 1024);
}

/// Ends a stream whose first message was too large, and tells how.
template <class Stream>
grpc::StatusCode endOf(Stream& stream) {
  stream.WritesDone();
  return stream.Finish().error_code();
}

/// Sends 100 MB by every way there is. Returns the milliseconds until the slowest was refused.
double sendHundredMegabytes(HarmedRobot& robot) {
  const std::string huge(kHundredMb, 'x');
  const auto stub = rawStub(robot.address());
  double longest = 0;
  const auto expectRefused = [&](const std::string& what, auto ask) {
    grpc::ClientContext context;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ask(&context), grpc::StatusCode::RESOURCE_EXHAUSTED) << what;
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    longest = std::max(longest, took.count());
  };
  const auto request = callOf("HBLeds", "createGroup", {huge, HBValue::list({"FaceLeds"})});
  expectRefused("Call", [&](auto* context) {
    tavro::v1::CallReply reply;
    return stub->Call(context, request, &reply).error_code();
  });
  expectRefused("Start", [&](auto* context) {
    const auto stream = stub->Start(context);
    tavro::v1::StartRequest first;
    *first.mutable_call() = request;
    stream->Write(first);
    return endOf(*stream);
  });
  expectRefused("Lend", [&](auto* context) {
    const auto stream = stub->Lend(context);
    tavro::v1::LendRequest first;
    first.mutable_offer()->set_service(huge);
    stream->Write(first);
    return endOf(*stream);
  });
  expectRefused("Watch", [&](auto* context) {
    tavro::v1::WatchRequest watch;
    watch.set_pattern(huge);
    tavro::v1::WatchReply reply;
    const auto reader = stub->Watch(context, watch);
    EXPECT_FALSE(reader->Read(&reply));
    return reader->Finish().error_code();
  });
  const RawSocket garbage = RawSocket::connectTcp(robot.port());
  (void)::send(garbage.file(), huge.data(), huge.size(), MSG_NOSIGNAL);
  return longest;
}

/// The library gathers a message before it looks at its size, and the heap keeps what one took.
TEST(ClientThatWantsTooMuch, MessagesOfAHundredMegabytesAreRefusedAndOneAtMostIsKept) {
  constexpr long kOneKib = 128 * 1024;
  HarmedRobot robot;
  robot.begin();
  double longest = 0;
  for (int round = 0; round < 2 * faultRounds(); ++round) {
    longest = std::max(longest, sendHundredMegabytes(robot));
  }
  std::cout << "measured: 100 MB: refused after " << longest << " ms at most\n";
  robot.expectUnharmed("100 MB", kOneKib);
}

TEST(ClientThatWantsTooMuch, MessagesOfAHundredMegabytesToThePageAreRefusedAndNeverGathered) {
  HarmedRobot robot;
  robot.begin();
  const std::string huge(kHundredMb, 'x');
  for (int round = 0; round < faultRounds(); ++round) {
    web::PageClient page(robot.pagePort());
    page.hello();
    page.sendText("{\"id\":2,\"op\":\"" + huge + "\"}");
    EXPECT_STREQ(page.awaitEnd().what(), "A message has more bytes than the limit of 1048576");
    EXPECT_THAT(web::exchangeRaw(robot.pagePort(),
                                 "POST / HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: "
                                 "100000000\r\n\r\nxxxx"),
                HasSubstr("413"));
  }
  const long grown = robot.vitals().peakKib - robot.before().residentKib;
  if (kIsMemoryTelling) {
    EXPECT_LT(grown, kFlatKib);
  }
  robot.expectUnharmed("100 MB to the page", kFlatKib);
}

/// What a call that is refused is told; "" when it is not.
std::string refusalOf(remote::RobotClient& client, const std::string& service,
                      const std::string& method, const std::vector<HBValue>& args) {
  try {
    client.call(service, method, args);
  } catch (const RemoteError& error) {
    if (error.fault() == RemoteError::Fault::kRefused) return error.what();
    ADD_FAILURE() << "not refused but: " << error.what();
  }
  return "";
}

TEST(ClientThatWantsTooMuch, ListsOfAMillionNamesAreRefusedByName) {
  HarmedRobot robot;
  auto& client = robot.client();
  const auto names = [](int count, const std::string& name) {
    return HBValue(std::vector<std::string>(static_cast<std::size_t>(count), name));
  };
  const HBValue million = names(kMillion, "F");
  const HBValue nothing = HBValue(HBValue::List{});
  robot.begin();
  for (int round = 0; round < faultRounds(); ++round) {
    const std::string bytes = "bytes as it travels; the limit is 1048576";
    EXPECT_THAT(refusalOf(client, "HBLeds", "createGroup", {"Mine", million}), HasSubstr(bytes));
    EXPECT_THAT(refusalOf(client, "HBMotion", "_animateLEDs", {million, nothing, nothing}),
                HasSubstr(bytes));
    EXPECT_THAT(refusalOf(client, "HBMemory", "insertDataBatch", {million, million}),
                HasSubstr(bytes));
    EXPECT_THAT(refusalOf(client, "HBLeds", "createGroup", {"Mine", names(100'000, "")}),
                HasSubstr("4096"));
    EXPECT_THAT(refusalOf(client, "HBLeds", "listLED", {std::string(kMillion, 'x')}),
                HasSubstr("65536"));
    HBValue::List lists(20, names(4096, ""));
    EXPECT_THAT(refusalOf(client, "HBLeds", "createGroup", {"Mine", HBValue(lists)}),
                HasSubstr("65536"));
  }
  const HBValue groups = client.call("HBLeds", "listGroups", {}).value;
  EXPECT_THAT(groups.toText(100'000), testing::Not(HasSubstr("Mine")));
  const std::vector<HBValue> most{"Mine", names(4096, "FaceLeds")};
  EXPECT_NO_THROW(client.call("HBLeds", "createGroup", most)) << "as many as are allowed";
  robot.expectUnharmed("1,000,000 names", kGatheredKib);
}

}  // namespace
}  // namespace tests
