// The two services that the module reads: a memory over a map, and a robot model that hands out one
// text. Real services on a real session.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "framework/value/hb_value.h"
#include "framework/xo/session.h"
#include "hardware/leds/test/support/journal.h"

namespace HB::test {

/// "HBMemory". Thread-safe. Each read is noted as "memory: KEY".
class FakeMemory {
 public:
  FakeMemory(xo::Session& session, Journal& journal);

  void set(const std::string& key, const HBValue& value);
  /// What a key that was never set answers: `std::invalid_argument` "No key KEY".
  HBValue get(const std::string& key) const;

 private:
  Journal& fJournal;
  mutable std::mutex fMutex;
  std::map<std::string, HBValue> fValues;
  std::unique_ptr<xo::Session::Registration> fRegistration;
};

/// "HBRobotModel".
class FakeRobotModel {
 public:
  FakeRobotModel(xo::Session& session, Journal& journal, std::string xml);
  /// One whose "getConfig" fails with that text.
  static std::unique_ptr<FakeRobotModel> failing(xo::Session& session, Journal& journal,
                                                 const std::string& text);

 private:
  std::unique_ptr<xo::Session::Registration> fRegistration;
  std::string fError;
};

}  // namespace HB::test
