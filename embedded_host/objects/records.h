// The host's records of what modules register: packages, their classes, and the methods of the
// classes.
//
// A record is made from a descriptor and owns it. The contents are loaded from the module when they
// are first needed: the first listing or look-up in a package calls loadPackageContents, in a class
// loadMethods. Each is called once. If the module throws there, the exception passes, the
// registrations before it remain, and the call is not repeated. Loading enters the host and can be
// refused like any call (HostEntry); it is repeated then. Records live to the end of the process.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "embedded_host/objects/signature.h"
#include "kvrntob/host/ntob.h"

namespace vormel {

class ClassRecord;

// One registered method. Its constructor reads from the descriptor everything that a call needs.
class VORMEL_HOST_API MethodRecord {
 public:
  MethodRecord(ClassRecord& owner, std::unique_ptr<ntob::TOBMethodInfo> descriptor);
  ~MethodRecord();
  MethodRecord(const MethodRecord&) = delete;
  MethodRecord& operator=(const MethodRecord&) = delete;

  const std::string& name() const noexcept { return name_; }
  ClassRecord& owner() const noexcept { return owner_; }
  ntob::TOBMethodInfo& descriptor() const noexcept { return *descriptor_; }

  // Types as declared; empty for a method whose signature is null.
  const std::vector<SignatureType>& inputs() const noexcept { return *inputs_; }
  const std::vector<SignatureType>& outputs() const noexcept { return *outputs_; }

  // True for a method with the name of its class and that class as its only output.
  bool isConstructor() const noexcept { return isConstructor_; }

  // True if the first input must be an object of the class: for methods whose first declared type
  // is "any" or a class, except constructors and static methods.
  bool isDispatchedOnObject() const noexcept { return isDispatchedOnObject_; }

  // The dispatcher's handle for the name.
  int functionHandle() const noexcept { return functionHandle_; }

 private:
  ClassRecord& owner_;
  std::unique_ptr<ntob::TOBMethodInfo> descriptor_;
  std::string name_;
  const std::vector<SignatureType>* inputs_;
  const std::vector<SignatureType>* outputs_;
  int functionHandle_;
  bool isConstructor_;
  bool isDispatchedOnObject_;
};

// One registered class.
class VORMEL_HOST_API ClassRecord : public ntob::TOBClass {
 public:
  ClassRecord(const std::string& packageName, std::unique_ptr<ntob::TOBClassInfo> descriptor);
  ~ClassRecord();
  ClassRecord(const ClassRecord&) = delete;
  ClassRecord& operator=(const ClassRecord&) = delete;

  const std::string& name() const noexcept { return name_; }          // "Map"
  const std::string& fullName() const noexcept { return fullName_; }  // "Dravik.kvr.Map"
  const ntob::TOBNameID& nameID() const noexcept { return nameID_; }  // of the full name
  ntob::TOBClassInfo& descriptor() const noexcept { return *descriptor_; }

  // All registrations in their order, also those of equal names.
  const std::vector<std::unique_ptr<MethodRecord>>& methods();

  // The first registration of the name, or null. Valid to the end of the process.
  const MethodRecord* findMethod(std::string_view name);

  // The class's constructor, or null.
  const MethodRecord* constructor();

  // TOBClass::addMethod.
  void add(std::unique_ptr<ntob::TOBMethodInfo> method);

 private:
  void load();

  std::unique_ptr<ntob::TOBClassInfo> descriptor_;
  std::string name_;
  std::string fullName_;
  ntob::TOBNameID nameID_;
  std::vector<std::unique_ptr<MethodRecord>> methods_;
  std::unordered_map<std::string_view, const MethodRecord*> firstByName_;  // views into the records
  bool isLoaded_ = false;
};

// One registered package.
class VORMEL_HOST_API PackageRecord : public ntob::TOBPackage {
 public:
  // `parentName` is empty for a root package.
  PackageRecord(const std::string& parentName, std::unique_ptr<ntob::TOBPackageInfo> descriptor);
  ~PackageRecord();
  PackageRecord(const PackageRecord&) = delete;
  PackageRecord& operator=(const PackageRecord&) = delete;

  const std::string& name() const noexcept { return name_; }          // "kvr"
  const std::string& fullName() const noexcept { return fullName_; }  // "Dravik.kvr"
  ntob::TOBPackageInfo& descriptor() const noexcept { return *descriptor_; }

  // Contents in the order of their registration.
  const std::vector<std::unique_ptr<PackageRecord>>& subPackages();
  const std::vector<std::unique_ptr<ClassRecord>>& classes();

  // TOBPackage::addSubPackage and addClass.
  void add(std::unique_ptr<ntob::TOBPackageInfo> package);
  void add(std::unique_ptr<ntob::TOBClassInfo> cls);

 private:
  void load();

  std::unique_ptr<ntob::TOBPackageInfo> descriptor_;
  std::string name_;
  std::string fullName_;
  std::vector<std::unique_ptr<PackageRecord>> subPackages_;
  std::vector<std::unique_ptr<ClassRecord>> classes_;
  bool isLoaded_ = false;
};

// ---- The registry of the process ----

// Root packages in the order of their registration.
VORMEL_HOST_API const std::vector<std::unique_ptr<PackageRecord>>& rootPackages() noexcept;

// Look up by full name, such as "Dravik.kvr" and "Dravik.kvr.Map". Null if there is none. Load only
// the packages on the path to the name.
VORMEL_HOST_API PackageRecord* findPackage(std::string_view fullName);
VORMEL_HOST_API ClassRecord* findClass(std::string_view fullName);

// Removes the root packages after the first `count` and deletes their descriptors.
VORMEL_HOST_API void forgetRootPackagesAfter(std::size_t count) noexcept;

}  // namespace vormel
