// A service seen by name, for modules that need no more than that.
#pragma once

#include <string>
#include <string_view>

#include "framework/xo/object.h"

namespace HB {

/// Thread-safe. Errors of `call` are those of `xo::Object::call`.
class HBProxy {
 public:
  HBProxy(std::string service, xo::Object object);
  virtual ~HBProxy();

  const std::string& name() const { return fName; }
  const xo::Object& object() const { return fObject; }

  template <class R = void, class... A>
  R call(std::string_view method, const A&... args) const {
    return fObject.call<R>(method, args...);
  }

 private:
  std::string fName;
  xo::Object fObject;
};

}  // namespace HB
