#include "hardware/leds/test/support/session_refusal.h"

#include <memory>

#include "framework/hb/hb_broker.h"

namespace {

const std::string* gRefusal = nullptr;

}  // namespace

// The linker's names of the two ends of the detour (-Wl,--wrap=_ZNK2HB8HBBroker10getSessionEv).
std::shared_ptr<xo::Session> realGetSession(const HB::HBBroker* broker) asm(
    "__real__ZNK2HB8HBBroker10getSessionEv");
std::shared_ptr<xo::Session> wrappedGetSession(const HB::HBBroker* broker) asm(
    "__wrap__ZNK2HB8HBBroker10getSessionEv");

std::shared_ptr<xo::Session> wrappedGetSession(const HB::HBBroker* broker) {
  if (gRefusal != nullptr) throw HB::HBError(*gRefusal);
  return realGetSession(broker);
}

namespace HB::test {

SessionRefusal::SessionRefusal(const std::string& text) { gRefusal = new std::string(text); }

SessionRefusal::~SessionRefusal() {
  delete gRefusal;
  gRefusal = nullptr;
}

}  // namespace HB::test
