#include "embedded_host/interpreter/module_file.h"

#include <dlfcn.h>

#include "embedded_host/messages/host_exception.h"

namespace vormel {
namespace {

struct CloseLibrary {
  void* library;
  ~CloseLibrary() {
    if (library != nullptr) dlclose(library);
  }
};

std::string linkerMessage() {
  const char* message = dlerror();
  return message != nullptr ? message : "unknown reason";
}

}  // namespace

ModuleFile::ModuleFile(const std::string& path, const std::string& name)
    : library_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)), path_(path) {
  if (library_ == nullptr) {
    throw HostError("NotAModule", path + " cannot be loaded as a module: " + linkerMessage());
  }
  CloseLibrary onFailure{library_};
  initialize_ = reinterpret_cast<void (*)()>(requireExport("VMInitialize_" + name));
  requireExport("VMTerminate_" + name);
  requireExport("QueryVMFcnTable_" + name);
  requireExport("QueryVMFcns_" + name);
  version_ = exportedText(name + "_version");
  buildDate_ = exportedText(name + "_build_date");
  onFailure.library = nullptr;
}

ModuleFile::~ModuleFile() { const CloseLibrary close{library_}; }

void* ModuleFile::requireExport(const std::string& symbol) const {
  void* address = dlsym(library_, symbol.c_str());
  if (address != nullptr) return address;
  throw HostError("MissingExport", path_ + " is no module: it does not export " + symbol + ".");
}

std::string ModuleFile::exportedText(const std::string& symbol) const {
  const char* text = *static_cast<const char* const*>(requireExport(symbol));
  return text != nullptr ? text : "";
}

}  // namespace vormel
