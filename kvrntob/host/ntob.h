// Host library ntob: the object system. Packages, classes, methods, signatures and object handles.
//
// A module describes what it offers with descriptors, objects of classes derived from
// TOBPackageInfo, TOBClassInfo and TOBMethodInfo. It registers its root package; the host pulls the
// rest through loadPackageContents and loadMethods when it first needs a name. Descriptors belong
// to the host from the moment they are registered and live to the end of the process.
//
// The order of the virtual operations is part of the border. An operation that says "host" is
// answered by the base class; modules override the others.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kvrntob/host/export.h"
#include "kvrntob/host/quenrath_system.h"

struct vrArray;

namespace ntob {

class TOBClass;
class TOBClassInfo;
class TOBMethodInfo;
class TOBPackageInfo;

// ---- Exceptions ----

class VORMEL_HOST_API TOBException : public Quenrath::System::IUserException {
 public:
  ~TOBException() override;
};

class VORMEL_HOST_API TOBMsgException : public TOBException {
 public:
  ~TOBMsgException() override;
};

// Exhausted memory. Thrown by value from a copy of a default-constructed object.
class VORMEL_HOST_API TOBOutOfMemoryException : public TOBMsgException {
 public:
  TOBOutOfMemoryException();
  TOBOutOfMemoryException(const TOBOutOfMemoryException&);
  ~TOBOutOfMemoryException() override;
  const char* what() const noexcept override;
};

// ---- Names and texts ----

// The identifier of a name. Copies name the same thing; equal names give equal identifiers.
class VORMEL_HOST_API TOBNameID {
 public:
  TOBNameID() noexcept = default;  // names nothing
  explicit TOBNameID(const char* name);

  // The name, valid as long as the process; null if this names nothing.
  const char* characters() const noexcept { return name_; }
  friend bool operator==(const TOBNameID& a, const TOBNameID& b) noexcept {
    return a.name_ == b.name_;
  }

 private:
  const char* name_ = nullptr;  // one address a name
};

// An immutable text of the host. Copies its argument; may hold nothing.
class VORMEL_HOST_API TOBString {
 public:
  TOBString() noexcept;  // holds nothing
  explicit TOBString(const char* text);
  TOBString(const TOBString& other);
  TOBString& operator=(const TOBString& other);
  ~TOBString();

  // The NUL-terminated characters, or null if this holds nothing. Valid as long as the object.
  const char* characters() const noexcept { return text_; }

 private:
  char* text_;
};

// ---- Methods ----

// One element of the input and output arrays of execute. Which member counts is settled by the
// signature type of its position:
//
//   type             input                                  output
//   a class name     array: the handle, borrowed            array: made by the host
//   "any"            array: borrowed, as it was passed      array: new, the host's from then on
//   "int32 scalar"   int32Value                             word: the number, widened by sign
//   "double scalar"  doubleValue                            -
//   "logical scalar" -                                      word: 0 or 1
//   "string"         text: NUL-terminated, valid in the     -
//                    call
//
// The host converts and checks every typed input before it calls execute. Inputs beyond the last
// declared one come under the last declared type.
union ArgumentCell {
  std::int64_t word;
  vrArray* array;
  std::int32_t int32Value;
  double doubleValue;
  const char* text;
};
static_assert(sizeof(ArgumentCell) == 8);

// Input and output types of a method, in order. Made by the host, owned by the descriptor.
class VORMEL_HOST_API TOBMethodSignature {
 public:
  // Returns a new, empty signature.
  static TOBMethodSignature* createMethodSignature();

  virtual ~TOBMethodSignature();
  virtual void addInput(TOBNameID type) = 0;
  virtual void addOutput(TOBNameID type) = 0;
};

enum class TOBAccess {
  Public,
  Protected,
  Private
};

// Descriptor of one method.
class VORMEL_HOST_API TOBMethodInfo {
 public:
  // Host memory. Null when it is exhausted, which makes a new expression null too.
  static void* operator new(std::size_t size) noexcept;
  static void operator delete(void* pointer) noexcept;

  TOBMethodInfo() noexcept;
  TOBMethodInfo(const TOBMethodInfo&) = delete;
  TOBMethodInfo& operator=(const TOBMethodInfo&) = delete;

