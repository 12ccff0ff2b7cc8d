#include "tools/ledctl/completion.h"

#include <algorithm>
#include <set>

#include "tools/ledctl/names_of.h"
#include "tools/ledctl/options.h"

namespace ledctl {

namespace {

using Kind = xo::Type::Kind;
using Names = std::set<std::string>;

/// As the shell would hand the word to the program; an open quote ends with the word.
std::string unquoted(std::string_view word) {
  std::string made;
  char quote = 0;
  for (std::size_t i = 0; i < word.size(); ++i) {
    const char one = word[i];
    if (one == '\\' && quote != '\'' && i + 1 < word.size()) {
      made += word[++i];
    } else if (quote != 0 ? one == quote : one == '"' || one == '\'') {
      quote = quote != 0 ? '\0' : one;
    } else {
      made += one;
    }
  }
  return made;
}

bool takesValue(std::string_view option) {
  const auto all = optionNames();
  const auto found = std::ranges::find(all, option, &OptionName::name);
  return found != all.end() && found->takesValue;
}

/// One name to a line: what the shell cannot show as one is left out.
bool isOneLine(const std::string& name) {
  return !name.empty() &&
         std::ranges::none_of(name, [](char c) { return static_cast<unsigned char>(c) < ' '; });
}

/// Those that begin with the current word, each with what stands before it.
std::vector<std::string> fitting(const Typed& typed, const Names& names) {
  std::vector<std::string> made;
  for (const std::string& name : names) {
    if (isOneLine(name) && name.starts_with(typed.current)) made.push_back(typed.start + name);
  }
  return made;
}

/// Private methods are offered once their underscore is typed.
void addMethods(const xo::ObjectInfo& table, const std::string& current, Names& names) {
  for (const auto& method : table.methods) {
    const std::string& name = method.doc.name;
    if (!name.starts_with('_') || current.starts_with('_')) names.insert(name);
  }
}

/// What an argument of one row may be.
void addArguments(const Typed& typed, const xo::ObjectInfo& table, const xo::MethodInfo& row,
                  std::size_t index, const std::string& begun, NameSource& robot, Names& names) {
  const auto& type = row.signature.params[index];
  if (type.kind == Kind::kBool) names.insert({"true", "false"});
  const bool takesTexts = type.kind == Kind::kString || type.kind == Kind::kValue ||
                          (type.kind == Kind::kList && type.element[0].kind == Kind::kString);
  if (!takesTexts || index >= row.doc.params.size()) return;
  const auto& param = row.doc.params[index];
  const auto quoted = quotedWords(param.text);
  names.insert(quoted.begin(), quoted.end());
  if (!quoted.empty()) return;
  for (const auto& lister : listersFor(table, param)) {
    std::vector<std::string> arguments;
    if (lister.takesPattern) arguments.push_back(begun + "*");
    const auto listed = robot.list(typed.service, lister.method, arguments);
    names.insert(listed.begin(), listed.end());
  }
}

/// The word as the beginning of a JSON list of texts: what stands up to the text that is being
/// typed, its quote included; "" when it is none.
std::string listStart(const std::string& word) {
  if (!word.starts_with('[')) return "";
  const auto quote = word.rfind('"');
  const bool isOpen = std::ranges::count(word, '"') % 2 == 1;
  return isOpen ? word.substr(0, quote + 1) : "";
}

std::vector<std::string> argumentCandidates(const Typed& typed, const std::string& method,
                                            std::size_t index, NameSource& robot) {
  const auto table = robot.describe(typed.service);
  const std::string start = listStart(typed.current);
  const std::string begun = typed.current.substr(start.size());
  Names names;
  for (const auto& row : table.methods) {
    if (row.doc.name != method || row.signature.params.size() <= index) continue;
    const Kind kind = row.signature.params[index].kind;
    if (!start.empty() && kind != Kind::kList && kind != Kind::kValue) continue;
    if (start.empty() && kind == Kind::kList) continue;
    addArguments(typed, table, row, index, begun, robot, names);
  }
  if (start.empty()) return fitting(typed, names);
  std::erase_if(names, [&](const std::string& name) { return !name.starts_with(begun); });
  // Of one that is left, the shell completes what both have in common: up to its closing quote.
  const bool isOne = names.size() == 1;
  Names texts;
  for (const std::string& name : names) {
    texts.insert(start + name + (isOne ? "\"]" : "\""));
    if (isOne) texts.insert(start + name + "\",\"");
  }
  return fitting(typed, texts);
}

/// "Face/*" for keys such as "Device/SubDeviceList/Face/...".
std::vector<std::string> patternCandidates(const Typed& typed, NameSource& robot) {
  constexpr std::string_view kPrefix = "Device/SubDeviceList/";
  Names names;
  for (const std::string& key : robot.list("HBMemory", "listKeys", {typed.current + "*"})) {
    const std::string rest = key.starts_with(kPrefix) ? key.substr(kPrefix.size()) : key;
    names.insert(rest.substr(0, rest.find('/')) + "/*");
  }
  return fitting(typed, names);
}

}  // namespace

Typed readTyped(std::span<const std::string> words) {
  Typed typed;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string word = unquoted(words[i]);
    const bool isLast = i + 1 == words.size();
    const auto equals = word.find('=');
    const bool isOption = !typed.isAfterDashes && word.starts_with("--");
    const bool isJoined = isOption && equals != std::string::npos;
    const std::string option = isJoined ? word.substr(0, equals) : word;
    if (!typed.awaiting.empty()) {
      if (isLast) {
        typed.current = word;
        break;
      }
      typed.options.push_back(typed.awaiting + '=' + word);
      if (typed.awaiting == "--service") typed.service = word;
      typed.awaiting.clear();
    } else if (isLast) {
      typed.current = isJoined ? word.substr(equals + 1) : word;
      if (isJoined) typed.start = option + '=';
      if (isJoined) typed.awaiting = option;
    } else if (isOption && word == "--") {
      typed.isAfterDashes = true;
    } else if (isOption && takesValue(option)) {
      if (!isJoined) typed.awaiting = option;
      if (isJoined) typed.options.push_back(word);
      if (isJoined && option == "--service") typed.service = word.substr(equals + 1);
    } else if (isOption) {
      typed.options.push_back(word);
    } else {
      typed.words.push_back(word);
    }
  }
  return typed;
}

