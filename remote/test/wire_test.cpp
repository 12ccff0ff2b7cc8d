// The wire as a client that knows nothing of this program meets it: reflection, health, bare
// messages; and the conversions on their own.
#include <gmock/gmock.h>
#include <grpcpp/generic/generic_stub.h>
#include <grpcpp/grpcpp.h>

#include "remote/proto/convert.h"
#include "remote/proto/utf8.h"
#include "remote/test/test_robot.h"
#include "tavro/v1/robot.grpc.pb.h"

namespace remote {
namespace {

using HB::HBValue;
using testing::HasSubstr;

/// One unary or one-message exchange of raw bytes, as any gRPC library can do it.
std::string exchange(const std::string& address, const std::string& method,
                     const std::string& bytes, grpc::Status* status) {
  const auto channel = grpc::CreateChannel(address, grpc::InsecureChannelCredentials());
  grpc::GenericStub stub(channel);
  grpc::ClientContext context;
  grpc::CompletionQueue queue;
  const auto call = stub.PrepareCall(&context, method, &queue);
  void* tag = nullptr;
  bool ok = false;
  call->StartCall(nullptr);
  queue.Next(&tag, &ok);
  const grpc::Slice slice(bytes);
  call->WriteLast(grpc::ByteBuffer(&slice, 1), grpc::WriteOptions(), nullptr);
  queue.Next(&tag, &ok);
  grpc::ByteBuffer reply;
  call->Read(&reply, nullptr);
  queue.Next(&tag, &ok);
  grpc::Slice answer;
  std::string text;
  if (ok && reply.DumpToSingleSlice(&answer).ok()) {
    text.assign(reinterpret_cast<const char*>(answer.begin()), answer.size());
  }
  call->Finish(status, nullptr);
  queue.Next(&tag, &ok);
  return text;
}

TEST(Wire, ReflectionListsTheService) {
  const TestRobot robot;
  grpc::Status status;
  const std::string listServices("\x3a\x01*", 3);  // field 7, list_services: "*"
  const std::string reply = exchange(
      robot.server->tcpAddress(), "/grpc.reflection.v1alpha.ServerReflection/ServerReflectionInfo",
      listServices, &status);
  EXPECT_THAT(reply, HasSubstr("tavro.v1.Robot"));
  EXPECT_THAT(reply, HasSubstr("grpc.health.v1.Health"));
}

TEST(Wire, HealthSaysServingOnceTheRobotIsReady) {
  const TestRobot robot;
  const std::string ofRobot("\x0a\x0etavro.v1.Robot", 16);  // field 1, service
  const std::string method = "/grpc.health.v1.Health/Check";
  grpc::Status status;
  EXPECT_EQ(exchange(robot.server->tcpAddress(), method, ofRobot, &status), "\x08\x02");
  robot.server->setReady("Vanto");
  EXPECT_EQ(exchange(robot.server->tcpAddress(), method, ofRobot, &status), "\x08\x01");
  EXPECT_EQ(exchange(robot.server->tcpAddress(), method, "", &status), "\x08\x01");
  EXPECT_TRUE(status.ok());
}

TEST(Wire, BytesThatAreNoMessageAreRefusedAndTheNextCallIsServed) {
  const TestRobot robot;
  grpc::Status status;
  exchange(robot.server->tcpAddress(), "/tavro.v1.Robot/Call", "\xFF\xFF\xFF", &status);
  EXPECT_FALSE(status.ok());
  exchange(robot.server->tcpAddress(), "/tavro.v1.Robot/Nothing", "", &status);
  EXPECT_EQ(status.error_code(), grpc::StatusCode::UNIMPLEMENTED);
  EXPECT_NO_THROW(robot.connect());
}

TEST(Wire, ListsDeeperThanAnyParserTakesAreRefused) {
  const TestRobot robot;
  std::string value;  // lists within lists, innermost first
  const auto wrapped = [](char tag, const std::string& inside) {
    std::string bytes(1, tag);
    for (std::size_t size = inside.size();; size >>= 7) {
      const bool isLast = size < 128;
      bytes += static_cast<char>((size & 127) | (isLast ? 0 : 128));
      if (isLast) break;
    }
    return bytes + inside;
  };
  for (int i = 0; i < 5000; ++i) value = wrapped('\x32', wrapped('\x0a', value));
  tavro::v1::CallRequest request;
  request.set_service("Test");
  request.set_method("echo");
  grpc::Status status;
  exchange(robot.server->tcpAddress(), "/tavro.v1.Robot/Call",
           request.SerializeAsString() + wrapped('\x1a', value), &status);
  EXPECT_FALSE(status.ok());
  EXPECT_NO_THROW(robot.connect());
}

TEST(Wire, UnknownFieldsOfARequestAreIgnored) {
  const TestRobot robot;
  tavro::v1::CallRequest request;
  request.set_service("Test");
  request.set_method("nothing");
  request.GetReflection()->MutableUnknownFields(&request)->AddVarint(999, 1);
  grpc::Status status;
  exchange(robot.server->tcpAddress(), "/tavro.v1.Robot/Call", request.SerializeAsString(),
           &status);
  EXPECT_TRUE(status.ok()) << status.error_message();
}

TEST(Convert, AListTooDeepForAnyReaderIsRefused) {
  HBValue value = 1;
  for (int i = 0; i < kNestedListsOnWire; ++i) value = HBValue::list({value});
  tavro::v1::Value wire;
  EXPECT_NO_THROW(toWire(value, &wire));
  tavro::v1::CallReply reply;
  *reply.mutable_value() = wire;
  tavro::v1::CallReply parsed;
  EXPECT_TRUE(parsed.ParseFromString(reply.SerializeAsString()));
  EXPECT_THROW(toWire(HBValue::list({value}), &wire), std::length_error);
}

TEST(Convert, EveryTypeOfASignatureComesBack) {
  using Kind = xo::Type::Kind;
  xo::MethodInfo method;
  method.signature.params = {
      {Kind::kBool, {}},   {Kind::kInt, {}},   {Kind::kFloat, {}},
      {Kind::kString, {}}, {Kind::kValue, {}}, {Kind::kList, {{Kind::kList, {{Kind::kInt, {}}}}}}};
  method.signature.result = {Kind::kFuture, {{Kind::kVoid, {}}}};
  tavro::v1::Method wire;
  toWire(method, &wire);
  const xo::MethodInfo back = fromWire(wire);
  EXPECT_EQ(back.signature.params, method.signature.params);
  EXPECT_EQ(back.signature.result, method.signature.result);
  EXPECT_EQ(wire.signature().text(), method.signature.text());
  EXPECT_FALSE(back.doc.returns);
}

TEST(Convert, AListOrFutureOfNothingIsReadAsAnyValue) {
  tavro::v1::Method wire;
  wire.mutable_signature()->add_params()->set_kind(tavro::v1::Type::KIND_LIST);
  wire.mutable_signature()->mutable_result()->set_kind(tavro::v1::Type::KIND_FUTURE);
  EXPECT_EQ(fromWire(wire).signature.text(), "(value) -> value");
}

TEST(Utf8, TellsWellFormedTextFromTheRest) {
  for (const std::string good : {"", "plain", "\xC3\xBC", "\xE2\x82\xAC", "\xF0\x9F\x91\x80",
                                 "\xEF\xBF\xBD", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_TRUE(isUtf8(good)) << good;
    EXPECT_EQ(replaceInvalidUtf8(good), good);
  }
  for (const std::string bad : {"\x80", "\xC0\xAF", "\xC3", "\xE0\x80\x80", "\xED\xA0\x80",
                                "\xF0\x80\x80\x80", "\xF4\x90\x80\x80", "\xF5", "\xFF"}) {
    EXPECT_FALSE(isUtf8(bad));
    EXPECT_TRUE(isUtf8(replaceInvalidUtf8("a" + bad + "b")));
  }
  EXPECT_EQ(replaceInvalidUtf8("a\xFFz"), "a\xEF\xBF\xBDz");
}

}  // namespace
}  // namespace remote
