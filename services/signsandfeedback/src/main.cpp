// Entry point of libsignsandfeedback.so.
#include <memory>

#include "framework/hb/module_factory.h"
#include "services/signsandfeedback/src/signs_and_feedback.h"

HB_MODULE_ENTRY_POINT _createModule(std::shared_ptr<HB::HBBroker> broker) {
  HB::createModule<HB::HBSignsAndFeedback>(std::move(broker));
  return 0;
}
