#include "embedded_host/interpreter/interpreter.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "embedded_host/arrays/host_entry.h"
#include "embedded_host/functions/locked_directory.h"
#include "embedded_host/interpreter/module_file.h"
#include "embedded_host/messages/host_exception.h"
#include "embedded_host/objects/object_record.h"

namespace vormel {
namespace {

// "kvrntob" of ".../kvrntob.so".
std::string moduleName(const std::filesystem::path& path) {
  const std::string file = path.filename().string();
  return file.substr(0, file.find('.'));
}

// Lets the module register its packages: all of them, or none if it throws.
void registerPackages(const ModuleFile& file) {
  const std::size_t before = rootPackages().size();
  try {
    file.initialize();
  } catch (...) {
    forgetRootPackagesAfter(before);
    throw;
  }
}

// Visits every package, each parent before its contents.
template <class Visit>
void forEachPackage(Visit visit) {
  std::vector<PackageRecord*> waiting;  // the next one last
  const auto push = [&](const std::vector<std::unique_ptr<PackageRecord>>& packages) {
    for (auto it = packages.rbegin(); it != packages.rend(); ++it) waiting.push_back(it->get());
  };
  push(rootPackages());
  while (!waiting.empty()) {
    PackageRecord* package = waiting.back();
    waiting.pop_back();
    visit(*package);
    push(package->subPackages());
  }
}

}  // namespace

Interpreter& Interpreter::instance() {
  static auto& interpreter = *new Interpreter;
  return interpreter;
}

Interpreter::Interpreter() { removeDeadDirectories(); }

void Interpreter::loadModule(const std::string& path) {
  const HostEntry entry;
  std::error_code notFound;
  const std::filesystem::path found = std::filesystem::canonical(path, notFound);
  if (notFound) throw HostError("FileNotFound", "The module file " + path + " does not exist.");
  const std::string name = moduleName(found);
  const bool loaded = std::any_of(modules_.begin(), modules_.end(),
                                  [&](const Module& module) { return module.name == name; });
  if (loaded) throw HostError("AlreadyLoaded", "The module " + name + " is already loaded.");
  ModuleFile file(found.string(), name);
  Module module{name, found.string(), file.version(), file.buildDate()};
  modules_.reserve(modules_.size() + 1);
  file.keep();  // what the entry point throws may need the module's code
  registerPackages(file);
  modules_.push_back(std::move(module));
}

void Interpreter::loadModule() { loadModule(findInstalledModule()); }

ClassRecord& Interpreter::findClass(std::string_view fullName) const {
  const HostEntry entry;
  ClassRecord* cls = vormel::findClass(fullName);
  if (cls != nullptr) return *cls;
  throw HostError("NoSuchClass", "There is no class " + std::string(fullName) + ".");
}

std::vector<std::string> Interpreter::packageNames() const {
  const HostEntry entry;
  std::vector<std::string> names;
  forEachPackage([&](PackageRecord& package) { names.push_back(package.fullName()); });
  return names;
}

std::vector<std::string> Interpreter::classNames() const {
  const HostEntry entry;
  std::vector<std::string> names;
  forEachPackage([&](PackageRecord& package) {
    for (const auto& cls : package.classes()) names.push_back(cls->fullName());
  });
  return names;
}

Method Interpreter::method(std::string_view className, std::string_view name) const {
  const HostEntry entry;
  return Method::find(findClass(className), name);
}

Object Interpreter::construct(std::string_view className, Arguments inputs) const {
  const HostEntry entry;
  return Object::make(findClass(className), inputs);
}

void Interpreter::end(const Object& object) const { endObject(object.handle()); }

}  // namespace vormel
