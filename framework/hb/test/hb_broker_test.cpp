#include "framework/hb/hb_broker.h"

#include <gtest/gtest.h>

namespace {

std::string textOfError(const auto& action) {
  try {
    action();
  } catch (const HB::HBError& error) {
    return error.what();
  }
  return "no HBError";
}

TEST(HBBroker, WithoutASessionSaysSo) {
  const auto broker = HB::HBBroker::create(nullptr);
  EXPECT_EQ(textOfError([&] { broker->getSession(); }), "The broker has no session");
}

TEST(HBBroker, MakesProxiesToServicesThatStand) {
  const auto session = std::make_shared<xo::Session>();
  const auto broker = HB::HBBroker::create(session);
  EXPECT_EQ(textOfError([&] { broker->getProxy("HBMemory"); }),
            "The service HBMemory is not there");
  EXPECT_EQ(textOfError([&] { broker->getSpecialisedProxy<HB::HBMemoryProxy>("HBMemory"); }),
            "The service HBMemory is not there");
  xo::ObjectBuilder builder;
  builder.add(xo::makeMethod<HB::HBValue(const std::string&)>(
      {"getData", "", {}, {}, {}}, [](const std::string& key) { return HB::HBValue(key + "!"); }));
  const auto registration = session->registerService("HBMemory", std::move(builder));
  EXPECT_EQ(broker->getProxy("HBMemory")->call<std::string>("getData", "key"), "key!");
  EXPECT_EQ(broker->getSpecialisedProxy<HB::HBMemoryProxy>("HBMemory")->getData("k").toString(),
            "k!");
}

TEST(HBBroker, KnowsItsSettings) {
  const auto broker = HB::HBBroker::create(nullptr, {{"model", "vanto.xml"}});
  EXPECT_EQ(broker->getSetting("model"), "vanto.xml");
  EXPECT_EQ(textOfError([&] { broker->getSetting("modle"); }), "The broker has no setting 'modle'");
}

}  // namespace
