// What keeps the LED service busy while a test takes it away: clients whose calls do not end by
// themselves, and futures that outlive it.
#pragma once

#include <atomic>
#include <list>
#include <string>
#include <thread>
#include <vector>

#include "access/access.h"

namespace tavro::test {

using Values = HB::HBValue::List;

/// One client of HBLeds on a thread of its own, which calls as the robot's ways in do.
class Client {
 public:
  enum class Calls { kOnce, kUntilRefused };

  Client(door::Access& access, std::string method, Values args, Calls calls = Calls::kOnce);
  ~Client();  // waits for its end
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  const std::string& method() const { return fMethod; }
  bool hasEnded() const { return fHasEnded; }
  /// Its connection is lost: its call is asked to stop.
  void goAway() { fStop.raise(); }
  /// Of its last call. Waits for the end.
  const door::Outcome& outcome();

 private:
  void xCall(door::Access& access, const Values& args);

  const std::string fMethod;
  xo::StopFlag fStop;
  door::Outcome fOutcome;
  std::atomic<bool> fHasEnded{false};
  std::thread fThread;
};

/// Futures of a thousand fades, half of them asked for inside the process and half through the
/// door; a third end soon, the others in an hour.
class HeldFades {
 public:
  explicit HeldFades(door::Access& access, const xo::Object& leds);

  /// Expects that those end by themselves whose time comes, and that the others run on until they
  /// are cancelled; some are just let go.
  void expectToEndByThemselvesOrWhenCancelled();

 private:
  static constexpr int kFades = 1000;

  std::vector<xo::Future<void>> fShort;
  std::vector<xo::Future<void>> fLong;
  std::vector<xo::Future<HB::HBValue>> fShortOutside;
  std::vector<xo::Future<HB::HBValue>> fLongOutside;
};

/// All of it at once, begun by the constructor.
class Burden {
 public:
  struct Kind {
    bool keepsBlinking;     ///< passive blinking from one blink to the next, else every 1 to 7 s
    bool usesEyes;          ///< animations of the eyes, which pause passive blinking
    bool startsWithShadow;  ///< passive blinking waits for the service that draws shadows
  };

  Burden(door::Access& access, const xo::Object& leds, const Kind& kind);

  /// Waits until every call is under way and the rotations turn.
  void awaitUnderWay();
  /// The clients of the rotations and of the ears' sweep go away.
  void letSomeGoAway();
  /// After the service went: waits for every call and expects that it ended as calls then do.
  /// Returns how many had been under way.
  int expectEnded();

  int calls() const { return static_cast<int>(fClients.size()); }

 private:
  void xStart(const char* method, Values args, Client::Calls calls = Client::Calls::kOnce);
  void xUseEyes();

  door::Access& fAccess;
  std::list<Client> fClients;
  HeldFades fFades;
};

/// What runs through the door, a line each.
std::string runningText(const door::Access& access);

}  // namespace tavro::test
