#include "services/robotmodel/src/model_file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "framework/hb/hb_error.h"

namespace HB {
namespace {

[[noreturn]] void refuse(const std::string& path, const std::string& problem) {
  throw HBError(path + ": " + problem);
}

std::string readAll(const std::string& path) {
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (error) refuse(path, "cannot be read: " + error.message());
  if (std::filesystem::is_directory(status)) refuse(path, "is a folder; a model is one file");
  // What is no file (a pipe, a device) might never end.
  if (!std::filesystem::is_regular_file(status)) refuse(path, "is no ordinary file");
  std::ifstream file(path, std::ios::binary);
  if (!file) refuse(path, std::string("cannot be read: ") + std::strerror(errno));
  const auto size = std::filesystem::file_size(path, error);
  if (error) refuse(path, "cannot be read: " + error.message());
  if (size > Sim::Model::kMaxBytes) {
    refuse(path, "larger than " + std::to_string(Sim::Model::kMaxBytes >> 20) + " MB");
  }
  // A file that shrank meanwhile gives a shorter text, which is then found truncated.
  std::string text(size, '\0');
  file.read(text.data(), static_cast<std::streamsize>(size));
  if (file.bad()) refuse(path, "cannot be read to its end");
  text.resize(static_cast<std::size_t>(file.gcount()));
  return text;
}

Sim::Model parse(const std::string& path, const std::string& xml) {
  try {
    return Sim::Model(xml);
  } catch (const Sim::ModelError& error) {
    if (error.line() == 0) refuse(path, error.problem());
    throw HBError(path + ":" + std::to_string(error.line()) + ": " + error.problem());
  }
}

}  // namespace

ModelFile::ModelFile(const std::string& path)
    : fPath(path), fXml(readAll(path)), fModel(parse(path, fXml)) {}

}  // namespace HB
