// Offers of services that the robot cannot take.
#include <gmock/gmock.h>

#include "remote/test/raw_lender.h"

namespace remote {
namespace {

namespace v1 = tavro::v1;
using testing::HasSubstr;

struct BadOffer {
  const char* what;
  std::function<void(v1::DescribeServiceReply&)> spoil;
  grpc::StatusCode code;
  const char* text;
};

class BadOfferTest : public testing::TestWithParam<BadOffer> {};

TEST_P(BadOfferTest, IsRefusedWithAClearText) {
  const TestRobot robot;
  RawLender raw(robot);
  auto offer = goodOffer();
  GetParam().spoil(offer);
  raw.offer(offer);
  const auto status = raw.end();
  EXPECT_EQ(status.error_code(), GetParam().code);
  EXPECT_THAT(status.error_message(), HasSubstr(GetParam().text));
  EXPECT_EQ(robot.session->services(), (std::vector<std::string>{"HBMemory", "Test"}));
  EXPECT_TRUE(comesTrue([&] { return robot.isAtRest(); }));
}

v1::Type* resultOf(v1::DescribeServiceReply& offer) {
  return offer.mutable_methods(0)->mutable_signature()->mutable_result();
}
v1::Type* paramOf(v1::DescribeServiceReply& offer) {
  return offer.mutable_methods(0)->mutable_signature()->mutable_params(0);
}

constexpr auto kInvalid = grpc::StatusCode::INVALID_ARGUMENT;

INSTANTIATE_TEST_SUITE_P(
    Offers, BadOfferTest,
    testing::Values(
        BadOffer{"NoName", [](auto& offer) { offer.clear_service(); }, kInvalid,
                 "The name of the service is empty"},
        BadOffer{"LongName", [](auto& offer) { offer.set_service(std::string(300, 'x')); },
                 kInvalid, "The name of the service has 300 bytes; the limit is 256"},
        BadOffer{"UnprintableName", [](auto& offer) { offer.set_service("a\x1b[2J"); }, kInvalid,
                 "cannot be printed"},
        BadOffer{"TakenName", [](auto& offer) { offer.set_service("HBMemory"); },
                 grpc::StatusCode::ALREADY_EXISTS, "HBMemory is registered already"},
        BadOffer{"ReservedName", [](auto& offer) { offer.set_service("HBReserved"); },
                 grpc::StatusCode::ALREADY_EXISTS, "HBReserved belongs to a service of the robot"},
        BadOffer{"MethodTwice", [](auto& offer) { *offer.add_methods() = offer.methods(0); },
                 kInvalid, "The method go(int) is offered twice"},
        BadOffer{"MethodWithoutName", [](auto& offer) { offer.mutable_methods(0)->clear_name(); },
                 kInvalid, "A method's name is empty"},
        BadOffer{"TooManyMethods",
                 [](auto& offer) {
                   for (int i = 0; i < 1024; ++i) *offer.add_methods() = offer.methods(0);
                 },
                 kInvalid, "Methods: 1025 are offered; the limit is 1024"},
        BadOffer{"UnknownType", [](auto& offer) { paramOf(offer)->clear_kind(); }, kInvalid,
                 "parameter 1 has a type that is not known"},
        BadOffer{"FutureAsParameter",
                 [](auto& offer) { paramOf(offer)->set_kind(v1::Type::KIND_FUTURE); }, kInvalid,
                 "parameter 1 may not be or hold a future"},
        BadOffer{"ListOfNothing",
                 [](auto& offer) { paramOf(offer)->set_kind(v1::Type::KIND_LIST); }, kInvalid,
                 "without the type of its element"},
        BadOffer{"NoResult",
                 [](auto& offer) { offer.mutable_methods(0)->mutable_signature()->clear_result(); },
                 kInvalid, "has no type of its result"},
        BadOffer{"DeepType",
                 [](auto& offer) {
                   auto* type = resultOf(offer);
                   for (int i = 0; i < 40; ++i) {
                     type->set_kind(v1::Type::KIND_LIST);
                     type = type->mutable_element();
                   }
                   type->set_kind(v1::Type::KIND_INT);
                 },
                 kInvalid, "nested more deeply than the limit of 8"},
        BadOffer{"NotAnOffer", [](auto& offer) { offer.Clear(); }, kInvalid,
                 "The name of the service is empty"}),
    [](const auto& offer) { return offer.param.what; });

TEST(Offer, AFirstMessageThatIsNoOfferIsRefused) {
  const TestRobot robot;
  RawLender raw(robot);
  v1::LendRequest request;
  request.mutable_pong()->set_number(1);
  raw.stream->Write(request);
  const auto status = raw.end();
  EXPECT_EQ(status.error_code(), kInvalid);
  EXPECT_THAT(status.error_message(), HasSubstr("must be `offer`"));
}

}  // namespace
}  // namespace remote
