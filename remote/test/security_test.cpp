// Who may come in: every address, with and without TLS and tokens, for every kind of client.
#include <gmock/gmock.h>
#include <grpcpp/generic/generic_stub.h>
#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <fstream>

#include "access/test/certificate.h"
#include "access/test/protections.h"
#include "remote/client/channel.h"
#include "remote/test/test_robot.h"
#include "tavro/v1/robot.grpc.pb.h"

namespace remote {
namespace {

using door::kOperatorToken;
using door::kViewerToken;
using door::kWrongToken;
using grpc::StatusCode;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace v1 = tavro::v1;

const door::Certificate& certificate() {
  static const door::Certificate made;
  return made;
}

RobotClient::Options optionsOf(bool hasTls, const std::string& token) {
  RobotClient::Options options{"tester", std::chrono::seconds(5)};
  if (hasTls) options.tls = Tls{certificate().file(), "robot.test"};
  options.token = token;
  options.isInsecureAllowed = true;
  return options;
}

/// A robot whose door stands at any address.
class Door : public testing::Test {
 protected:
  Door() {
    std::ofstream(tokenFile()) << door::textOfTokens();
    ::chmod(tokenFile().c_str(), 0600);
  }
  std::string tokenFile() const { return fRobot.directory.file("tokens"); }

  std::unique_ptr<Server> listen(const std::string& address, bool hasTls, bool hasTokens,
                                 bool isInsecure) {
    Server::Options options;
    const bool isUnix = address == "unix";
    options.listen = isUnix ? "" : address + ":0";
    options.unixPath = isUnix ? fRobot.directory.file("door.sock") : "";
    if (hasTls) options.tlsCertificate = certificate().file();
    if (hasTls) options.tlsKey = certificate().key();
    if (hasTokens) options.tokens = tokenFile();
    options.isInsecureAllowed = isInsecure;
    return std::make_unique<Server>(fRobot.access, options);
  }
  static std::string addressOf(const Server& server) {
    return server.unixPath().empty() ? server.tcpAddress() : "unix:" + server.unixPath();
  }

