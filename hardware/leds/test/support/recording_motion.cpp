#include "hardware/leds/test/support/recording_motion.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ostream>
#include <stdexcept>
#include <utility>

namespace HB::test {

void PrintTo(const RecordingMotion::Write& write, std::ostream* out) {
  *out << ::testing::PrintToString(write.keys) << " at " << ::testing::PrintToString(write.times)
       << " to " << ::testing::PrintToString(write.values);
}

RecordingMotion::RecordingMotion(xo::Session& session, Journal& journal)
    : fSession(session), fJournal(journal) {
  bringBack();
}

RecordingMotion::~RecordingMotion() {
  release();
  takeAway();
}

std::vector<RecordingMotion::Write> RecordingMotion::writes() const {
  std::scoped_lock lock(fMutex);
  return fWrites;
}

RecordingMotion::Write RecordingMotion::onlyWrite() const {
  const auto all = writes();
  EXPECT_EQ(all.size(), 1u);
  return all.size() == 1 ? all.front() : Write();
}

void RecordingMotion::clear() {
  std::scoped_lock lock(fMutex);
  fWrites.clear();
  fInstants.clear();
}

std::vector<xo::TimePoint> RecordingMotion::instants() const {
  std::scoped_lock lock(fMutex);
  return fInstants;
}

void RecordingMotion::onWrite(std::function<void(std::size_t number)> hook) {
  std::scoped_lock lock(fMutex);
  fHook = std::move(hook);
}

void RecordingMotion::refuse(int n, const std::string& text) {
  std::scoped_lock lock(fMutex);
  fRefusals[fBegun + n] = text;
}

void RecordingMotion::refuseAll(const std::string& text) {
  std::scoped_lock lock(fMutex);
  fRefusalOfAll = text;
}

void RecordingMotion::hold() {
  std::scoped_lock lock(fMutex);
  fHolds = true;
}

bool RecordingMotion::awaitHeld(int count) {
  std::unique_lock lock(fMutex);
  return fChanged.wait_for(lock, std::chrono::seconds(20), [&] { return fHeld >= count; });
}

void RecordingMotion::release() {
  std::scoped_lock lock(fMutex);
  fHolds = false;
  fChanged.notify_all();
}

void RecordingMotion::takeAway() { fRegistration.reset(); }

void RecordingMotion::bringBack() {
  xo::ObjectBuilder builder;
  builder.add(xo::makeMethod<void(const std::vector<std::string>&, const Lists&, const Lists&)>(
      {"_animateLEDs", "", {}, {}, {}},
      [this](const std::vector<std::string>& keys, const Lists& times, const Lists& values) {
        animate(keys, times, values);
      }));
  fRegistration = fSession.registerService("HBMotion", std::move(builder));
}

void RecordingMotion::animate(const std::vector<std::string>& keys, const Lists& times,
                              const Lists& values) {
  std::string line = "motion:";
  for (const auto& key : keys) line += ' ' + key;
  fJournal.add(line);
  std::unique_lock lock(fMutex);
  const int number = ++fBegun;
  fWrites.push_back({keys, times, values});
  fInstants.push_back(xo::clock().now());
  if (const auto hook = fHook) {
    const auto count = fWrites.size();
    lock.unlock();
    hook(count);
    lock.lock();
  }
  ++fHeld;
  fChanged.notify_all();
  fChanged.wait(lock, [this] { return !fHolds; });
  --fHeld;
  if (const auto found = fRefusals.find(number); found != fRefusals.end()) {
    throw std::runtime_error(found->second);
  }
  if (!fRefusalOfAll.empty()) throw std::runtime_error(fRefusalOfAll);
}

}  // namespace HB::test
