// Completion over a robot that knows some names.
#include <algorithm>

#include "fuzz/bytes.h"
#include "fuzz/harness.h"
#include "fuzz/words_target.h"
#include "tools/ledctl/completion.h"

namespace fuzz {
namespace {

using Kind = xo::Type::Kind;

xo::MethodInfo row(const std::string& name,
                   const std::vector<std::pair<std::string, xo::Type>>& params,
                   const xo::Type& result = {Kind::kVoid, {}}) {
  xo::MethodInfo made;
  made.doc.name = name;
  made.doc.description = "About " + name + ".";
  for (const auto& [text, type] : params) {
    made.doc.params.push_back({type.text(), text});
    made.signature.params.push_back(type);
  }
  made.signature.result = result;
  return made;
}

xo::ObjectInfo makeTable() {
  const xo::Type boolean{Kind::kBool, {}};
  const xo::Type integer{Kind::kInt, {}};
  const xo::Type number{Kind::kFloat, {}};
  const xo::Type text{Kind::kString, {}};
  const xo::Type value{Kind::kValue, {}};
  const xo::Type texts{Kind::kList, {text}};
  const xo::Type numbers{Kind::kList, {{Kind::kList, {number}}}};
  const std::string name = "The name of the LED or Group.";
  return {
      "Lights.",
      {row("createGroup", {{"The group", text}, {"LED names", texts}}),
       row("fadeRGB", {{name, text}, {R"(A color: "red", "green")", text}, {"Seconds", number}}),
       row("fadeRGB", {{name, text}, {"RGB", integer}, {"Seconds", number}}),
       row("fadeListRGB", {{name, value}, {"Colors", value}, {"Times", value}}),
       row("animate", {{"Keys that the memory has", texts}, {"Times", numbers}}),
       row("_enable", {{"Whether", boolean}}), row("listGroups", {}, texts),
       row("listLEDs", {}, texts), row("listKeys", {{"A pattern of keys", text}}, texts)}};
}

/// Its names are what a robot may have: some of them hostile.
class Names final : public ledctl::NameSource {
 public:
  std::vector<std::string> services() override { return {"HBLeds", "HBMemory", "a\nb", ""}; }
  xo::ObjectInfo describe(const std::string&) override { return tableOfAllTypes(); }
  std::vector<std::string> list(const std::string&, const std::string& method,
                                const std::vector<std::string>&) override {
    if (method == "listKeys") return {"Device/SubDeviceList/Face/Led/Red", "Device/", "/", ""};
    return {"FaceLeds", "FaceLed0", "Ear Leds", "quo\"te", "\x1b[2J", ""};
  }
};

void requireLines(const ledctl::Typed& typed, const std::vector<std::string>& lines) {
  require(std::ranges::is_sorted(lines), "candidates are not ascending");
  for (const auto& line : lines) {
    require(line.starts_with(typed.start + typed.current), "a candidate that does not go on");
    require(std::ranges::none_of(line.substr(typed.start.size() + typed.current.size()),
                                 [](char c) { return static_cast<unsigned char>(c) < ' '; }),
            "a candidate that is no line");
  }
}

}  // namespace

const xo::ObjectInfo& tableOfAllTypes() {
  static const xo::ObjectInfo table = makeTable();
  return table;
}

void tryCompletion(std::string_view text) {
  const auto words = linesOf(text);
  const auto typed = ledctl::readTyped(words);
  requireLines(typed, ledctl::fixedCandidates(typed));
  Names names;
  requireLines(typed, ledctl::robotCandidates(typed, names));
}

}  // namespace fuzz
