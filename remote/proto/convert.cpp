#include "remote/proto/convert.h"

#include <stdexcept>

#include "framework/hb/hb_error.h"
#include "remote/proto/utf8.h"

namespace remote {
namespace {

using HB::HBValue;
using WireType = tavro::v1::Type;

void toWireAt(const HBValue& value, tavro::v1::Value* wire, int depth) {
  switch (value.getType()) {
    case HBValue::TypeInvalid:
      wire->clear_kind();
      return;
    case HBValue::TypeBinary: {
      const auto& bytes = value.toBinary().bytes;
      wire->set_binary(bytes.data(), bytes.size());
      return;
    }
    case HBValue::TypeBool:
      wire->set_boolean(value.toBool());
      return;
    case HBValue::TypeInt:
      wire->set_integer(value.toInt());
      return;
    case HBValue::TypeFloat:
      wire->set_number(value.toFloat());
      return;
    case HBValue::TypeString:
      if (isUtf8(value.toString())) {
        wire->set_text(value.toString());
      } else {
        wire->set_raw_text(value.toString());
      }
      return;
    case HBValue::TypeList: {
      if (depth >= kNestedListsOnWire) {
        throw std::length_error("The value has more than " + std::to_string(kNestedListsOnWire) +
                                " lists within lists, which no message can hold");
      }
      auto* const values = wire->mutable_list()->mutable_values();
      values->Reserve(static_cast<int>(value.toList().size()));
      for (const auto& element : value.toList()) toWireAt(element, values->Add(), depth + 1);
      return;
    }
  }
}

void toWireText(const xo::NamedText& text, tavro::v1::NamedText* wire) {
  wire->set_name(replaceInvalidUtf8(text.name));
  wire->set_text(replaceInvalidUtf8(text.text));
}

xo::NamedText fromWireText(const tavro::v1::NamedText& wire) { return {wire.name(), wire.text()}; }

constexpr std::pair<xo::Type::Kind, WireType::Kind> kKinds[] = {
    {xo::Type::Kind::kVoid, WireType::KIND_VOID},
    {xo::Type::Kind::kBool, WireType::KIND_BOOL},
    {xo::Type::Kind::kInt, WireType::KIND_INT},
    {xo::Type::Kind::kFloat, WireType::KIND_FLOAT},
    {xo::Type::Kind::kString, WireType::KIND_STRING},
    {xo::Type::Kind::kValue, WireType::KIND_VALUE},
    {xo::Type::Kind::kList, WireType::KIND_LIST},
    {xo::Type::Kind::kFuture, WireType::KIND_FUTURE},
};

void toWireType(const xo::Type& type, WireType* wire) {
  for (const auto& [kind, wireKind] : kKinds) {
    if (kind == type.kind) wire->set_kind(wireKind);
  }
  if (!type.element.empty()) toWireType(type.element.front(), wire->mutable_element());
}

/// What makes no sense here, a kind that a newer robot may have or a list of nothing, is read as
/// "value": whoever calls lets the robot judge.
xo::Type fromWireType(const WireType& wire) {
  xo::Type type{xo::Type::Kind::kValue, {}};
  for (const auto& [kind, wireKind] : kKinds) {
    if (wireKind == wire.kind()) type.kind = kind;
  }
  if (type.kind != xo::Type::Kind::kList && type.kind != xo::Type::Kind::kFuture) return type;
  if (!wire.has_element()) return {xo::Type::Kind::kValue, {}};
  type.element.push_back(fromWireType(wire.element()));
  return type;
}

}  // namespace

void toWire(const HBValue& value, tavro::v1::Value* wire) { toWireAt(value, wire, 0); }

HBValue fromWire(const tavro::v1::Value& wire) {
  switch (wire.kind_case()) {
    case tavro::v1::Value::kBoolean:
      return wire.boolean();
    case tavro::v1::Value::kInteger:
      return static_cast<int>(wire.integer());
    case tavro::v1::Value::kNumber:
      return wire.number();
    case tavro::v1::Value::kText:
      return wire.text();
    case tavro::v1::Value::kRawText:
      return wire.raw_text();
    case tavro::v1::Value::kList: {
      HBValue::List list;
      list.reserve(static_cast<std::size_t>(wire.list().values_size()));
      for (const auto& element : wire.list().values()) list.push_back(fromWire(element));
      return list;
    }
    case tavro::v1::Value::kBinary:
      return HB::Binary{{wire.binary().begin(), wire.binary().end()}};
    case tavro::v1::Value::KIND_NOT_SET:
      break;
  }
  return {};
}

void toWire(const xo::MethodInfo& method, tavro::v1::Method* wire) {
  wire->set_name(replaceInvalidUtf8(method.doc.name));
  wire->set_description(replaceInvalidUtf8(method.doc.description));
  for (const auto& param : method.doc.params) toWireText(param, wire->add_params());
  if (method.doc.returns) toWireText(*method.doc.returns, wire->mutable_returns());
  for (const auto& example : method.doc.examples) toWireText(example, wire->add_examples());
  auto* const signature = wire->mutable_signature();
  for (const auto& param : method.signature.params) toWireType(param, signature->add_params());
  toWireType(method.signature.result, signature->mutable_result());
  signature->set_text(method.signature.text());
}

xo::MethodInfo fromWire(const tavro::v1::Method& wire) {
  xo::MethodInfo method;
  method.doc.name = wire.name();
  method.doc.description = wire.description();
  for (const auto& param : wire.params()) method.doc.params.push_back(fromWireText(param));
  if (wire.has_returns()) method.doc.returns = fromWireText(wire.returns());
  for (const auto& example : wire.examples()) method.doc.examples.push_back(fromWireText(example));
  for (const auto& param : wire.signature().params()) {
    method.signature.params.push_back(fromWireType(param));
  }
  method.signature.result = fromWireType(wire.signature().result());
  return method;
}

void errorToWire(const std::string& kind, const std::string& text, tavro::v1::CallError* wire) {
  wire->set_kind(kind);
  if (isUtf8(text)) {
    wire->set_text(text);
  } else {
    wire->set_text(replaceInvalidUtf8(text));
    wire->set_raw_text(text);
  }
}

const std::string& exactText(const tavro::v1::CallError& wire) {
  return wire.raw_text().empty() ? wire.text() : wire.raw_text();
}

std::exception_ptr makeError(const std::string& kind, const std::string& text) {
  if (kind == "HBError") return std::make_exception_ptr(HB::HBError(text));
  return xo::makeException(kind, text);
}

std::exception_ptr errorFromWire(const tavro::v1::CallError& wire) {
  return makeError(wire.kind(), exactText(wire));
}

}  // namespace remote
