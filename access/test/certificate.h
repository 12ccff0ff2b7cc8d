// A certificate of its own for each test program, made by the openssl command.
#pragma once

#include <cstdlib>
#include <stdexcept>
#include <string>

#include "access/test/temporary_folder.h"

namespace door {

/// Vouches for itself; for the name robot.test and the address 127.0.0.1. Valid for two days.
class Certificate {
 public:
  explicit Certificate(const std::string& name = "robot.test",
                       const std::string& more = ",IP:127.0.0.1") {
    run("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 "
        "-subj /CN=" +
        name + " -addext subjectAltName=DNS:" + name + more + " -keyout " + key() + " -out " +
        file());
  }
  std::string file() const { return fFolder.file("robot.crt"); }
  std::string key() const { return fFolder.file("robot.key"); }

 private:
  void run(const std::string& command) const {
    const std::string log = fFolder.file("openssl.log");
    if (std::system((command + " >" + log + " 2>&1").c_str()) != 0) {
      throw std::runtime_error("this failed: " + command);
    }
  }
  TemporaryFolder fFolder;
};

}  // namespace door
