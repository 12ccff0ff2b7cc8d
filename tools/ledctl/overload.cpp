#include "tools/ledctl/overload.h"

#include <algorithm>
#include <cctype>
#include <optional>

#include "tools/ledctl/literal.h"
#include "tools/ledctl/suggest.h"
#include "tools/ledctl/usage_error.h"

namespace ledctl {

namespace {

struct Attempt {
  Choice choice;
  int distance = 0;
  std::optional<std::size_t> unreadable;  // the first word that its parameter cannot take
};

Attempt tryMethod(const xo::MethodInfo& method, std::span<const std::string> words) {
  Attempt attempt{{&method, {}}, 0, std::nullopt};
  for (std::size_t i = 0; i < words.size(); ++i) {
    auto reading = readAs(method.signature.params[i], words[i]);
    if (!reading) {
      attempt.unreadable = i;
      return attempt;
    }
    attempt.distance += reading->distance;
    attempt.choice.args.push_back(std::move(reading->value));
  }
  return attempt;
}

std::string forms(const std::vector<const xo::MethodInfo*>& rows) {
  std::string text = rows.size() == 1 ? "\nUsage: " : "\nUsage, one of:";
  for (const auto* row : rows) {
    if (rows.size() > 1) text += "\n  ";
    text += "ledctl " + formOf(*row);
  }
  return text;
}

std::string count(std::size_t number) {
  if (number == 0) return "no argument";
  return std::to_string(number) + (number == 1 ? " argument" : " arguments");
}

std::string complaint(const Attempt& attempt, std::span<const std::string> words) {
  const auto& method = *attempt.choice.method;
  const std::size_t index = *attempt.unreadable;
  return method.doc.name + ": " + placeholder(method, index) + " '" + words[index] + "' is not " +
         expectation(method.signature.params[index]);
}

}  // namespace

std::string placeholder(const xo::MethodInfo& method, std::size_t index) {
  std::string name = index < method.doc.params.size() ? method.doc.params[index].name
                                                      : method.signature.params[index].text();
  for (char& one : name) one = static_cast<char>(std::toupper(static_cast<unsigned char>(one)));
  return name;
}

std::string formOf(const xo::MethodInfo& method) {
  std::string text = method.doc.name;
  for (std::size_t i = 0; i < method.signature.params.size(); ++i) {
    text += ' ' + placeholder(method, i);
  }
  return text;
}

std::vector<const xo::MethodInfo*> rowsOf(const std::string& service, const xo::ObjectInfo& table,
                                          const std::string& name) {
  std::vector<const xo::MethodInfo*> rows;
  std::vector<std::string> names;
  for (const auto& method : table.methods) {
    if (method.doc.name == name) rows.push_back(&method);
    names.push_back(method.doc.name);
  }
  if (!rows.empty()) return rows;
  std::string text = service + " has no method '" + name + "'.";
  const std::string suggestion = didYouMean(name, names);
  text += suggestion.empty() ? " 'ledctl methods' lists them." : " " + suggestion;
  throw UsageError(text);
}

Choice chooseMethod(const std::string& service, const xo::ObjectInfo& table,
                    const std::string& name, std::span<const std::string> words) {
  const auto rows = rowsOf(service, table, name);
  std::optional<Attempt> best;
  std::optional<Attempt> closestFailure;
  for (const auto* row : rows) {
    if (row->signature.params.size() != words.size()) continue;
    Attempt attempt = tryMethod(*row, words);
    if (attempt.unreadable) {
      if (!closestFailure || attempt.unreadable > closestFailure->unreadable) {
        closestFailure = std::move(attempt);
      }
    } else if (!best || attempt.distance < best->distance) {
      best = std::move(attempt);
    }
  }
  if (best) return std::move(best->choice);
  if (closestFailure) throw UsageError(complaint(*closestFailure, words) + "." + forms(rows));
  throw UsageError(name + " does not take " + count(words.size()) + "." + forms(rows));
}

}  // namespace ledctl
