#include "tavro/module_library.h"

#include <dlfcn.h>

#include <filesystem>
#include <fstream>

namespace tavro {

ModuleLibrary::ModuleLibrary(const std::string& file) {
  // Without a slash the system's folders would be searched instead.
  const std::string path = std::filesystem::absolute(file).string();
  fHandle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (fHandle == nullptr) throw HB::HBError(dlerror());
  fEntryPoint = reinterpret_cast<EntryPoint>(dlsym(fHandle, "_createModule"));
  if (fEntryPoint == nullptr) {
    dlclose(fHandle);
    throw HB::HBError(path + ": not a module, it exports no _createModule");
  }
}

ModuleLibrary::~ModuleLibrary() {
  if (fHandle != nullptr) dlclose(fHandle);
}

bool ModuleLibrary::isMapped(const std::string& file) {
  std::error_code ignored;
  const std::string path = std::filesystem::canonical(file, ignored).string();
  if (path.empty()) return false;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.ends_with(path)) return true;
  }
  return false;
}

std::string moduleNameOf(const std::string& file) {
  std::string name = std::filesystem::path(file).stem().string();
  if (name.starts_with("lib")) name.erase(0, 3);
  return name;
}

}  // namespace tavro
