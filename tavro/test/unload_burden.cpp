#include "tavro/test/unload_burden.h"

#include <gmock/gmock.h>

#include <utility>

#include "tavro/test/unload_rack.h"

namespace tavro::test {
namespace {

constexpr int kGreen = 0x00FF00;
constexpr float kHour = 3600;
constexpr float kDay = 86400;
constexpr float kMoment = 0.05F;

const door::Client kWho{"rack", "inside", "test"};

/// How a call ends that found the service gone.
bool foundNobody(const door::Outcome& outcome) {
  return outcome.errorText == "This object is null" ||
         outcome.errorText.starts_with("There is no service 'HBLeds'");
}

}  // namespace

Client::Client(door::Access& access, std::string method, Values args, Calls calls)
    : fMethod(std::move(method)), fThread([this, &access, args = std::move(args), calls] {
        do {
          xCall(access, args);
        } while (calls == Calls::kUntilRefused && !fOutcome.hasFailed());
        fHasEnded = true;
      }) {}

Client::~Client() { outcome(); }

void Client::xCall(door::Access& access, const Values& args) {
  try {
    fOutcome = access.call(kWho, "HBLeds", fMethod, args, &fStop);
  } catch (const door::Refused& refused) {
    fOutcome.errorKind = "refused";
    fOutcome.errorText = refused.what();
  }
}

const door::Outcome& Client::outcome() {
  if (fThread.joinable()) fThread.join();
  return fOutcome;
}

HeldFades::HeldFades(door::Access& access, const xo::Object& leds) {
  for (int i = 0; i < kFades; ++i) {
    const bool isShort = i % 3 == 0;
    const float seconds = isShort ? kMoment : kHour;
    if (i % 2 == 0) {
      auto future = leds.call<xo::Future<void>>("fade", "BrainLeds", 0.5F, seconds);
      (isShort ? fShort : fLong).push_back(std::move(future));
    } else {
      const Values args{"BrainLeds", 0.5F, seconds};
      auto outcome = access.call(kWho, "HBLeds", "fade", args);
      (isShort ? fShortOutside : fLongOutside).push_back(outcome.future.value());
    }
  }
}

void HeldFades::expectToEndByThemselvesOrWhenCancelled() {
  const auto expectEnd = [](const auto& futures, bool endsByItself) {
    bool isDropped = false;
    for (const auto& future : futures) {
      if (!endsByItself && (isDropped = !isDropped)) continue;
      if (!endsByItself) {
        EXPECT_TRUE(future.isRunning());
        future.cancel();
      }
      future.wait();
      EXPECT_EQ(future.state(),
                endsByItself ? xo::FutureState::kValue : xo::FutureState::kCancelled);
    }
  };
  expectEnd(fShort, true);
  expectEnd(fShortOutside, true);
  expectEnd(fLong, false);
  expectEnd(fLongOutside, false);
}

Burden::Burden(door::Access& access, const xo::Object& leds, const Kind& kind)
    : fAccess(access), fFades(access, leds) {
  if (kind.keepsBlinking) {
    leds.call("_setTimeBetweenTwoBlinks", 0.0F, 0.0F);
  } else {
    leds.call("_setTimeBetweenTwoBlinks", 1.0F, 7.0F);
  }
  leds.call("_startPassiveBlinking");
  xStart("_startEyesRotationASR", {});
  xStart("_startEarsRotationASR", {});
  xStart("_blink", {});
  leds.call("_blinkWithShadow");
  xStart("earLedsSetAngle", {90, kDay, true});
  xStart("on", {"ChestLeds"}, Client::Calls::kUntilRefused);
  if (kind.usesEyes) xUseEyes();
  if (kind.startsWithShadow) {
    xStart("_startPassiveBlinking", {kGreen});
    xStart("_stopPassiveBlinking", {});
  }
}

void Burden::xUseEyes() {
  for (int i = 0; i < 4; ++i) xStart("rotateEyes", {kGreen, 0.0F, 5.0F});
  xStart("rotateEyes", {kGreen, kHour, kDay});
  xStart("_blink", {kGreen});
  xStart("rasta", {1e30F});
  xStart("randomEyes", {kDay});
  // Waits for the lock that all of the above share.
  xStart("createGroup", {"Mine", Values{"FaceLeds"}});
}

void Burden::xStart(const char* method, Values args, Client::Calls calls) {
  fClients.emplace_back(fAccess, method, std::move(args), calls);
}

void Burden::awaitUnderWay() {
  const auto isRotationsStart = [](const Client& client) {
    return client.method().ends_with("RotationASR");
  };
  await([&] {
    std::size_t ended = 0;
    for (const auto& client : fClients) {
      if (isRotationsStart(client) && !client.hasEnded()) return false;
      if (client.hasEnded()) ++ended;
    }
    return ended + fAccess.running().size() >= fClients.size();
  });
}

void Burden::letSomeGoAway() {
  for (auto& client : fClients) {
    if (client.method() == "rotateEyes" || client.method() == "earLedsSetAngle") client.goAway();
  }
}

int Burden::expectEnded() {
  int underWay = 0;
  for (auto& client : fClients) {
    const auto& outcome = client.outcome();
    EXPECT_TRUE(!outcome.hasFailed() || foundNobody(outcome))
        << client.method() << ": " << outcome.errorText;
    if (!outcome.hasFailed()) ++underWay;
  }
  fFades.expectToEndByThemselvesOrWhenCancelled();
  return underWay;
}

std::string runningText(const door::Access& access) {
  std::string text;
  for (const auto& call : access.running()) {
    text += "still runs: " + call.service + "." + call.method + "\n";
  }
  return text;
}

}  // namespace tavro::test
