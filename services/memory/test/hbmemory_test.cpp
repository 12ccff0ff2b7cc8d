#include "services/memory/src/hbmemory.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "framework/hb/hb_memory_proxy.h"
#include "framework/hb/module_factory.h"

namespace HB {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

class HBMemoryService : public testing::Test {
 protected:
  HBMemoryService() { createModule<HBMemory>(broker); }
  ~HBMemoryService() override { broker->removeModule("HBMemory"); }

  HBValue callByValue(const std::string& method, std::vector<HBValue> args) {
    return proxy().object().callDynamic(method, args).value;
  }
  HBMemoryProxy& proxy() {
    if (!fProxy) fProxy = broker->getSpecialisedProxy<HBMemoryProxy>("HBMemory");
    return *fProxy;
  }

  std::shared_ptr<xo::Session> session = std::make_shared<xo::Session>();
  std::shared_ptr<HBBroker> broker = HBBroker::create(session);

 private:
  std::shared_ptr<HBMemoryProxy> fProxy;
};

TEST_F(HBMemoryService, AnswersEveryOperationOfItsProxy) {
  proxy().insertData("x/a", 0.5f);
  proxy().insertDataBatch({"x/b", "c"}, {1, "text"});
  EXPECT_EQ(proxy().getData("x/a"), HBValue(0.5f));
  EXPECT_THAT(proxy().listKeys("x/*"), ElementsAre("x/a", "x/b"));
  int wakes = 0;
  const int id = proxy().subscribe("x/a", [&] { ++wakes; });
  EXPECT_THAT(proxy().changes(id), ElementsAre(Pair("x/a", HBValue(0.5f))));
  proxy().writeFloats(proxy().floatHandles({"x/a"}), {0.75f});
  EXPECT_EQ(wakes, 1);
  EXPECT_THAT(proxy().changes(id), ElementsAre(Pair("x/a", HBValue(0.75f))));
  proxy().unsubscribe(id);
  proxy().insertData("x/a", 1.0f);
  EXPECT_EQ(wakes, 1);
}

TEST_F(HBMemoryService, HandsOverABatchInParts) {
  proxy().insertDataBatch({"x/a", "x/b"}, {std::string(300, 'a'), std::string(300, 'b')});
  const int id = proxy().subscribe("x/*", [] {});
  const MemoryChanges first = proxy().changesPart(id, 500);
  EXPECT_THAT(first.items, ElementsAre(Pair("x/a", HBValue(std::string(300, 'a')))));
  EXPECT_TRUE(first.isMore);
  EXPECT_FALSE(proxy().changesPart(id, 500).isMore);
}

TEST_F(HBMemoryService, ConvertsNothingOnTheWayToAnUntypedValue) {
  callByValue("insertData", {"key", 7});
  EXPECT_EQ(callByValue("getData", {"key"}), HBValue(7));
  callByValue("insertDataBatch", {HBValue::list({"a", "b"}), HBValue::list({true, "x"})});
  EXPECT_EQ(callByValue("getData", {"a"}), HBValue(true));
}

TEST_F(HBMemoryService, GivesRemoteReadersASnapshotOfPairs) {
  proxy().insertDataBatch({"x/b", "x/a", "y"}, {"text", 0.5f, 1});
  EXPECT_EQ(callByValue("snapshot", {"x/*"}),
            HBValue::list({HBValue::list({"x/a", 0.5f}), HBValue::list({"x/b", "text"})}));
}

TEST_F(HBMemoryService, PassesRefusalsThrough) {
  try {
    proxy().getData("nothing");
    FAIL() << "no exception";
  } catch (const std::invalid_argument& error) {
    EXPECT_THAT(error.what(), HasSubstr("'nothing'"));
  }
}

TEST_F(HBMemoryService, DocumentsEveryMethodAndEveryArgument) {
  const xo::ObjectInfo info = proxy().object().describe();
  EXPECT_EQ(info.methods.size(), 11u);
  EXPECT_FALSE(info.description.empty());
  for (const xo::MethodInfo& method : info.methods) {
    EXPECT_FALSE(method.doc.description.empty()) << method.doc.name;
    EXPECT_EQ(method.doc.params.size(), method.signature.params.size()) << method.doc.name;
    EXPECT_EQ(method.doc.returns.has_value(), method.signature.result.kind != xo::Type::Kind::kVoid)
        << method.doc.name;
  }
}

TEST_F(HBMemoryService, IsGoneForItsHandlesOnceUnloaded) {
  const xo::Object object = proxy().object();
  broker->removeModule("HBMemory")->shutDown();
  EXPECT_FALSE(object.isAlive());
  EXPECT_THROW(object.call<HBValue>("getData", "x"), std::runtime_error);
  createModule<HBMemory>(broker);
  EXPECT_TRUE(object.isAlive());
  EXPECT_THAT(object.call<std::vector<std::string>>("listKeys", ""), IsEmpty());
}

}  // namespace
}  // namespace HB
