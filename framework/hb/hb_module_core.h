// The lower half of a module: its documented method table and the generic ways to reach it.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/hb/hb_broker.h"
#include "framework/xo/object.h"

namespace HB {

/// Base of HBModule. The order of its virtual operations is part of the binary interface.
///
/// A constructor describes methods one after another: `functionName` opens a method's
/// documentation, `addParam`, `setReturn` and `addMethodExample` add to it, and one of the two
/// bindings ends it. Nothing is visible to others before `HBModule::initModule`. Building is for
/// the constructing thread; after that everything is thread-safe.
class HBModuleCore {
 public:
  HBModuleCore(std::shared_ptr<HBBroker> broker, std::string name);
  virtual ~HBModuleCore();
  HBModuleCore(const HBModuleCore&) = delete;
  HBModuleCore& operator=(const HBModuleCore&) = delete;

  /// Replaces the module's description as clients see it. Errors: HBError once published.
  virtual void setMetaObject(const std::string& description);
  /// Calls a published method by name; the future has its result (of a method that returns a
  /// future, what that becomes). Blocks while the method runs.
  virtual xo::Future<HBValue> metaCall(const std::string& method, const HBValue::List& args);
  /// The same on the event loop; the outcome is logged if it is an error.
  virtual void metaPost(const std::string& method, const HBValue::List& args);
  /// Modules of this framework have no signals and no properties: HBError that says so.
  virtual int metaConnect(const std::string& signal, std::function<void(const HBValue&)> listener);
  virtual void metaDisconnect(int connection);
  virtual HBValue metaProperty(const std::string& property);
  virtual void metaSetProperty(const std::string& property, const HBValue& value);
  /// Calls a published method by name and waits for its result.
  virtual HBValue execute(const std::string& method, const HBValue::List& args);
  /// "1.0.0" unless the module says otherwise.
  virtual std::string version();

  const std::string& getName() const { return fName; }
  const std::shared_ptr<HBBroker>& getParentBroker() const { return fBroker; }
  /// What ends this module's sleeps and waits: the loader's, when one is in force on the
  /// constructing thread, else the module's own.
  xo::Ending& ending() const { return *fEnding; }

 protected:
  void setModuleDescription(const std::string& description);
  void functionName(const std::string& method, const std::string& module,
                    const std::string& description);
  void addParam(const std::string& name, const std::string& text);
  void setReturn(const std::string& name, const std::string& text);
  void addMethodExample(const std::string& language, const std::string& text);

  /// Publishes the method under the opened documentation: `object` (this module, or a part of it
  /// that lives as long) and its operation. The framework decides on which thread it runs.
  template <class C, class D, class R, class... A>
  void advertiseMethod(C* object, R (D::*operation)(A...)) {
    bind(xo::makeMethod(takeDoc(), object, operation));
  }
  template <class C, class D, class R, class... A>
  void advertiseMethod(C* object, R (D::*operation)(A...) const) {
    bind(xo::makeMethod(takeDoc(), object, operation));
  }
  /// An object and its operation, made for `bindMethodOverload`: how several operations share one
  /// published name.
  template <class C, class D, class R, class... A>
  static xo::Method createFunctor(C* object, R (D::*operation)(A...)) {
    return xo::makeMethod({}, object, operation);
  }
  void bindMethodOverload(xo::Method functor);

  /// What was built so far; emptied by publication.
  xo::ObjectBuilder& builder() { return fBuilder; }
  /// The published object; empty before publication.
  xo::Object self() const;

 private:
  friend class HBModule;
  xo::MethodDoc& openDoc();
  xo::MethodDoc takeDoc();
  void bind(xo::Method method);

  const std::string fName;
  const std::shared_ptr<HBBroker> fBroker;
  xo::Ending fOwnEnding;
  xo::Ending* const fEnding;
  xo::ObjectBuilder fBuilder;
  std::optional<xo::MethodDoc> fOpenDoc;
  std::unique_ptr<xo::Session::Registration> fRegistration;
};

}  // namespace HB
