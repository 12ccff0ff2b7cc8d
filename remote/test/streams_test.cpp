// Streams that clients hold open: what bounds their number, their silence and what they make wait.
#include <gmock/gmock.h>
#include <grpcpp/grpcpp.h>

#include "framework/xo/event_loop.h"
#include "grpc/health/v1/health.grpc.pb.h"
#include "grpc/reflection/v1alpha/reflection.grpc.pb.h"
#include "remote/server/duplex.h"
#include "remote/test/raw_lender.h"
#include "remote/test/raw_socket.h"
#include "remote/test/test_robot.h"

namespace remote {
namespace {

namespace v1 = tavro::v1;
namespace reflection = grpc::reflection::v1alpha;
using HB::HBValue;
using testing::HasSubstr;

/// A client with a connection of its own.
std::shared_ptr<grpc::Channel> connectRaw(const TestRobot& robot) {
  grpc::ChannelArguments args;
  args.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
  args.SetInt(GRPC_ARG_HTTP2_BDP_PROBE, 0);  // who does not read makes no room
  return grpc::CreateCustomChannel(robot.server->tcpAddress(), grpc::InsecureChannelCredentials(),
                                   args);
}

/// An open reflection stream.
class Asking {
 public:
  explicit Asking(const std::shared_ptr<grpc::Channel>& channel)
      : fStub(reflection::ServerReflection::NewStub(channel)),
        fStream(fStub->ServerReflectionInfo(&fContext)) {}
  ~Asking() { fContext.TryCancel(); }
  Asking(const Asking&) = delete;
  Asking& operator=(const Asking&) = delete;

  /// The answer; empty when the stream is over.
  reflection::ServerReflectionResponse ask(const reflection::ServerReflectionRequest& request) {
    reflection::ServerReflectionResponse response;
    fStream->Write(request);
    fStream->Read(&response);
    return response;
  }
  bool lists() {
    reflection::ServerReflectionRequest request;
    request.set_list_services("*");
    return ask(request).list_services_response().service_size() == 3;
  }
  grpc::Status end() { return fStream->Finish(); }

