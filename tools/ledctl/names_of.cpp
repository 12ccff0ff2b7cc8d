#include "tools/ledctl/names_of.h"

#include <algorithm>
#include <cctype>
#include <optional>

namespace ledctl {

namespace {

using Kind = xo::Type::Kind;

bool isUpper(char one) { return std::isupper(static_cast<unsigned char>(one)) != 0; }
bool isLetter(char one) { return std::isalpha(static_cast<unsigned char>(one)) != 0; }

bool isListOfTexts(const xo::Type& type) {
  return type.kind == Kind::kList && type.element.front().kind == Kind::kString;
}

/// What a method's name says that it lists: "group" of "listGroups", "module" of "modules".
std::optional<Lister> asLister(const xo::MethodInfo& method) {
  const auto& params = method.signature.params;
  const bool takesPattern = params.size() == 1 && params.front().kind == Kind::kString &&
                            !method.doc.params.empty() && method.doc.params[0].name == "pattern";
  if (!isListOfTexts(method.signature.result) || (!params.empty() && !takesPattern)) return {};
  return Lister{method.doc.name, takesPattern};
}

}  // namespace

std::vector<std::string> quotedWords(std::string_view text) {
  std::vector<std::string> words;
  for (std::size_t open = text.find('"'); open != std::string_view::npos;) {
    const auto close = text.find('"', open + 1);
    if (close == std::string_view::npos) break;
    const auto word = text.substr(open + 1, close - open - 1);
    if (!word.empty() && word.find(' ') == std::string_view::npos) words.emplace_back(word);
    open = text.find('"', close + 1);
  }
  return words;
}

std::vector<std::string> plainWords(std::string_view text) {
  std::vector<std::string> words;
  std::string word;
  const auto finish = [&] {
    if (word.size() > 2 && word.back() == 's') word.pop_back();
    if (!word.empty()) words.push_back(std::move(word));
    word.clear();
  };
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!isLetter(text[i])) {
      finish();
      continue;
    }
    // "ledNames" has two words, "LEDs" and "LED" have one.
    if (isUpper(text[i]) && i > 0 && isLetter(text[i - 1]) && !isUpper(text[i - 1])) finish();
    word += static_cast<char>(std::tolower(static_cast<unsigned char>(text[i])));
  }
  finish();
  return words;
}

std::vector<Lister> listersFor(const xo::ObjectInfo& table, const xo::NamedText& param) {
  auto spoken = plainWords(param.name);
  const auto text = plainWords(param.text);
  spoken.insert(spoken.end(), text.begin(), text.end());
  std::vector<Lister> found;
  for (const auto& method : table.methods) {
    auto lister = asLister(method);
    if (!lister) continue;
    auto listed = plainWords(method.doc.name);
    if (listed.size() == 2 && listed.front() == "list") listed.erase(listed.begin());
    if (listed.size() != 1) continue;
    if (std::ranges::find(spoken, listed.front()) != spoken.end()) {
      found.push_back(std::move(*lister));
    }
  }
  return found;
}

}  // namespace ledctl
