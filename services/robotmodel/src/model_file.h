// A robot model as a file: read whole, parsed, or refused with one line for people.
#pragma once

#include <string>

#include "framework/sim/model.h"

namespace HB {

/// Immutable.
class ModelFile {
 public:
  /// Errors: HBError "FILE:LINE: what is wrong", or "FILE: ..." when no line is to blame.
  explicit ModelFile(const std::string& path);

  const std::string& path() const { return fPath; }
  const std::string& xml() const { return fXml; }
  const Sim::Model& model() const { return fModel; }

 private:
  const std::string fPath;
  const std::string fXml;
  const Sim::Model fModel;
};

}  // namespace HB