 private:
  grpc::ClientContext fContext;
  std::unique_ptr<reflection::ServerReflection::Stub> fStub;
  std::unique_ptr<grpc::ClientReaderWriter<reflection::ServerReflectionRequest,
                                           reflection::ServerReflectionResponse>>
      fStream;
};

grpc::health::v1::HealthCheckResponse::ServingStatus healthOf(
    const std::shared_ptr<grpc::Channel>& channel) {
  grpc::ClientContext context;
  grpc::health::v1::HealthCheckResponse reply;
  grpc::health::v1::Health::NewStub(channel)->Check(&context, {}, &reply);
  return reply.status();
}

TEST(Reflection, ThatManyClientsKeepOpenHoldsUpNobodyAndTakesNoThreads) {
  const TestRobot robot;
  const auto idle = connectRaw(robot);
  std::list<Asking> open;
  const auto client = robot.connect();
  const int before = TestRobot::threads();
  for (int i = 0; i < 64; ++i) {
    open.emplace_back(idle);
    ASSERT_TRUE(open.back().lists()) << i;
  }
  EXPECT_LT(TestRobot::threads(), before + 16);
  EXPECT_EQ(client->call("Test", "echo", std::vector<HBValue>{1}).value, HBValue(1));
  const auto other = connectRaw(robot);
  EXPECT_EQ(healthOf(other), grpc::health::v1::HealthCheckResponse::SERVING);
  EXPECT_TRUE(Asking(other).lists());
  EXPECT_TRUE(open.front().lists()) << "and those that were quiet are still served";

  Asking tooMany(idle);
  EXPECT_FALSE(tooMany.lists());
  const auto status = tooMany.end();
  EXPECT_EQ(status.error_code(), grpc::StatusCode::RESOURCE_EXHAUSTED);
  EXPECT_EQ(status.error_message(), "This client's watches have reached the limit of 64");
}

TEST(Reflection, AnswersEachKindOfQuestion) {
  const TestRobot robot;
  Asking stream(connectRaw(robot));
  reflection::ServerReflectionRequest request;
  const auto firstFile = [&] {
    google::protobuf::FileDescriptorProto file;
    const auto answer = stream.ask(request);
    EXPECT_EQ(answer.file_descriptor_response().file_descriptor_proto_size(), 1);
    file.ParseFromString(answer.file_descriptor_response().file_descriptor_proto(0));
    return file.name();
  };
  request.set_host("robot");
  request.set_file_containing_symbol("tavro.v1.Robot.Call");
  EXPECT_EQ(firstFile(), "tavro/v1/robot.proto");
  EXPECT_EQ(stream.ask(request).valid_host(), "robot");
  EXPECT_EQ(stream.ask(request).original_request().file_containing_symbol(), "tavro.v1.Robot.Call");
  request.set_file_by_filename("grpc/health/v1/health.proto");
  EXPECT_EQ(firstFile(), "grpc/health/v1/health.proto");
  request.set_all_extension_numbers_of_type("tavro.v1.Value");
  EXPECT_EQ(stream.ask(request).all_extension_numbers_response().base_type_name(),
            "tavro.v1.Value");

  const auto refusal = [&] { return stream.ask(request).error_response(); };
  request.set_file_by_filename("no.proto");
  EXPECT_EQ(refusal().error_code(), grpc::StatusCode::NOT_FOUND);
  EXPECT_EQ(refusal().error_message(), "There is no file 'no.proto'");
  request.set_file_containing_symbol("no.Symbol");
  EXPECT_EQ(refusal().error_message(), "There is no symbol 'no.Symbol'");
  request.set_all_extension_numbers_of_type("no.Type");
  EXPECT_EQ(refusal().error_message(), "There is no message 'no.Type'");
  request.mutable_file_containing_extension()->set_extension_number(1);
  EXPECT_EQ(refusal().error_message(), "There are no extensions");
  request.clear_message_request();
  EXPECT_EQ(refusal().error_code(), grpc::StatusCode::INVALID_ARGUMENT);
}

TEST(Health, WatchesCountAsWatches) {
  door::Limits limits;
  limits.watchesPerClient = 1;
  const TestRobot robot(limits);
  const auto channel = connectRaw(robot);
  const auto stub = grpc::health::v1::Health::NewStub(channel);
  grpc::health::v1::HealthCheckResponse reply;
  const auto second = [&] {
    grpc::ClientContext context;
    const auto reader = stub->Watch(&context, {});
    const bool isTold = reader->Read(&reply);
    if (isTold) context.TryCancel();
    const auto status = reader->Finish();
    return isTold ? "told" : status.error_message();
  };
  {
    grpc::ClientContext context;
    const auto reader = stub->Watch(&context, {});
    ASSERT_TRUE(reader->Read(&reply));
    EXPECT_EQ(second(), "This client's watches have reached the limit of 1");
    context.TryCancel();
    reader->Finish();
  }
  EXPECT_TRUE(comesTrue([&] { return second() == "told"; }));
}

/// Opens a stream and says nothing; returns how the robot ends it once that time has passed.
template <class Open>
grpc::Status endOfSilence(xo::ManualClock& clock, const TestRobot& robot, Open open) {
  grpc::ClientContext context;
  const auto stub = v1::Robot::NewStub(connectRaw(robot));
  const auto stream = open(*stub, &context);
  EXPECT_TRUE(comesTrue([&] { return robot.server->underWay() == 1; }));
  clock.advance(kFirstMessageWithin - std::chrono::milliseconds(1));
  clock.awaitIdle();
  EXPECT_EQ(robot.server->underWay(), 1u);
  clock.advance(std::chrono::milliseconds(1));
  clock.awaitIdle();
  const auto status = stream->Finish();
  EXPECT_TRUE(comesTrue([&] { return robot.isAtRest(); }));
  return status;
}

TEST(Silence, EndsAStartThatIsNotFollowedByItsCall) {
  xo::ManualClock clock;
  const TestRobot robot;
  const auto status = endOfSilence(
      clock, robot, [](auto& stub, grpc::ClientContext* context) { return stub.Start(context); });
  EXPECT_EQ(status.error_code(), grpc::StatusCode::DEADLINE_EXCEEDED);
  EXPECT_EQ(status.error_message(), "The first message of Start did not come within 10 s");
}

TEST(Silence, EndsALendThatIsNotFollowedByItsOffer) {
  xo::ManualClock clock;
  const TestRobot robot;
  const auto status = endOfSilence(
      clock, robot, [](auto& stub, grpc::ClientContext* context) { return stub.Lend(context); });
  EXPECT_EQ(status.error_code(), grpc::StatusCode::DEADLINE_EXCEEDED);
  EXPECT_EQ(status.error_message(), "The first message of Lend did not come within 10 s");
}

TEST(Silence, IsCountedByTheNumberOfStreams) {
  door::Limits limits;
  limits.futuresPerClient = 1;
  limits.lendsPerClient = 1;
  const TestRobot robot(limits);
  const auto stub = v1::Robot::NewStub(connectRaw(robot));
  grpc::ClientContext contexts[4];
  const auto start = stub->Start(&contexts[0]);
  const auto lend = stub->Lend(&contexts[1]);
  ASSERT_TRUE(comesTrue([&] { return robot.server->underWay() == 2; }));
  EXPECT_EQ(stub->Start(&contexts[2])->Finish().error_message(),
            "This client's futures waited for have reached the limit of 1");
  EXPECT_EQ(stub->Lend(&contexts[3])->Finish().error_message(),
            "This client's lent services have reached the limit of 1");
  contexts[0].TryCancel();
  contexts[1].TryCancel();
}

TEST(Silence, AfterTheFirstMessageEndsNothingAndLeavesNoTimer) {
  xo::ManualClock clock;
  TestRobot robot;
  const auto client = robot.connect();
  std::list<decltype(client->start("", "", {}))> started;
  for (int i = 0; i < 20; ++i) started.push_back(client->start("Test", "loose", {}));
  EXPECT_LT(xo::getEventLoop().pendingDelays(), 5u) << "one for all, and what else there is";
  clock.advance(3 * kFirstMessageWithin);
  clock.awaitIdle();
  EXPECT_EQ(robot.loose(), 20);
  EXPECT_EQ(xo::getEventLoop().pendingDelays(), 0u);
}

TEST(ReadMemory, OfALentMemoryThatDoesNotAnswerCountsAsACall) {
  door::Limits limits;
  limits.callsPerClient = 2;
  limits.rareCalls = 0;
  TestRobot robot(limits);
  robot.memory.close();
  std::atomic<bool> isOver{false};
  std::atomic<int> inside{0};
  xo::ObjectBuilder memory;
  memory.add(xo::makeMethod<HBValue(const std::string&)>({"getData", "", {}, {}, {}},
                                                         [&](const std::string& key) {
                                                           ++inside;
                                                           while (!isOver)
                                                             std::this_thread::yield();
                                                           return HBValue(key);
                                                         }));
  const auto lender = robot.connect("lender");
  const auto lending = lender->lend("HBMemory", std::move(memory));
  const auto client = robot.connect();
  std::list<std::thread> readers;
  for (int i = 0; i < 2; ++i) {
    readers.emplace_back([&] { EXPECT_EQ(client->readMemory("a"), HBValue("a")); });
  }
  EXPECT_TRUE(comesTrue([&] { return inside == 2; }));
  EXPECT_EQ(robot.access.running().size(), 2u);
  try {
    client->readMemory("b");
    ADD_FAILURE() << "nothing was thrown";
  } catch (const RemoteError& error) {
    EXPECT_STREQ(error.what(), "This client's calls that run at once have reached the limit of 2");
  }
  isOver = true;
  for (auto& reader : readers) reader.join();
  EXPECT_EQ(client->readMemory("c"), HBValue("c"));
  EXPECT_TRUE(robot.access.history().empty()) << "reading is no news";
}

/// Offers a method that takes a text.
v1::DescribeServiceReply offerOfTexts() {
  auto offer = goodOffer();
  offer.mutable_methods(0)->mutable_signature()->mutable_params(0)->set_kind(v1::Type::KIND_STRING);
  return offer;
}

TEST(DeafLender, WhoAnswersWithoutReadingIsCutOffAndToldWhy) {
  TestRobot robot;
  const auto stub = v1::Robot::NewStub(connectRaw(robot));
  grpc::ClientContext context;
  const auto stream = stub->Lend(&context);
  v1::LendRequest message;
  *message.mutable_offer() = offerOfTexts();
  ASSERT_TRUE(stream->Write(message));
  const auto find = [&] { return robot.session->find("Raw"); };
  ASSERT_TRUE(comesTrue([&] { return find().isAlive(); }));
  const std::string text(100000, 'x');
  std::atomic<bool> isOver{false};
  std::atomic<std::uint64_t> calls{0};
  std::string error;
  std::thread caller([&] {
    const std::vector<HBValue> args{HBValue(text)};
    try {
      for (; calls < 1000; ++calls) find().callDynamic("go", args);
    } catch (const std::exception& thrown) {
      error = thrown.what();
    }
    isOver = true;
  });
  while (!isOver) {  // answers what it has not read, again and again
    message.mutable_returned()->set_call(calls + 1);
    message.mutable_returned()->mutable_value()->set_integer(1);
    if (!stream->Write(message)) break;
    std::this_thread::yield();
  }
  caller.join();
  EXPECT_LT(calls * text.size(), 3 * kQueuedBytes) << "the robot buffers without end";
  EXPECT_THAT(error, testing::StartsWith("The process that lent Raw "));
  v1::LendReply unread;
  while (stream->Read(&unread)) {
  }
  const auto status = stream->Finish();
  EXPECT_EQ(status.error_code(), grpc::StatusCode::RESOURCE_EXHAUSTED);
  EXPECT_EQ(status.error_message(),
            "What this client has not read has reached the limit of 5242880 bytes");
  EXPECT_TRUE(comesTrue([&] { return !find().isAlive(); }));
}

TEST(Server, TellsItsClientsHowMuchOneConnectionMayHaveUnderWay) {
  const door::Limits limits;
  const TestRobot robot;
  const auto socket = RawSocket::connectTcp(robot.server->port());
  socket.send("PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n" + std::string("\0\0\0\4\0\0\0\0\0", 9));
  const std::string head = socket.receive(9);
  ASSERT_EQ(head.size(), 9u);
  ASSERT_EQ(head[3], 4) << "settings";
  const std::string settings = socket.receive(static_cast<std::size_t>(head[2]));
  std::size_t most = 0;
  for (std::size_t at = 0; at + 6 <= settings.size(); at += 6) {
    if (settings[at] != 0 || settings[at + 1] != 3) continue;  // MAX_CONCURRENT_STREAMS
    for (std::size_t i = 2; i < 6; ++i)
      most = most * 256 + static_cast<unsigned char>(settings[at + i]);
  }
  EXPECT_EQ(most, limits.futuresPerClient + limits.watchesPerClient + limits.lendsPerClient +
                      limits.callsPerClient + 100);
}

}  // namespace
}  // namespace remote
