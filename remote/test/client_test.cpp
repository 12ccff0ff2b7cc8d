// What a client finds out about who answers, and about connections that are lost.
#include "remote/client/robot_client.h"

#include <gmock/gmock.h>
#include <grpcpp/grpcpp.h>
#include <grpcpp/impl/codegen/proto_utils.h>

#include "grpc/health/v1/health.grpc.pb.h"
#include "remote/test/raw_socket.h"
#include "remote/test/test_robot.h"
#include "tavro/v1/robot.grpc.pb.h"

namespace remote {
namespace {

using Fault = RemoteError::Fault;
using testing::AllOf;
using testing::HasSubstr;

RemoteError connectError(const std::string& address,
                         std::chrono::milliseconds timeout = std::chrono::seconds(5)) {
  try {
    RobotClient::connect(address, {"tester", timeout});
  } catch (const RemoteError& error) {
    return error;
  }
  return {Fault::kFailed, "connected"};
}

std::string atPort(int port) { return "127.0.0.1:" + std::to_string(port); }

/// A gRPC server with the given services, synchronous, on a free port.
class BareServer {
 public:
  explicit BareServer(grpc::Service* service) {
    grpc::ServerBuilder builder;
    builder.AddListeningPort("127.0.0.1:0", grpc::InsecureServerCredentials(), &fPort);
    builder.RegisterService(service);
    fServer = builder.BuildAndStart();
  }
  ~BareServer() { fServer->Shutdown(std::chrono::system_clock::now()); }
  BareServer(const BareServer&) = delete;
  BareServer& operator=(const BareServer&) = delete;
  std::string address() const { return atPort(fPort); }

 private:
  int fPort = 0;
  std::unique_ptr<grpc::Server> fServer;
};

TEST(Client, AnAddressWhereNobodyListensIsUnreachableAndNamed) {
  int port = 0;
  { port = RawSocket::listenTcp().port(); }
  const auto error = connectError(atPort(port));
  EXPECT_EQ(error.fault(), Fault::kUnreachable);
  EXPECT_TRUE(error.isNotReached());
  EXPECT_EQ(std::string(error.what()),
            "No robot was reached at " + atPort(port) + ": Connection refused");
  EXPECT_THAT(error.advice(), HasSubstr("Is a robot running there?"));
}

TEST(Client, AUnixSocketThatIsNotThereIsUnreachableAndNamed) {
  const auto error = connectError("unix:/nowhere/robot.sock");
  EXPECT_EQ(error.fault(), Fault::kUnreachable);
  EXPECT_STREQ(error.what(),
               "No robot was reached at unix:/nowhere/robot.sock: No such file or directory");
}

TEST(Client, AListenerThatStaysSilentIsNotARobot) {
  const RawSocket listener = RawSocket::listenTcp();
  const auto start = std::chrono::steady_clock::now();
  const auto error = connectError(atPort(listener.port()), std::chrono::milliseconds(300));
  EXPECT_EQ(error.fault(), Fault::kNotARobot);
  EXPECT_THAT(error.what(), AllOf(HasSubstr(atPort(listener.port())), HasSubstr("0.3 s")));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
}

TEST(Client, AListenerThatSpeaksSomethingElseIsNotARobot) {
  const RawSocket listener = RawSocket::listenTcp();
  std::atomic<bool> isOver{false};
  std::thread web([&] {
    while (!isOver) {
      const RawSocket connection = listener.accept();
      connection.send("HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n");
    }
  });
  const auto error = connectError(atPort(listener.port()), std::chrono::milliseconds(1000));
  isOver = true;
  listener.closeListening();
  web.join();
  EXPECT_EQ(error.fault(), Fault::kNotARobot);
}

TEST(Client, ARobotWhoseConnectionBreaksOffIsAskedOnceMoreWhyItTurnsAway) {
  const RawSocket listener = RawSocket::listenTcp();
  std::atomic<bool> isOver{false};
  std::thread robot([&] {
    listener.accept().breakOff();
    while (!isOver) listener.accept().send("No connection can be taken in: Too many open files");
  });
  const auto error = connectError(atPort(listener.port()));
  isOver = true;
  listener.closeListening();
  robot.join();
  EXPECT_EQ(error.fault(), Fault::kRefused);
  EXPECT_THAT(error.what(), HasSubstr("No connection can be taken in: Too many open files"));
}

TEST(Client, AnotherGrpcServerIsNotARobot) {
  grpc::health::v1::Health::Service other;
  const BareServer server(&other);
  const auto error = connectError(server.address());
  EXPECT_EQ(error.fault(), Fault::kNotARobot);
  EXPECT_THAT(error.what(), HasSubstr(server.address()));
}

TEST(Client, ARobotOfAnotherMajorVersionIsToldApart) {
  class Future final : public tavro::v1::Robot::Service {
    grpc::Status GetInfo(grpc::ServerContext*, const tavro::v1::GetInfoRequest*,
                         tavro::v1::GetInfoReply* reply) override {
      reply->set_protocol_major(2);
      reply->set_protocol_minor(3);
      return grpc::Status::OK;
    }
  } future;
  const BareServer server(&future);
  const auto error = connectError(server.address());
  EXPECT_EQ(error.fault(), Fault::kOtherVersion);
  EXPECT_THAT(error.what(),
              HasSubstr("speaks version 2.3 of the protocol, this program version 1."));
}

TEST(Client, ALaterMinorVersionAndUnknownFieldsAreFine) {
  class Newer final : public tavro::v1::Robot::Service {
    grpc::Status GetInfo(grpc::ServerContext*, const tavro::v1::GetInfoRequest*,
                         tavro::v1::GetInfoReply* reply) override {
      reply->set_protocol_major(1);
      reply->set_protocol_minor(99);
      const auto& reflection = *reply->GetReflection();
      reflection.MutableUnknownFields(reply)->AddLengthDelimited(1000, "news");
      return grpc::Status::OK;
    }
  } newer;
  const BareServer server(&newer);
  EXPECT_EQ(RobotClient::connect(server.address())->info().protocolMinor, 99);
}

TEST(Client, ARobotThatGoesIsUnreachableFromThenOn) {
  TestRobot robot;
  const auto client = robot.connect();
  robot.server.reset();
  try {
    client->call("Test", "nothing", {});
    FAIL() << "nothing was thrown";
  } catch (const RemoteError& error) {
    EXPECT_EQ(error.fault(), Fault::kUnreachable);
    EXPECT_THAT(error.what(), HasSubstr(client->address().text()));
    EXPECT_FALSE(error.advice().empty());
  }
}

TEST(Client, AMalformedAddressIsTheCallersFault) {
  EXPECT_THROW(RobotClient::connect("nonsense"), std::invalid_argument);
}

}  // namespace
}  // namespace remote
