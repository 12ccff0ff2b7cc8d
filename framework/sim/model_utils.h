// Reading parts of a robot model without its LEDs.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace HB::Model::ModelUtils {

/// The configuration keys of a model text ("RobotConfig/Head/Type", ...) and their values; of a key
/// listed twice, the last. Errors: `Sim::ModelError`.
std::map<std::string, std::string> configMapFromXml(std::string_view xml);

}  // namespace HB::Model::ModelUtils