  TestRobot fRobot;
};

grpc::Status ask(const std::shared_ptr<grpc::Channel>& channel, const std::string& method) {
  grpc::GenericStub stub(channel);
  grpc::ClientContext context;
  context.set_deadline(std::chrono::system_clock::now() + std::chrono::seconds(5));
  grpc::CompletionQueue queue;
  const grpc::Slice nothing;
  const grpc::ByteBuffer request(&nothing, 1);
  const auto call = stub.PrepareUnaryCall(&context, method, request, &queue);
  call->StartCall();
  grpc::ByteBuffer reply;
  grpc::Status status;
  call->Finish(&reply, &status, nullptr);
  void* tag = nullptr;
  bool ok = false;
  queue.Next(&tag, &ok);
  return status;
}

/// What a stream answers first: OK for a message, else the status that ends it.
StatusCode codeOfStream(const std::shared_ptr<grpc::Channel>& channel, const std::string& method,
                        const google::protobuf::Message& message) {
  grpc::GenericStub stub(channel);
  grpc::ClientContext context;
  context.set_deadline(std::chrono::system_clock::now() + std::chrono::seconds(5));
  grpc::CompletionQueue queue;
  const auto call = stub.PrepareCall(&context, method, &queue);
  void* tag = nullptr;
  bool ok = false;
  const auto await = [&] { queue.Next(&tag, &ok); };
  call->StartCall(nullptr);
  await();
  const grpc::Slice bytes(message.SerializeAsString());
  call->WriteLast(grpc::ByteBuffer(&bytes, 1), grpc::WriteOptions(), nullptr);
  await();
  grpc::ByteBuffer reply;
  call->Read(&reply, nullptr);
  await();
  const bool isAnswered = ok;
  if (isAnswered) context.TryCancel();
  grpc::Status status;
  call->Finish(&status, nullptr);
  await();
  return isAnswered ? StatusCode::OK : status.error_code();
}

/// What such a client may do there: "nothing", "viewer" or "operator". Every RPC agrees with it.
std::string roleAt(const std::string& address, const RobotClient::Options& options) {
  const auto channel = makeChannel(parseAddress(address), options);
  const auto code = [&](const std::string& method) { return ask(channel, method).error_code(); };
  const std::string robot = "/tavro.v1.Robot/";
  const bool isIn = code(robot + "GetInfo") == StatusCode::OK;
  for (const std::string method : {"/grpc.health.v1.Health/Check",
                                   "/grpc.reflection.v1alpha.ServerReflection/ServerReflectionInfo",
                                   "/tavro.v1.Robot/ListServices"}) {
    const auto status = ask(channel, method);
    EXPECT_EQ(status.ok(), isIn) << method << ": " << status.error_message();
    if (!isIn) {
      EXPECT_EQ(status.error_code(), StatusCode::UNAUTHENTICATED) << method;
    }
  }
  const StatusCode outside = StatusCode::UNAUTHENTICATED;
  for (const std::string method :
       {"/tavro.v1.Robot/Watch", "/tavro.v1.Robot/WatchServices", "/grpc.health.v1.Health/Watch"}) {
    EXPECT_EQ(codeOfStream(channel, method, v1::WatchRequest()), isIn ? StatusCode::OK : outside)
        << method;
  }
  EXPECT_EQ(code(robot + "ListCalls"), isIn ? StatusCode::OK : outside);
  for (const char* method : {"DescribeService", "ReadMemory"}) {
    EXPECT_EQ(code(robot + method) == StatusCode::UNAUTHENTICATED, !isIn) << method;
    EXPECT_NE(code(robot + method), StatusCode::PERMISSION_DENIED) << method;
  }
  const auto call = code(robot + "Call");
  const bool isOperator = isIn && call != StatusCode::PERMISSION_DENIED;
  const auto forOperators = [&](StatusCode asOperator) {
    return isOperator ? asOperator : isIn ? StatusCode::PERMISSION_DENIED : outside;
  };
  v1::StartRequest start;
  start.mutable_call()->set_service("Test");
  start.mutable_call()->set_method("nothing");
  EXPECT_EQ(codeOfStream(channel, robot + "Start", start), forOperators(StatusCode::OK));
  v1::LendRequest lend;
  static int lent = 0;  // the one before may not have gone yet
  lend.mutable_offer()->set_service("Lent" + std::to_string(++lent));
  EXPECT_EQ(codeOfStream(channel, robot + "Lend", lend), forOperators(StatusCode::OK));
  EXPECT_EQ(code(robot + "StopCall"), forOperators(StatusCode::OK));
  if (!isIn) {
    EXPECT_EQ(call, outside);
    return "nothing";
  }
  return isOperator ? "operator" : "viewer";
}

/// An open door, and the role that a token gives there.
door::RoleOf roleOfToken(std::shared_ptr<Server> server, const std::string& address, bool hasTls) {
  return [server = std::move(server), address, hasTls](const std::string& token) {
    return roleAt(address, optionsOf(hasTls, token));
  };
}

TEST_F(Door, OnThisMachineNobodyNeedsAnything) {
  const std::vector<door::Road> roads{{"127.0.0.1", "127.0.0.1"},
                                      {"127.0.0.2", "127.0.0.2"},
                                      {"[::1]", "[::1]"},
                                      {"localhost", "localhost"},
                                      {"unix", "unix", true, false}};
  door::expectTheTableToHold(
      roads, [&](const door::Road& road, const door::Protection& protection) -> door::RoleOf {
        const auto& [hasTls, hasTokens, isInsecure] = protection;
        try {
          std::shared_ptr<Server> server = listen(road.listens, hasTls, hasTokens, isInsecure);
          const std::string address = addressOf(*server);
          return roleOfToken(std::move(server), address, hasTls && road.listens != "unix");
        } catch (const std::runtime_error& error) {
          EXPECT_EQ(road.listens, "[::1]") << error.what();  // this machine may have no IPv6
          return {};
        }
      });
}

TEST_F(Door, OtherMachinesNeedTlsAndATokenUnlessSomebodySaysOtherwise) {
  door::expectTheTableToHold(
      door::roadsFromOutside(), [&](const door::Road& road, const door::Protection& protection) {
        const auto& [hasTls, hasTokens, isInsecure] = protection;
        std::shared_ptr<Server> server = listen(road.listens, hasTls, hasTokens, isInsecure);
        const std::string address = road.reached + ":" + std::to_string(server->port());
        return roleOfToken(std::move(server), address, hasTls);
      });
}

TEST_F(Door, TokensOfOneConnectionCountForEachCallAlone) {
  const auto server = listen("127.0.0.1", true, true, false);
  const auto channel = makeChannel(parseAddress(addressOf(*server)), optionsOf(true, ""));
  const auto stub = v1::Robot::NewStub(channel);
  const auto callWith = [&](const std::string& token) {
    grpc::ClientContext context;
    context.AddMetadata("authorization", "Bearer " + token);
    v1::CallRequest request;
    request.set_service("Test");
    request.set_method("nothing");
    v1::CallReply reply;
    return stub->Call(&context, request, &reply).error_code();
  };
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(callWith(kViewerToken), StatusCode::PERMISSION_DENIED);
    EXPECT_EQ(callWith(kOperatorToken), StatusCode::OK);
    EXPECT_EQ(callWith(kWrongToken), StatusCode::UNAUTHENTICATED);
  }
  EXPECT_EQ(fRobot.access.history().size(), 3u) << "nothing else was called";
}

TEST_F(Door, ATokenComesAsABearersOrNotAtAll) {
  const auto server = listen("127.0.0.1", false, true, false);
  const auto stub =
      v1::Robot::NewStub(makeChannel(parseAddress(addressOf(*server)), optionsOf(false, "")));
  const auto comesInWith = [&](const std::string& authorization) {
    grpc::ClientContext context;
    context.AddMetadata("authorization", authorization);
    v1::GetInfoReply reply;
    const auto status = stub->GetInfo(&context, {}, &reply);
    return status.ok() ? reply.role() : status.error_message();
  };
  EXPECT_EQ(comesInWith("bearer " + kViewerToken), "viewer");
  EXPECT_EQ(comesInWith("Bearer " + kOperatorToken), "operator");
  const std::string wanted = "The metadata 'authorization' must be 'Bearer TOKEN'";
  EXPECT_EQ(comesInWith("Basic " + kViewerToken), wanted);
  EXPECT_EQ(comesInWith(kViewerToken), wanted);
  EXPECT_THAT(comesInWith("Bearer "), testing::Not("operator"));
}

TEST_F(Door, AViewerIsToldWhatItLacksAndIsKnownByTheTokensName) {
  const auto server = listen("127.0.0.1", true, true, false);
  const auto viewer = RobotClient::connect(addressOf(*server), optionsOf(true, kViewerToken));
  fRobot.memory.insert("a", 0.5f);
  EXPECT_EQ(viewer->services().size(), 2u);
  EXPECT_FALSE(viewer->describe("Test").methods.empty());
  EXPECT_EQ(viewer->readMemory("a"), HB::HBValue(0.5f));
  viewer->watch("a", [](const WatchBatch&) { return false; });
  try {
    viewer->call("Test", "nothing", {});
    FAIL() << "nothing was thrown";
  } catch (const RemoteError& error) {
    EXPECT_EQ(error.fault(), RemoteError::Fault::kRefused);
    EXPECT_STREQ(error.what(), "Calling methods needs the role operator; yours is viewer");
  }
}

TEST_F(Door, AClientThatIsNotLetInIsToldWhy) {
  const auto server = listen("0.0.0.0", true, true, false);
  const std::string address = "127.0.0.1:" + std::to_string(server->port());
  try {
    RobotClient::connect(address, optionsOf(true, ""));
    FAIL() << "nothing was thrown";
  } catch (const RemoteError& error) {
    EXPECT_EQ(error.fault(), RemoteError::Fault::kRefused);
    EXPECT_EQ(std::string(error.what()),
              "The robot at " + address +
                  " does not let this program in: This robot wants a token, and none was sent");
  }
}

TEST_F(Door, WithoutTlsOrWithACertificateOfSomebodyElseThereIsNoRobot) {
  const auto server = listen("127.0.0.1", true, false, false);
  const door::Certificate other;
  RobotClient::Options plain = optionsOf(false, "");
  RobotClient::Options stranger = optionsOf(true, "");
  stranger.tls->caFile = other.file();
  RobotClient::Options otherName = optionsOf(true, "");
  otherName.tls->serverName = "robot.example";
  for (const auto& options : {plain, stranger, otherName}) {
    try {
      RobotClient::connect(addressOf(*server), options);
      ADD_FAILURE() << "connected";
    } catch (const RemoteError& error) {
      EXPECT_EQ(error.fault(), RemoteError::Fault::kNotARobot) << error.what();
    }
  }
  RobotClient::Options byAddress = optionsOf(true, "");
  byAddress.tls->serverName = "";
  EXPECT_NO_THROW(RobotClient::connect(addressOf(*server), byAddress));
}

TEST_F(Door, SpeaksTls12AndLaterOnly) {
  const auto server = listen("127.0.0.1", true, false, false);
  const auto handshake = [&](const std::string& version) {
    const std::string log = fRobot.directory.file("handshake.log");
    const std::string command = "openssl s_client -connect " + addressOf(*server) + " -alpn h2 -" +
                                version + " -cipher ALL:@SECLEVEL=0 </dev/null >" + log + " 2>&1";
    (void)!std::system(command.c_str());
    return readWholeFile(log);
  };
  // The robot ends such a connection at the client's first words.
  EXPECT_THAT(handshake("tls1_1"),
              AllOf(HasSubstr("CONNECTED"), HasSubstr("no peer certificate available"),
                    HasSubstr("has read 0 bytes and written 1"), HasSubstr("New, (NONE)")));
  EXPECT_THAT(handshake("tls1_2"), HasSubstr("New, TLSv1.2"));
  EXPECT_THAT(handshake("tls1_3"), HasSubstr("New, TLSv1.3"));
}

TEST_F(Door, FilesThatCannotProtectItAreNamed) {
  const auto faultOf = [&](const std::string& cert, const std::string& key,
                           const std::string& tokens) -> std::string {
    Server::Options options;
    options.listen = "127.0.0.1:0";
    options.tlsCertificate = cert;
    options.tlsKey = key;
    options.tokens = tokens;
    try {
      const Server server(fRobot.access, options);
    } catch (const std::exception& error) {
      return error.what();
    }
    return "none";
  };
  const std::string cert = certificate().file();
  const std::string key = certificate().key();
  EXPECT_THAT(faultOf(cert, "", ""), HasSubstr("--tls-cert, --tls-key"));
  EXPECT_THAT(faultOf("", key, ""), HasSubstr("--tls-cert, --tls-key"));
  EXPECT_EQ(faultOf("/nowhere/c", key, ""), "The TLS certificate /nowhere/c cannot be read");
  EXPECT_EQ(faultOf(cert, "/nowhere/k", ""), "The TLS key /nowhere/k cannot be read");
  EXPECT_THAT(faultOf(key, key, ""), HasSubstr("is no PEM file: there is no"));
  const door::Certificate other;
  EXPECT_THAT(faultOf(cert, other.key(), ""), HasSubstr("is not the certificate of the key"));
  EXPECT_EQ(faultOf("", "", "/nowhere/t"), "/nowhere/t: No such file or directory");
  ::chmod(tokenFile().c_str(), 0644);
  EXPECT_THAT(faultOf("", "", tokenFile()), HasSubstr("its mode is 0644; 0600 is needed"));
  EXPECT_EQ(faultOf(cert, key, ""), "none");
}

}  // namespace
}  // namespace remote
