#include "embedded_host/interpreter/module_file.h"

#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>

#include "embedded_host/messages/host_exception.h"

namespace vormel {
namespace {

struct CloseLibrary {
  void* library;
  ~CloseLibrary() {
    if (library != nullptr) dlclose(library);
  }
};

constexpr const char* moduleVariable = "KVRNTOB_MODULE";

// The directory of the library that this code is in. Empty if the dynamic loader does not know.
std::filesystem::path libraryFolder() {
  static const char anchor = 0;  // some address in the library
  Dl_info library;
  if (dladdr(&anchor, &library) == 0) return {};
  std::error_code failure;
  return std::filesystem::canonical(library.dli_fname, failure).parent_path();
}

bool isFile(const std::filesystem::path& path) {
  std::error_code failure;
  return std::filesystem::is_regular_file(path, failure);
}

std::string linkerMessage() {
  const char* message = dlerror();
  return message != nullptr ? message : "the dynamic loader gives no reason";
}

}  // namespace

std::string findInstalledModule() {
  if (const char* named = secure_getenv(moduleVariable); named != nullptr && *named != '\0') {
    if (isFile(named)) return named;
    throw HostError("FileNotFound", std::string("The module file ") + named + ", which " +
                                        moduleVariable + " names, does not exist.");
  }
  const std::filesystem::path folder = libraryFolder();
  const std::string beside = folder / "kvrntob.so";
  const std::string below = folder / "kvrntob" / "kvrntob.so";
  for (const std::string& candidate : {beside, below}) {
    if (isFile(candidate)) return candidate;
  }
  throw HostError("FileNotFound", "The module kvrntob was not found: there is neither " + beside +
                                      " nor " + below + ". Set " + moduleVariable +
                                      " to the path of the module's file.");
}

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
  throw HostError("MissingExport", path_ + " is not a module: it does not export " + symbol + ".");
}

std::string ModuleFile::exportedText(const std::string& symbol) const {
  const char* text = *static_cast<const char* const*>(requireExport(symbol));
  return text != nullptr ? text : "";
}

}  // namespace vormel