  virtual ~TOBMethodInfo();
  virtual const char* getName() const = 0;
  virtual const char* getDescription() const;          // host
  virtual const char* getDetailedDescription() const;  // host
  virtual TOBAccess getMemberAccess() const;           // host
  virtual const TOBMethodSignature* getSignature() const = 0;

  // Runs the method. `context` is opaque; `outputCount` points to the number of outputs asked for,
  // which a body may change; `outputs` offers a cell for each declared output, at least one;
  // `inputCount` counts the inputs passed, the handle included.
  virtual void execute(void* context, std::int32_t* outputCount, ArgumentCell* outputs,
                       std::int32_t inputCount, ArgumentCell* inputs) = 0;

  virtual bool isFirstArgDispatch() const;               // host
  virtual bool isStatic() const;                         // host
  virtual bool isAbstract() const;                       // host
  virtual bool isSealed() const;                         // host
  virtual bool isVisible() const;                        // host
  virtual bool isDestructible() const;                   // host
  virtual bool isLocked() const;                         // host
  virtual bool doesMethodOverrideAllSignatures() const;  // host
};

// ---- Classes ----

// Descriptor of a class.
class VORMEL_HOST_API TOBClassInfo {
 public:
  // Zeroed host memory (huCalloc). Throws TOBOutOfMemoryException when it is exhausted.
  static void* operator new(std::size_t size);
  static void operator delete(void* pointer) noexcept;

  TOBClassInfo() noexcept;
  TOBClassInfo(const TOBClassInfo&) = delete;
  TOBClassInfo& operator=(const TOBClassInfo&) = delete;

  virtual ~TOBClassInfo();
  virtual const char* getName() const = 0;
  virtual const char* getDescription() const = 0;
  virtual const char* getDetailedDescription() const = 0;
  virtual TOBAccess getAccess() const;  // host

  // Registers the methods of the class with addMethod, in their order. Called once, at first need.
  virtual void loadMethods(TOBClass* cls) = 0;

  // The native object of a new instance, called before the constructor's execute. The host hands
  // it back through TOBInterface::getNativeInstance, and to destroyNativeInstance when the instance
  // ends. Null tells that memory is exhausted: construction fails with TOBOutOfMemoryException.
  virtual void* createNativeInstance() = 0;
  virtual void destroyNativeInstance(void* native) = 0;

  virtual bool firstFlag() const = 0;
  virtual bool isHidden() const;                                           // host
  virtual bool isPropertyNameReservedByThisClass(const char* name) const;  // host
  virtual bool firstNameQuery(TOBNameID name) const = 0;
  virtual bool secondNameQuery(TOBNameID name) const = 0;
  virtual bool secondFlag() const = 0;
  virtual bool isEnumeration() const;          // host
  virtual TOBAccess getConnectAccess() const;  // host
  virtual int getConnectivity() const;         // host
  virtual void* getCustomConnector() const;    // host
  virtual bool areChildrenSaved() const;       // host
  virtual bool thirdFlag() const = 0;
  virtual bool fourthFlag() const = 0;
  virtual bool isPropertyTruncationAllowed() const;    // host
  virtual bool isConstructedOnLoad() const;            // host
  virtual bool arePropertiesCaseInsensitive() const;   // host
  virtual bool isInstanceLeaf() const;                 // host
  virtual bool isDestructible() const;                 // host
  virtual bool isLocked() const;                       // host
  virtual bool attemptToLoadProperty(TOBNameID name);  // host
  virtual bool attemptToLoadMethod(TOBNameID name);    // host
  virtual bool attemptToLoadEvent(TOBNameID name);     // host
  virtual void instanceLoaded(void* native);           // host
  virtual vrArray* customSave(void* native);           // host
  virtual void* customLoad(const vrArray* saved);      // host
  virtual const char* getModule() const;               // host
  virtual bool areClassFunctionsAllowed() const;       // host
  virtual bool doEventsHaveSeparateNamespace() const;  // host
};

// The host's record of a class.
class VORMEL_HOST_API TOBClass {
 public:
  // Takes ownership. Null, from an allocation that failed, leaves the class without that method.
  void addMethod(TOBMethodInfo* method);

