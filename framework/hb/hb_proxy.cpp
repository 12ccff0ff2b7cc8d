#include "framework/hb/hb_proxy.h"

#include <utility>

namespace HB {

HBProxy::HBProxy(std::string service, xo::Object object)
    : fName(std::move(service)), fObject(std::move(object)) {}

HBProxy::~HBProxy() = default;

}  // namespace HB
