// Every question that a page may ask, and its answer.
#include <gmock/gmock.h>

#include "web/test/test_page.h"

namespace web {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class OpsTest : public testing::Test {
 protected:
  OpsTest() { fPage.serve(); }
  static std::string refusalIn(const Json& reply) {
    EXPECT_EQ(reply["error"]["kind"], "refused") << reply;
    return reply["error"]["text"];
  }

  TestPage fPage;
};

TEST_F(OpsTest, HelloTellsWhoAnswersAndWhatIsAllowed) {
  PageClient client(fPage.port());
  const Json reply = client.hello();
  EXPECT_EQ(reply["robot"], "");
  EXPECT_EQ(reply["ready"], false);
  EXPECT_EQ(reply["software"], "1.2.3");
  EXPECT_EQ(reply["role"], "operator");
  EXPECT_EQ(reply["tick"], 20);
  EXPECT_EQ(reply["start"].get<std::string>().size(), 16u);
  EXPECT_EQ(reply["limits"][0], (Json{{"name", "list elements"}, {"most", 4096}}));
  EXPECT_EQ(reply["limits"].back(), (Json{{"name", "connections to the page"}, {"most", 256}}));
}

TEST_F(OpsTest, HelloTellsTheRobotsNameOnceItIsReady) {
  fPage.server->setReady("Van<to>");
  PageClient client(fPage.port());
  const Json reply = client.hello();
  EXPECT_EQ(reply["robot"], "Van<to>");
  EXPECT_EQ(reply["ready"], true);
}

TEST_F(OpsTest, TheStartIsTheSameForAllPagesOfOneRunAndOfNoOther) {
  const auto start = [&] { return PageClient(fPage.port()).hello()["start"]; };
  const Json first = start();
  EXPECT_EQ(start(), first);
  fPage.serve();
  EXPECT_NE(start(), first);
}

TEST_F(OpsTest, HelloIsSaidOnce) {
  auto client = fPage.connect();
  EXPECT_EQ(refusalIn(client.hello()), "'hello' was said already");
}

TEST_F(OpsTest, ServicesAreListed) {
  EXPECT_EQ(fPage.connect().ask({{"op", "services"}})["services"], (Json{"HBMemory", "Test"}));
}

TEST_F(OpsTest, AMethodIsDescribedByItsSignatureAndNamedByPosition) {
  const Json service = fPage.connect().ask({{"op", "describe"}, {"service", "Test"}})["service"];
  EXPECT_EQ(service["name"], "Test");
  EXPECT_EQ(service["description"], "For tests.");
  const Json add = Json::parse(R"json({
      "name": "add", "signature": "(int, int) -> int", "description": "Adds two numbers.",
      "parameters": [{"name": "one", "type": "int", "description": "The first."},
                     {"name": "", "type": "int", "description": ""}],
      "result": {"type": "int", "name": "sum", "description": "Both."},
      "examples": [{"language": "python", "text": "proxy.add(1, 2)"}], "returnsFuture": false,
      "isReading": false})json");
  EXPECT_EQ(service["methods"][0], add);
  EXPECT_EQ(service["methods"].back()["name"], "later");
  EXPECT_EQ(service["methods"].back()["returnsFuture"], true);
}

TEST_F(OpsTest, MethodsThatOnlyReadAreToldApart) {
  const Json service = fPage.connect().ask({{"op", "describe"}, {"service", "Test"}})["service"];
  std::vector<std::string> readings;
  for (const Json& method : service["methods"]) {
    if (method["isReading"] == true) readings.push_back(method["name"]);
  }
  EXPECT_THAT(readings, ElementsAre("look"));
}

TEST_F(OpsTest, MethodsForCallersInsideAreNotDescribed) {
  const Json service =
      fPage.connect().ask({{"op", "describe"}, {"service", "HBMemory"}})["service"];
  std::vector<std::string> names;
  for (const Json& method : service["methods"]) names.push_back(method["name"]);
  EXPECT_THAT(names, ElementsAre("getData", "insertData", "unsubscribe"));
}

TEST_F(OpsTest, AServiceThatIsNotThereIsNamed) {
  const std::string text = "There is no service 'Tset'; there are HBMemory, Test";
  auto client = fPage.connect();
  EXPECT_EQ(refusalIn(client.ask({{"op", "describe"}, {"service", "Tset"}})), text);
  EXPECT_EQ(refusalIn(client.call("Tset", "add")), text);
}

TEST_F(OpsTest, ReadGivesOneValueOfTheMemory) {
  fPage.memory.insert("a", 0.25f);
  auto client = fPage.connect();
  const Json reply = client.ask({{"op", "read"}, {"key", "a"}});
  EXPECT_EQ(reply, (Json{{"id", reply["id"]}, {"value", 0.25}}));
  const Json unknown = client.ask({{"op", "read"}, {"key", "b"}});
  EXPECT_EQ(unknown["error"]["kind"], "invalid_argument");
  EXPECT_EQ(unknown["error"]["text"], "HBMemory: no key 'b'");
  EXPECT_THAT(refusalIn(client.ask({{"op", "read"}, {"key", std::string(1025, 'k')}})),
              HasSubstr("the limit is 1024"));
}