  // Fills in the identifier of the class's full name, such as "Dravik.kvr.Map".
  void getClassNameID(TOBNameID& name) const;

 protected:
  TOBClass() = default;
  ~TOBClass() = default;
};

// ---- Packages ----

// The host's record of a package.
class VORMEL_HOST_API TOBPackage {
 public:
  // Registers a root package and takes ownership. Null is accepted and registers nothing.
  static void addPackage(TOBPackageInfo* package);

  // The same for what a package contains, during its loadPackageContents.
  void addSubPackage(TOBPackageInfo* package);
  void addClass(TOBClassInfo* cls);

 protected:
  TOBPackage() = default;
  ~TOBPackage() = default;
};

// Descriptor of a package.
class VORMEL_HOST_API TOBPackageInfo {
 public:
  // Host memory. Null when it is exhausted, which makes a new expression null too.
  static void* operator new(std::size_t size) noexcept;
  static void operator delete(void* pointer) noexcept;

  TOBPackageInfo() noexcept;
  TOBPackageInfo(const TOBPackageInfo&) = delete;
  TOBPackageInfo& operator=(const TOBPackageInfo&) = delete;

  virtual ~TOBPackageInfo();
  virtual const char* getName() const = 0;
  virtual const char* getDescription() const;             // host
  virtual const char* getDetailedDescription() const;     // host
  virtual bool attemptToLoadSubPackage(TOBNameID name);   // host
  virtual bool attemptToLoadClass(TOBNameID name);        // host
  virtual bool attemptToLoadFunction(TOBNameID name);     // host
  virtual bool attemptToLoadType(TOBNameID name);         // host
  virtual void* getMethodSelector(TOBNameID name) const;  // host

  // Adds sub-packages and classes to `contents`, in their order. Called once, at first need.
  virtual void loadPackageContents(TOBPackage* contents) = 0;

  virtual bool isDestructible() const;  // host
  virtual bool isLocked() const;        // host
};

// ---- Objects ----

// One object of the host.
class VORMEL_HOST_API TOBInterface {
 public:
  // True when the object behind the handle is gone.
  bool isInvalid() const noexcept;

  // The object's class. Throws the host's refusal of a dead object if isInvalid().
  const TOBClass* getClass() const;

  // What createNativeInstance returned for this object under the class of that name; null for
  // another class. Throws the host's refusal of a dead object if isInvalid().
  void* getNativeInstance(TOBNameID className) const;

  // Ends the object: it becomes invalid, and its native instance is handed to the class's
  // destroyNativeInstance, once no method runs on the object any more. Does nothing on an invalid
  // object. `context` is that of execute.
  void destroyInterface(void* context);

 protected:
  TOBInterface() = default;
  ~TOBInterface() = default;
};

// A counted reference to an object, released with the pointer. May be null.
class VORMEL_HOST_API TOBInterfacePtr {
 public:
  TOBInterfacePtr() noexcept : object_(nullptr) {}
  explicit TOBInterfacePtr(TOBInterface* object) noexcept;  // adds a reference
  TOBInterfacePtr(const TOBInterfacePtr& other) noexcept;
  TOBInterfacePtr(TOBInterfacePtr&& other) noexcept : object_(other.object_) {
    other.object_ = nullptr;
  }
  TOBInterfacePtr& operator=(TOBInterfacePtr other) noexcept;
  ~TOBInterfacePtr();

  explicit operator bool() const noexcept { return object_ != nullptr; }
  TOBInterface* operator->() const noexcept { return object_; }

 private:
  TOBInterface* object_;
};

}  // namespace ntob

// The object behind element `index` of a handle array. Null when `handle` is null, is no handle
// array or has no such element.
VORMEL_HOST_API ntob::TOBInterfacePtr tbGetArrayElement(const vrArray* handle, std::size_t index);

// A new array, owned by the caller and on no array list, in the form in which a native object may
// keep it beyond the call. The argument is borrowed.
VORMEL_HOST_API vrArray* ntobConvertArrayToInternal(const vrArray* array);

// Undoes that conversion, in place.
VORMEL_HOST_API void ntobConvertArrayToExternalInPlace(vrArray* array);
