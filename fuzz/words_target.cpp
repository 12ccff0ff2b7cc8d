// What people type at ledctl: literals, arguments, options, and the file of its configuration.
#include "fuzz/words_target.h"

#include <cctype>
#include <cmath>
#include <span>

#include "fuzz/bytes.h"
#include "fuzz/harness.h"
#include "tools/ledctl/config.h"
#include "tools/ledctl/literal.h"
#include "tools/ledctl/manual.h"
#include "tools/ledctl/options.h"
#include "tools/ledctl/overload.h"
#include "tools/ledctl/print.h"
#include "tools/ledctl/suggest.h"
#include "tools/ledctl/usage_error.h"

namespace {

using fuzz::require;
using HB::HBValue;

/// What is printed for programs is read back as what it was; numbers that JSON lacks are texts.
void tryLiteral(std::string_view text) {
  const auto value = ledctl::readLiteral(text);
  if (!value) return;
  std::string printed = ledctl::jsonText(*value);
  const auto read = ledctl::readLiteral(printed);
  require(read.has_value(), "what is printed cannot be read");
  if (fuzz::isPlanted("words") && value->getType() == HBValue::TypeList) printed += ' ';
  require(ledctl::jsonText(*read) == printed, "what is printed is read as something else");
  ledctl::plainText(*value);
}

void tryTypes(std::string_view word) {
  for (const auto& method : fuzz::tableOfAllTypes().methods) {
    for (const auto& type : method.signature.params) {
      const auto reading = ledctl::readAs(type, word);
      if (!reading) continue;
      require(reading->distance >= 0, "a negative distance");
      require(xo::matchType(type, reading->value) != xo::Match::kNone,
              "a word read as no such type");
    }
  }
}

/// The first line is the method's name, the others are its arguments.
void tryCommand(std::string_view text) {
  auto words = fuzz::linesOf(text);
  const std::string name = words.front();
  words.erase(words.begin());
  const auto& table = fuzz::tableOfAllTypes();
  try {
    const auto choice = ledctl::chooseMethod("HBLeds", table, name, words);
    const auto& params = choice.method->signature.params;
    require(choice.args.size() == params.size(), "a call with another number of arguments");
    for (std::size_t i = 0; i < params.size(); ++i) {
      require(xo::matchType(params[i], choice.args[i]) != xo::Match::kNone, "an argument's type");
    }
    ledctl::methodManual(ledctl::rowsOf("HBLeds", table, name));
  } catch (const ledctl::UsageError& error) {
    require(*error.what() != '\0', "a complaint without words");
  }
}

void tryOptions(std::string_view text) {
  const auto words = fuzz::linesOf(text);
  try {
    auto options = ledctl::readOptions(words, "");
    require(options.count >= 0, "a negative count");
    require(options.words.size() <= words.size(), "more words than were typed");
    ledctl::useConfig(ledctl::parseConfig("config", "address = 127.0.0.1:5480\ntls = yes\n"),
                      options);
  } catch (const ledctl::UsageError& error) {
    require(*error.what() != '\0', "a complaint without words");
  }
}

void tryConfig(std::string_view text) {
  try {
    ledctl::parseConfig("config", text);
  } catch (const ledctl::UsageError& error) {
    require(std::string_view(error.what()).starts_with("config:"), "a complaint names no line");
  }
}

/// Texts that a robot may send, on their way to a terminal.
void tryPrinting(std::string_view text) {
  for (const char one : ledctl::harmless(text)) {
    const bool isPlain =
        one == '\n' || one == '\t' || std::iscntrl(static_cast<unsigned char>(one)) == 0;
    require(isPlain, "a character that drives the terminal");
  }
  const auto names = fuzz::linesOf(text);
  require(ledctl::closeNames(names.front(), names).size() <= 3, "too many suggestions");
  xo::ObjectInfo table;
  for (const auto& name : names) {
    xo::MethodInfo method;
    method.doc = {name, name, {{name, name}}, xo::NamedText{name, name}, {{name, name}}};
    table.methods.push_back(std::move(method));
  }
  ledctl::serviceManual(names.front(), table);
  std::vector<const xo::MethodInfo*> rows;
  for (const auto& method : table.methods) rows.push_back(&method);
  ledctl::methodManual(rows);
  ledctl::methodsJson(rows);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > std::size_t{1} << 16) return 0;  // beyond what a shell hands over in one word
  fuzz::Bytes bytes(std::span(data, size));
  switch (bytes.below(7)) {
    case 0:
      tryLiteral(bytes.rest());
      break;
    case 1:
      tryTypes(bytes.rest());
      break;
    case 2:
      tryCommand(bytes.rest());
      break;
    case 3:
      tryOptions(bytes.rest());
      break;
    case 4:
      tryConfig(bytes.rest());
      break;
    case 5:
      fuzz::tryCompletion(bytes.rest());
      break;
    default:
      tryPrinting(bytes.rest());
  }
  return 0;
}
