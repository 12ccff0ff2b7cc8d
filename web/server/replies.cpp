#include "web/server/replies.h"

#include <algorithm>

namespace web {
namespace {

using std::chrono::steady_clock;
using std::chrono::system_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

Json parametersOf(const xo::MethodInfo& method) {
  Json parameters = Json::array();
  const auto& named = method.doc.params;
  for (std::size_t i = 0; i < method.signature.params.size(); ++i) {
    const bool isNamed = i < named.size();
    parameters.push_back({{"name", isNamed ? named[i].name : ""},
                          {"type", method.signature.params[i].text()},
                          {"description", isNamed ? named[i].text : ""}});
  }
  return parameters;
}

Json describe(const xo::MethodInfo& method, bool isReading) {
  Json examples = Json::array();
  for (const auto& example : method.doc.examples) {
    examples.push_back({{"language", example.name}, {"text", example.text}});
  }
  const auto& returns = method.doc.returns;
  return {{"name", method.doc.name},
          {"signature", method.signature.text()},
          {"description", method.doc.description},
          {"parameters", parametersOf(method)},
          {"result",
           {{"type", method.signature.result.text()},
            {"name", returns ? returns->name : ""},
            {"description", returns ? returns->text : ""}}},
          {"examples", std::move(examples)},
          {"returnsFuture", method.signature.result.kind == xo::Type::Kind::kFuture},
          {"isReading", isReading}};
}

}  // namespace

door::Outcome failure(const std::string& kind, const std::string& text) {
  door::Outcome outcome;
  outcome.errorKind = kind;
  outcome.errorText = text;
  return outcome;
}

door::Outcome refusal(const door::Refused& refused) { return failure("refused", refused.what()); }

std::string errorReply(std::uint64_t id, const std::string& kind, const std::string& text) {
  return textOf({{"id", id}, {"error", {{"kind", kind}, {"text", text}}}});
}

std::string replyOf(std::uint64_t id, const door::Outcome& outcome, double milliseconds) {
  if (outcome.hasFailed()) return errorReply(id, outcome.errorKind, outcome.errorText);
  Json reply{{"id", id}};
  try {
    reply["value"] = toJson(outcome.value);
  } catch (const std::length_error& error) {
    return errorReply(id, "runtime_error", error.what());
  }
  if (milliseconds >= 0) reply["ms"] = milliseconds;
  return textOf(reply);
}

Json describe(const std::string& name, const door::Access& access) {
  const xo::ObjectInfo info = access.describe(name);
  Json methods = Json::array();
  for (const auto& method : info.methods) {
    methods.push_back(describe(method, access.isReading(name, method.doc.name)));
  }
  return {{"name", name}, {"description", info.description}, {"methods", std::move(methods)}};
}

Json limitsOf(const std::vector<door::NamedLimit>& limits) {
  Json list = Json::array();
  for (const auto& limit : limits) list.push_back({{"name", limit.name}, {"most", limit.most}});
  return list;
}

Json runningOf(const door::Access& access) {
  auto running = access.running();
  std::ranges::sort(running, {}, &door::RunningCall::id);
  const auto now = steady_clock::now();
  Json list = Json::array();
  for (const auto& call : running) {
    list.push_back({{"call", call.id},
                    {"client", call.client.name},
                    {"transport", call.client.transport},
                    {"service", call.service},
                    {"method", call.method},
                    {"ms", Milliseconds(now - call.since).count()}});
  }
  return list;
}

Json latestOf(const door::Access& access) {
  auto records = access.latest();
  for (auto& record : access.history()) {
    if (!record.error.empty()) records.push_back(std::move(record));
  }
  std::ranges::stable_sort(
      records, {}, [](const door::CallRecord& record) { return record.when + record.duration; });
  Json list = Json::array();
  for (const auto& record : records) {
    list.push_back({{"call", record.id},
                    {"client", record.client.name},
                    {"transport", record.client.transport},
                    {"service", record.service},
                    {"method", record.method},
                    {"args", record.args},
                    {"when", secondsOf(record.when)},
                    {"ms", Milliseconds(record.duration).count()},
                    {"error", record.error}});
  }
  return list;
}

Json callersOf(const door::Access& access, const std::vector<std::uint64_t>& ids) {
  Json list = Json::array();
  for (const auto& record : access.find(ids)) {
    if (!record) {
      list.push_back(nullptr);
      continue;
    }
    list.push_back({{"call", record->id},
                    {"client", record->client.name},
                    {"transport", record->client.transport},
                    {"service", record->service},
                    {"method", record->method},
                    {"when", secondsOf(record->when)}});
  }
  return list;
}

Json logLineOf(const LogTail::Line& line) {
  return {{"at", secondsOf(line.when)},
          {"level", xo::log::levelName(line.level)},
          {"category", line.category},
          {"text", line.text}};
}

double secondsOf(system_clock::time_point when) {
  return std::chrono::duration<double>(when.time_since_epoch()).count();
}

}  // namespace web
