#include "framework/hb/hb_module_core.h"

#include <utility>

#include "framework/xo/call.h"
#include "framework/xo/event_loop.h"
#include "framework/xo/log.h"

namespace HB {
namespace {

const xo::log::Category kLog("HBModule");

}  // namespace

HBModuleCore::HBModuleCore(std::shared_ptr<HBBroker> broker, std::string name)
    : fName(std::move(name)),
      fBroker(std::move(broker)),
      fEnding(xo::CallScope::currentEnding() != nullptr ? xo::CallScope::currentEnding()
                                                        : &fOwnEnding),
      fBuilder(fName) {}

HBModuleCore::~HBModuleCore() = default;

void HBModuleCore::setMetaObject(const std::string& description) {
  if (fRegistration) throw HBError(fName + ": its description is published already");
  setModuleDescription(description);
}

xo::Future<HBValue> HBModuleCore::metaCall(const std::string& method, const HBValue::List& args) {
  try {
    auto result = self().callDynamic(method, args);
    return result.future ? *result.future : xo::makeReadyFuture(std::move(result.value));
  } catch (...) {
    return xo::makeFailedFuture<HBValue>(xo::copyCurrentException());
  }
}

void HBModuleCore::metaPost(const std::string& method, const HBValue::List& args) {
  xo::getEventLoop().post([object = self(), name = fName, method, args] {
    try {
      object.callDynamic(method, args);
    } catch (const std::exception& error) {
      kLog.error("Posted call " + name + "." + method + " failed: " + error.what());
    }
  });
}

int HBModuleCore::metaConnect(const std::string& signal, std::function<void(const HBValue&)>) {
  throw HBError(fName + " has no signal '" + signal + "'");
}

void HBModuleCore::metaDisconnect(int connection) {
  throw HBError(fName + " has no connection " + std::to_string(connection));
}

HBValue HBModuleCore::metaProperty(const std::string& property) {
  throw HBError(fName + " has no property '" + property + "'");
}

void HBModuleCore::metaSetProperty(const std::string& property, const HBValue&) {
  throw HBError(fName + " has no property '" + property + "'");
}

HBValue HBModuleCore::execute(const std::string& method, const HBValue::List& args) {
  return metaCall(method, args).value();
}

std::string HBModuleCore::version() { return "1.0.0"; }

void HBModuleCore::setModuleDescription(const std::string& description) {
  fBuilder.setDescription(description);
}

void HBModuleCore::functionName(const std::string& method, const std::string& module,
                                const std::string& description) {
  if (module != fName) {
    throw HBError("Method " + method + " is documented for " + module + ", not " + fName);
  }
  fOpenDoc = xo::MethodDoc{method, description, {}, std::nullopt, {}};
}

xo::MethodDoc& HBModuleCore::openDoc() {
  if (!fOpenDoc) throw HBError(fName + ": functionName comes before a method's details");
  return *fOpenDoc;
}

void HBModuleCore::addParam(const std::string& name, const std::string& text) {
  openDoc().params.push_back({name, text});
}

void HBModuleCore::setReturn(const std::string& name, const std::string& text) {
  openDoc().returns = xo::NamedText{name, text};
}

void HBModuleCore::addMethodExample(const std::string& language, const std::string& text) {
  openDoc().examples.push_back({language, text});
}

void HBModuleCore::bindMethodOverload(xo::Method functor) {
  functor.info.doc = takeDoc();
  bind(std::move(functor));
}

xo::MethodDoc HBModuleCore::takeDoc() {
  auto doc = std::move(openDoc());
  fOpenDoc.reset();
  return doc;
}

void HBModuleCore::bind(xo::Method method) {
  if (fRegistration) throw HBError(fName + ": its methods are published already");
  fBuilder.add(std::move(method));
}

xo::Object HBModuleCore::self() const {
  return fRegistration ? fRegistration->object() : xo::Object();
}

}  // namespace HB
