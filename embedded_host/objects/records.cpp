#include "embedded_host/objects/records.h"

#include <utility>

#include "embedded_host/arrays/host_entry.h"
#include "embedded_host/messages/dispatcher.h"

namespace vormel {
namespace {

using ntob::TOBClassInfo;
using ntob::TOBMethodInfo;
using ntob::TOBPackageInfo;
using Packages = std::vector<std::unique_ptr<PackageRecord>>;

std::string textOf(const char* text) { return text != nullptr ? text : ""; }

std::string qualified(const std::string& package, const std::string& name) {
  return package.empty() ? name : package + '.' + name;
}

// A null descriptor means that the module had no memory for it, and registers nothing.
template <class Record, class Descriptor, class... Context>
void addTo(std::vector<std::unique_ptr<Record>>& records, std::unique_ptr<Descriptor> descriptor,
           Context&... context) {
  if (descriptor == nullptr) return;
  records.push_back(std::make_unique<Record>(context..., std::move(descriptor)));
}

Packages& registry() {
  static auto& roots = *new Packages;  // descriptors live to the end of the process
  return roots;
}

const Signature& signatureOf(const TOBMethodInfo& method) {
  static const Signature nothing;
  const auto* signature = static_cast<const Signature*>(method.getSignature());
  return signature != nullptr ? *signature : nothing;
}

}  // namespace

// ---- Methods ----

MethodRecord::MethodRecord(ClassRecord& owner, std::unique_ptr<TOBMethodInfo> descriptor)
    : owner_(owner),
      descriptor_(std::move(descriptor)),
      name_(textOf(descriptor_->getName())),
      inputs_(&signatureOf(*descriptor_).inputs()),
      outputs_(&signatureOf(*descriptor_).outputs()),
      functionHandle_(vormel::functionHandle(name_)),
      isConstructor_(name_ == owner.name() && outputs_->size() == 1 &&
                     outputs_->front().name == owner.nameID()) {
  const bool takesObject = !inputs_->empty() && (inputs_->front().type == CellType::Any ||
                                                 inputs_->front().type == CellType::Object);
  isDispatchedOnObject_ = takesObject && !isConstructor_ && !descriptor_->isStatic();
}

MethodRecord::~MethodRecord() = default;

// ---- Classes ----

ClassRecord::ClassRecord(const std::string& packageName, std::unique_ptr<TOBClassInfo> descriptor)
    : descriptor_(std::move(descriptor)),
      name_(textOf(descriptor_->getName())),
      fullName_(qualified(packageName, name_)),
      nameID_(fullName_.c_str()) {}

ClassRecord::~ClassRecord() = default;

void ClassRecord::load() {
  if (isLoaded_) return;
  const HostEntry entry;
  isLoaded_ = true;
  descriptor_->loadMethods(this);
}

const std::vector<std::unique_ptr<MethodRecord>>& ClassRecord::methods() {
  load();
  return methods_;
}

const MethodRecord* ClassRecord::findMethod(std::string_view name) {
  load();
  const auto found = firstByName_.find(name);
  return found != firstByName_.end() ? found->second : nullptr;
}

const MethodRecord* ClassRecord::constructor() {
  load();
  for (const auto& method : methods_) {
    if (method->isConstructor()) return method.get();
  }
  return nullptr;
}

void ClassRecord::add(std::unique_ptr<TOBMethodInfo> method) {
  if (method == nullptr) return;
  addTo(methods_, std::move(method), *this);
  const MethodRecord* added = methods_.back().get();
  try {
    firstByName_.try_emplace(added->name(), added);
  } catch (...) {
    methods_.pop_back();  // both tables contain the method, or neither does
    throw;
  }
}

// ---- Packages ----

PackageRecord::PackageRecord(const std::string& parentName,
                             std::unique_ptr<TOBPackageInfo> descriptor)
    : descriptor_(std::move(descriptor)),
      name_(textOf(descriptor_->getName())),
      fullName_(qualified(parentName, name_)) {}

PackageRecord::~PackageRecord() = default;

void PackageRecord::load() {
  if (isLoaded_) return;
  const HostEntry entry;
  isLoaded_ = true;
  descriptor_->loadPackageContents(this);
}

const Packages& PackageRecord::subPackages() {
  load();
  return subPackages_;
}

const std::vector<std::unique_ptr<ClassRecord>>& PackageRecord::classes() {
  load();
  return classes_;
}

void PackageRecord::add(std::unique_ptr<TOBPackageInfo> package) {
  addTo(subPackages_, std::move(package), fullName_);
}

void PackageRecord::add(std::unique_ptr<TOBClassInfo> cls) {
  addTo(classes_, std::move(cls), fullName_);
}

// ---- The registry ----

const Packages& rootPackages() noexcept { return registry(); }

void forgetRootPackagesAfter(std::size_t count) noexcept {
  while (registry().size() > count) registry().pop_back();
}

namespace {

// The names between the dots, including empty ones.
std::vector<std::string_view> partsOf(std::string_view path) {
  std::vector<std::string_view> parts;
  for (std::size_t dot = path.find('.'); dot != std::string_view::npos; dot = path.find('.')) {
    parts.push_back(path.substr(0, dot));
    path.remove_prefix(dot + 1);
  }
  parts.push_back(path);
  return parts;
}

void appendNamed(std::vector<PackageRecord*>& found, const Packages& packages,
                 std::string_view name) {
  for (const auto& package : packages) {
    if (package->name() == name) found.push_back(package.get());
  }
}

// All packages of that full name, since modules may share one.
std::vector<PackageRecord*> packagesNamed(std::string_view fullName) {
  const std::vector<std::string_view> parts = partsOf(fullName);
  std::vector<PackageRecord*> level;
  appendNamed(level, registry(), parts.front());
  for (std::size_t i = 1; i < parts.size(); ++i) {
    std::vector<PackageRecord*> below;
    for (PackageRecord* package : level) appendNamed(below, package->subPackages(), parts[i]);
    level = std::move(below);
  }
  return level;
}

}  // namespace

PackageRecord* findPackage(std::string_view fullName) {
  const std::vector<PackageRecord*> packages = packagesNamed(fullName);
  return packages.empty() ? nullptr : packages.front();
}

ClassRecord* findClass(std::string_view fullName) {
  const std::size_t dot = fullName.rfind('.');
  if (dot == std::string_view::npos) return nullptr;
  for (PackageRecord* package : packagesNamed(fullName.substr(0, dot))) {
    for (const auto& cls : package->classes()) {
      if (cls->name() == fullName.substr(dot + 1)) return cls.get();
    }
  }
  return nullptr;
}

}  // namespace vormel

// ---- What modules call ----

namespace ntob {

void TOBPackage::addPackage(TOBPackageInfo* package) {
  const std::string noParent;
  vormel::addTo(vormel::registry(), std::unique_ptr<TOBPackageInfo>(package), noParent);
}

void TOBPackage::addSubPackage(TOBPackageInfo* package) {
  static_cast<vormel::PackageRecord*>(this)->add(std::unique_ptr<TOBPackageInfo>(package));
}

void TOBPackage::addClass(TOBClassInfo* cls) {
  static_cast<vormel::PackageRecord*>(this)->add(std::unique_ptr<TOBClassInfo>(cls));
}

void TOBClass::addMethod(TOBMethodInfo* method) {
  static_cast<vormel::ClassRecord*>(this)->add(std::unique_ptr<TOBMethodInfo>(method));
}

void TOBClass::getClassNameID(TOBNameID& name) const {
  name = static_cast<const vormel::ClassRecord*>(this)->nameID();
}

}  // namespace ntob