TEST_F(OpsTest, StateTellsWhatStandsAndWhatRuns) {
  fPage.server->setModules([] { return std::vector<std::string>{"memory", "motion"}; });
  fPage.server->setReady("Vanto");
  auto client = fPage.connect("ada");
  const int stay = client.begin({{"op", "call"}, {"service", "Test"}, {"method", "stay"}});
  fPage.awaitInside(1);
  const Json state = client.ask({{"op", "state"}});
  EXPECT_EQ(state["robot"], "Vanto");
  EXPECT_EQ(state["ready"], true);
  EXPECT_GE(state["uptime"], 0);
  EXPECT_EQ(state["services"], (Json{"HBMemory", "Test"}));
  EXPECT_EQ(state["modules"], (Json{"memory", "motion"}));
  ASSERT_EQ(state["running"].size(), 1u);
  const Json& running = state["running"][0];
  EXPECT_EQ(running["client"], "ada");
  EXPECT_EQ(running["transport"], "web");
  EXPECT_EQ(running["service"], "Test");
  EXPECT_EQ(running["method"], "stay");
  EXPECT_GE(running["ms"], 0);
  EXPECT_EQ(client.ask({{"op", "stopCall"}, {"call", running["call"]}})["found"], true);
  EXPECT_TRUE(client.replyTo(stay)["value"].is_null());
  EXPECT_EQ(client.ask({{"op", "stopCall"}, {"call", running["call"]}})["found"], false);
}

TEST_F(OpsTest, StateTellsTheLatestCallsAndThoseThatFailed) {
  auto client = fPage.connect("ada");
  client.call("Test", "add", {1, 2});
  client.call("Test", "fail");
  client.call("Test", "add", {1, 3});
  client.call("Test", "add", {2, 3});
  client.call("Test", "look");
  const Json latest = client.ask({{"op", "state"}})["latest"];
  ASSERT_EQ(latest.size(), 3u) << latest;
  EXPECT_EQ(latest[0]["method"], "fail");
  EXPECT_EQ(latest[0]["error"], "There is no <b>such</b> thing");
  EXPECT_EQ(latest[1]["args"], "[1, 3]");
  EXPECT_EQ(latest[1]["error"], "");
  EXPECT_EQ(latest[1]["client"], "ada");
  EXPECT_EQ(latest[1]["transport"], "web");
  EXPECT_GT(latest[1]["when"], 1.5e9);
  EXPECT_GE(latest[1]["ms"], 0);
  EXPECT_EQ(latest[2]["args"], "[2, 3]");
  EXPECT_GT(latest[2]["call"], latest[1]["call"]);
}

TEST_F(OpsTest, WhoTellsWhoMadeACall) {
  auto client = fPage.connect("ada");
  client.call("Test", "add", {1, 2});
  const int stay = client.begin({{"op", "call"}, {"service", "Test"}, {"method", "stay"}});
  fPage.awaitInside(1);
  const Json calls = client.ask({{"op", "who"}, {"calls", {2, 7, 1, 1, 0}}})["calls"];
  ASSERT_EQ(calls.size(), 5u);
  EXPECT_EQ(calls[0]["method"], "stay");
  EXPECT_TRUE(calls[1].is_null());
  EXPECT_EQ(calls[2]["method"], "add");
  EXPECT_EQ(calls[2]["client"], "ada");
  EXPECT_EQ(calls[2]["transport"], "web");
  EXPECT_EQ(calls[2]["service"], "Test");
  EXPECT_GT(calls[2]["when"], 1.5e9);
  EXPECT_EQ(calls[3], calls[2]);
  EXPECT_TRUE(calls[4].is_null()) << "what no call did has the origin 0";
  client.ask({{"op", "stop"}, {"call", stay}});
  client.replyTo(stay);
}

TEST_F(OpsTest, AnOperationThatIsNotThereIsRefused) {
  auto client = fPage.connect();
  EXPECT_EQ(refusalIn(client.ask({{"op", "destroy"}})),
            "There is no 'op' of that name: \"destroy\"");
  EXPECT_EQ(client.call("Test", "add", {1, 2})["value"], 3);
}

TEST_F(OpsTest, FieldsOfTheWrongTypeAreNamed) {
  auto client = fPage.connect();
  const std::vector<Json> wrong{nullptr, 1, -1, 1.5, true, Json::array(), Json::object(), "", "x"};
  struct Field {
    const char* op;
    const char* name;
    Json request;
  };
  const std::vector<Field> fields{
      {"watch", "pattern", {}},
      {"read", "key", {}},
      {"describe", "service", {}},
      {"call", "service", {{"method", "add"}}},
      {"call", "method", {{"service", "Test"}}},
      {"call", "args", {{"service", "Test"}, {"method", "nothing"}}},
      {"stop", "call", {}},
      {"stopCall", "call", {}},
      {"who", "calls", {}},
      {"log", "level", {}},
  };
  for (const Field& field : fields) {
    for (const Json& value : wrong) {
      Json request = field.request.is_null() ? Json::object() : field.request;
      request["op"] = field.op;
      request[field.name] = value;
      const Json reply = client.ask(request);
      if (!reply.contains("error")) continue;  // some of them fit some fields
      EXPECT_FALSE(reply["error"]["text"].get<std::string>().empty());
    }
    Json without = field.request.is_null() ? Json::object() : field.request;
    without["op"] = field.op;
    const Json reply = client.ask(without);
    if (std::string(field.name) == "args") continue;  // may be left out
    EXPECT_THAT(refusalIn(reply), HasSubstr("'" + std::string(field.name) + "' must be"));
  }
  EXPECT_EQ(client.call("Test", "add", {1, 2})["value"], 3) << "and goes on";
}

}  // namespace
}  // namespace web
