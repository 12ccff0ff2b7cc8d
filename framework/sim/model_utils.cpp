#include "framework/sim/model_utils.h"

#include "framework/sim/model_content.h"

namespace HB::Model::ModelUtils {

std::map<std::string, std::string> configMapFromXml(std::string_view xml) {
  return Sim::detail::readModel(xml).config;
}

}  // namespace HB::Model::ModelUtils