std::vector<std::string> fixedCandidates(const Typed& typed) {
  Names names;
  if (!typed.awaiting.empty()) return {};
  if (!typed.isAfterDashes && typed.current.starts_with('-')) {
    for (const auto& option : optionNames()) names.insert(std::string(option.name));
  } else if (typed.words.empty()) {
    for (const auto& command : commandNames()) names.insert(std::string(command));
  }
  return fitting(typed, names);
}

std::vector<std::string> robotCandidates(const Typed& typed, NameSource& robot) {
  Names names;
  if (typed.awaiting == "--service") {
    const auto services = robot.services();
    names.insert(services.begin(), services.end());
    return fitting(typed, names);
  }
  if (!typed.awaiting.empty()) return {};
  if (!typed.isAfterDashes && typed.current.starts_with('-')) return {};
  const auto& words = typed.words;
  const std::string command = words.empty() ? "" : words.front();
  const bool isPrefixed = command == "call" || command == "describe" || command == "bench";
  if (words.empty() || (words.size() == 1 && isPrefixed)) {
    addMethods(robot.describe(typed.service), typed.current, names);
    return fitting(typed, names);
  }
  if (command == "watch") {
    return words.size() == 1 ? patternCandidates(typed, robot) : std::vector<std::string>();
  }
  if (command == "describe") return {};
  const std::size_t skipped = isPrefixed ? 2 : 1;
  return argumentCandidates(typed, words[skipped - 1], words.size() - skipped, robot);
}

}  // namespace ledctl
