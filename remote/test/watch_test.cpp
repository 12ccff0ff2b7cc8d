// Watches over real sockets.
#include <gmock/gmock.h>
#include <grpcpp/grpcpp.h>
#include <malloc.h>

#include "access/memory_watch.h"
#include "remote/test/deaf_watch.h"
#include "remote/test/test_robot.h"
#include "tavro/v1/robot.grpc.pb.h"

namespace remote {
namespace {

using Fault = RemoteError::Fault;
using HB::HBValue;
using testing::ElementsAre;
using testing::Pair;

TEST(Watch, FirstASnapshotThenOnlyWhatChanged) {
  TestRobot robot;
  robot.memory.insert("Face/Red", 0.0f);
  robot.memory.insert("Ear/Blue", 0.0f);
  std::vector<WatchBatch> batches;
  robot.connect()->watch("Face", [&](const WatchBatch& batch) {
    batches.push_back(batch);
    robot.memory.insert("Ear/Blue", 0.5f);
    robot.memory.insert("Face/Red", 0.5f);
    return batches.size() < 3;
  });
  ASSERT_EQ(batches.size(), 3u);
  EXPECT_TRUE(batches[0].isSnapshot);
  EXPECT_THAT(batches[0].items, ElementsAre(Pair("Face/Red", HBValue(0.0f))));
  EXPECT_FALSE(batches[1].isSnapshot);
  EXPECT_THAT(batches[1].items, ElementsAre(Pair("Face/Red", HBValue(0.5f))));
}

TEST(Watch, ASnapshotOfNothingComesToo) {
  TestRobot robot;
  bool isEmpty = false;
  robot.connect()->watch("x", [&](const WatchBatch& batch) {
    isEmpty = batch.isSnapshot && batch.items.empty();
    return false;
  });
  EXPECT_TRUE(isEmpty);
}

TEST(Watch, AnythingFromNowhereToHugeArrivesWhole) {
  TestRobot robot;
  const std::string filler(200, 'k');
  for (int i = 0; i < 20000; ++i) robot.memory.insert(std::to_string(i) + filler, i);
  std::size_t items = 0;
  robot.connect()->watch("", [&](const WatchBatch& batch) {
    items = batch.items.size();
    return false;
  });
  EXPECT_EQ(items, 20000u);
}

TEST(Watch, KeysThatAreNotUtf8ArriveWithTheBadBytesReplaced) {
  TestRobot robot;
  robot.memory.insert("bad \xFF key", HBValue("bad \xFF value"));
  robot.connect()->watch("", [&](const WatchBatch& batch) {
    EXPECT_THAT(batch.items, ElementsAre(Pair("bad \xEF\xBF\xBD key", HBValue("bad \xFF value"))));
    return false;
  });
}

TEST(Watch, FastChangesAreMergedIntoOneMessageATick) {
  TestRobot robot;
  robot.memory.insert("a", 0);
  std::atomic<bool> isOver{false};
  std::thread writer([&] {
    for (int i = 1; !isOver; ++i) robot.memory.insert("a", i);
  });
  int batches = 0;
  const auto start = std::chrono::steady_clock::now();
  robot.connect()->watch("a", [&](const WatchBatch&) { return ++batches < 6; });
  const auto time = std::chrono::steady_clock::now() - start;
  isOver = true;
  writer.join();
  EXPECT_GE(time, 4 * door::kWatchTick);  // between the second and the sixth
}

TEST(Watch, ACancelledWatchEndsAndIsForgotten) {
  TestRobot robot;
  CancelToken token;
  try {
    robot.connect()->watch(
        "",
        [&](const WatchBatch&) {
          token.cancel();
          return true;
        },
        token);
    FAIL() << "nothing was thrown";
  } catch (const RemoteError& error) {
    EXPECT_EQ(error.fault(), Fault::kCancelled);
  }
  EXPECT_TRUE(comesTrue([&] { return robot.memory.subscriptions() == 0; }));
}

TEST(Watch, AReaderThatNeverReadsCostsAFewReadsOfTheMemoryAndGetsTheLastValue) {
  TestRobot robot;
  const std::string filler(60000, 'x');
  robot.memory.insert("a", filler);
  const auto channel =
      grpc::CreateChannel(robot.server->tcpAddress(), grpc::InsecureChannelCredentials());
  const auto stub = tavro::v1::Robot::NewStub(channel);
  grpc::ClientContext context;
  const auto reader = stub->Watch(&context, {});
  ASSERT_TRUE(comesTrue([&] { return robot.memory.reads() > 0; }));
  // Far more than the windows of the connection hold, until nothing is asked for any more.
  int reads = 0;
  for (int quiet = 0; quiet < 10;) {
    robot.memory.insert("a", filler + std::to_string(reads));
    const auto tick = std::chrono::steady_clock::now() + 2 * door::kWatchTick;
    while (std::chrono::steady_clock::now() < tick) std::this_thread::yield();
    quiet = robot.memory.reads() == reads ? quiet + 1 : 0;
    reads = robot.memory.reads();
    ASSERT_LT(reads, 300) << "the robot buffers without end";
  }
  robot.memory.insert("a", "last");
  tavro::v1::WatchReply reply;
  std::string seen;
  while (seen != "last" && reader->Read(&reply)) {
    if (!reply.items().empty()) seen = reply.items(0).value().text();
  }
  EXPECT_EQ(seen, "last");
  context.TryCancel();
}

TEST(Watch, OneMoreThanAllowedIsRefusedUntilAnotherEnds) {
  door::Limits limits;
  limits.watchesPerClient = 1;
  TestRobot robot(limits);
  const auto client = robot.connect();
  CancelToken token;
  std::atomic<bool> isOpen{false};
  std::thread first([&] {
    EXPECT_THROW(client->watch(
                     "",
                     [&](const WatchBatch&) {
                       isOpen = true;
                       return true;
                     },
                     token),
                 RemoteError);
  });
  ASSERT_TRUE(comesTrue([&] { return isOpen.load(); }));
  const auto refusal = [&]() -> std::string {
    try {
      client->watch("", [](const WatchBatch&) { return false; });
    } catch (const RemoteError& error) {
      return error.what();
    }
    return "not refused";
  };
  EXPECT_EQ(refusal(), "This client's watches have reached the limit of 1");
  token.cancel();
  first.join();
  EXPECT_TRUE(comesTrue([&] { return refusal() == "not refused"; }));
}

TEST(Watch, ReadersThatNeverReadCostAtMostAMebibyteEachAndDelayNobody) {
  TestRobot robot;
  const std::string filler(400, 'x');
  const auto writeAll = [&](int round) {
    for (int i = 0; i < 500; ++i) {
      robot.memory.insert(std::to_string(i), filler + std::to_string(round));
    }
  };
  writeAll(0);
  constexpr std::size_t kDeaf = 16;
  const std::size_t before = ::mallinfo2().uordblks;
  std::vector<std::unique_ptr<DeafWatch>> deaf;
  for (std::size_t i = 0; i < kDeaf; ++i) {
    deaf.push_back(std::make_unique<DeafWatch>(robot.server->tcpAddress()));
  }
  ASSERT_TRUE(comesTrue([&] { return robot.memory.subscriptions() == kDeaf; }));
  int rounds = 0;
  robot.connect()->watch("499", [&](const WatchBatch& batch) {
    EXPECT_EQ(batch.items[0].second, HBValue(filler + std::to_string(rounds)));
    writeAll(++rounds);
    return rounds < 50;  // of more than 200 KiB each
  });
  const std::size_t after = ::mallinfo2().uordblks;
  EXPECT_LT(after - std::min(after, before), kDeaf << 20);
}

TEST(Watch, TellsOfAValueTooLargeForItThatItIsThereAndReadingGivesIt) {
  TestRobot robot;
  const HBValue huge(std::string(door::kWatchPartBytes + 1, 'x'));
  robot.memory.insert("a", 1);
  robot.memory.insert("b", huge);
  robot.memory.insert("c", 3);
  const auto client = robot.connect();
  client->watch("", [&](const WatchBatch& batch) {
    EXPECT_THAT(batch.items,
                ElementsAre(Pair("a", HBValue(1)), Pair("b", HBValue()), Pair("c", HBValue(3))));
    return false;
  });
  EXPECT_EQ(client->readMemory("b"), huge);
}

TEST(Watch, ALargeBatchIsManyMessagesThatEveryClientAccepts) {
  TestRobot robot;
  const std::string text(60000, 'x');
  for (int i = 0; i < 100; ++i) robot.memory.insert(std::to_string(100 + i), text);
  const auto stub = tavro::v1::Robot::NewStub(
      grpc::CreateChannel(robot.server->tcpAddress(), grpc::InsecureChannelCredentials()));
  grpc::ClientContext context;
  const auto reader = stub->Watch(&context, {});
  tavro::v1::WatchReply reply;
  int items = 0;
  for (bool isMore = true; isMore; isMore = reply.more()) {
    ASSERT_TRUE(reader->Read(&reply));
    EXPECT_TRUE(reply.snapshot());
    EXPECT_LT(reply.ByteSizeLong(), door::kWatchPartBytes + 1000U);
    for (const auto& item : reply.items()) EXPECT_EQ(item.key(), std::to_string(100 + items++));
  }
  EXPECT_EQ(items, 100);
  robot.memory.insert("100", 1);
  ASSERT_TRUE(reader->Read(&reply));
  EXPECT_FALSE(reply.snapshot());
  context.TryCancel();
}

TEST(Watch, OfAMemoryThatAnotherProcessLendsIsRefusedClearly) {
  TestRobot robot;
  robot.memory.close();
  const auto client = robot.connect();
  xo::ObjectBuilder memory;
  memory.add(xo::makeMethod<HBValue(const std::string&)>(
      {"getData", "", {}, {}, {}}, [](const std::string& key) { return HBValue(key); }));
  const auto lending = client->lend("HBMemory", std::move(memory));
  EXPECT_EQ(client->readMemory("a"), HBValue("a"));
  try {
    client->watch("", [](const WatchBatch&) { return true; });
    FAIL() << "nothing was thrown";
  } catch (const RemoteError& error) {
    EXPECT_EQ(error.fault(), Fault::kRefused);
    EXPECT_THAT(error.what(), testing::StartsWith("This memory cannot be followed: "));
  }
}

TEST(Watch, TellsASlowReaderWhatItMissed) {
  TestRobot robot;
  const std::string filler(200000, 'x');
  robot.memory.insert("a", filler);
  int batches = 0;
  std::uint64_t dropped = 0;
  std::atomic<bool> isOver{false};
  std::thread writer([&] {
    for (int i = 0; !isOver; ++i) robot.memory.insert("a", filler + std::to_string(i));
  });
  robot.connect()->watch("a", [&](const WatchBatch& batch) {
    dropped = batch.dropped;
    // What is tested: a reader slower than ticks.
    std::this_thread::sleep_for(5 * door::kWatchTick);
    return ++batches < 50 && dropped == 0;
  });
  isOver = true;
  writer.join();
  EXPECT_GT(dropped, 0u);
}

TEST(Watch, WithoutAMemoryItIsRefused) {
  TestRobot robot;
  robot.memory.close();
  try {
    robot.connect()->watch("", [](const WatchBatch&) { return true; });
    FAIL() << "nothing was thrown";
  } catch (const RemoteError& error) {
    EXPECT_EQ(error.fault(), Fault::kRefused);
    EXPECT_STREQ(error.what(), "There is no service 'HBMemory'; there are Test");
  }
}

}  // namespace
}  // namespace remote
