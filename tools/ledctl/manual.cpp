#include "tools/ledctl/manual.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <vector>

#include "tools/ledctl/overload.h"

namespace ledctl {

namespace {

using Kind = xo::Type::Kind;

std::string padded(std::string text, std::size_t width) {
  text.resize(std::max(text.size(), width), ' ');
  return text;
}

std::string indented(const std::string& text, const std::string& indent) {
  std::string made = indent;
  for (const char one : text.substr(0, text.find_last_not_of('\n') + 1)) {
    made += one;
    if (one == '\n') made += indent;
  }
  return made + '\n';
}

std::string typeInWords(const xo::Type& type) {
  switch (type.kind) {
    case Kind::kVoid:
      return "nothing";
    case Kind::kValue:
      return "a value";
    case Kind::kList:
      return "a list of " + type.element.front().text() + "s";
    case Kind::kFuture:
      return "a future of " + typeInWords(type.element.front()) + " (--wait waits for it)";
    default:
      return type.text();
  }
}

std::string parameterLines(const xo::MethodInfo& method) {
  const auto& types = method.signature.params;
  const auto& documented = method.doc.params;
  std::size_t nameWidth = 0;
  std::size_t typeWidth = 0;
  for (std::size_t i = 0; i < types.size(); ++i) {
    nameWidth = std::max(nameWidth, placeholder(method, i).size());
    typeWidth = std::max(typeWidth, types[i].text().size());
  }
  std::string text;
  for (std::size_t i = 0; i < types.size(); ++i) {
    text += "    " + padded(placeholder(method, i), nameWidth) + "  " +
            padded(types[i].text(), typeWidth) + "  " +
            (i < documented.size() ? documented[i].text : "") + '\n';
  }
  for (std::size_t i = types.size(); i < documented.size(); ++i) {
    text += "    (" + documented[i].name + ": " + documented[i].text +
            " Documented only: there is no such argument.)\n";
  }
  return text;
}

std::string returnLine(const xo::MethodInfo& method) {
  if (method.signature.result.kind == Kind::kVoid && !method.doc.returns) return "";
  std::string text = "    Returns " + typeInWords(method.signature.result);
  if (method.doc.returns) text += ". " + method.doc.returns->name + ": " + method.doc.returns->text;
  return text + '\n';
}

nlohmann::ordered_json rowJson(const xo::MethodInfo& method) {
  using Json = nlohmann::ordered_json;
  const auto named = [](const xo::NamedText& one) {
    return Json{{"name", one.name}, {"text", one.text}};
  };
  Json row{{"name", method.doc.name},
           {"signature", method.signature.text()},
           {"description", method.doc.description},
           {"parameters", Json::array()},
           {"documented", Json::array()},
           {"returns", {{"type", method.signature.result.text()}}},
           {"examples", Json::array()}};
  for (std::size_t i = 0; i < method.signature.params.size(); ++i) {
    const bool isDocumented = i < method.doc.params.size();
    row["parameters"].push_back({{"name", isDocumented ? method.doc.params[i].name : ""},
                                 {"type", method.signature.params[i].text()},
                                 {"text", isDocumented ? method.doc.params[i].text : ""}});
  }
  for (const auto& param : method.doc.params) row["documented"].push_back(named(param));
  if (method.doc.returns) row["returns"].update(named(*method.doc.returns));
  for (const auto& example : method.doc.examples) {
    row["examples"].push_back({{"language", example.name}, {"text", example.text}});
  }
  return row;
}

}  // namespace

std::string methodList(const xo::ObjectInfo& table) {
  std::size_t width = 0;
  for (const auto& method : table.methods) width = std::max(width, formOf(method).size());
  std::string text;
  for (const auto& method : table.methods) {
    text += padded(formOf(method), width) + "  " + method.doc.description + '\n';
  }
  return text;
}

std::string serviceManual(const std::string& service, const xo::ObjectInfo& table) {
  std::string text = service + "\n\n";
  if (!table.description.empty()) text += indented(table.description, "") + '\n';
  return text + methodList(table);
}

std::string methodManual(std::span<const xo::MethodInfo* const> rows) {
  std::string text;
  std::vector<xo::NamedText> examples;
  for (const auto* row : rows) {
    if (!text.empty()) text += '\n';
    text += formOf(*row) + '\n' + indented(row->doc.description, "    ");
    text += parameterLines(*row) + returnLine(*row);
    for (const auto& example : row->doc.examples) {
      if (std::ranges::find(examples, example) == examples.end()) examples.push_back(example);
    }
  }
  for (const auto& example : examples) {
    text += "\nExample (" + example.name + "):\n" + indented(example.text, "    ");
  }
  return text;
}

std::string methodsJson(std::span<const xo::MethodInfo* const> rows) {
  std::string text = "[";
  for (const auto* row : rows) {
    text += text.size() > 1 ? ",\n " : "";
    text += rowJson(*row).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  }
  return text + "]";
}

}  // namespace ledctl
