// Objects of the host and their methods, as a C++ program calls them.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/interpreter/value.h"
#include "kvrntob/host/export.h"

namespace vormel {

class ClassRecord;   // embedded_host/objects/records.h
class MethodRecord;  // the same

using Arguments = std::initializer_list<Argument>;

// The outputs of a call: the output count, and max(nargout, declared outputs, 1) cells.
struct CallResult {
  std::int32_t count = 0;
  std::vector<Value> cells;
};

// A handle to an object of the host. Copies refer to the same object; it ends with the last one.
class VORMEL_HOST_API Object {
 public:
  Object() noexcept = default;  // refers to no object
  // Takes over a handle array. Throws CallRefused("InvalidInput") for any other array.
  explicit Object(OwnedArray handle);

  // A new object of the class. Throws CallRefused("NoConstructor"), and as any call (call_frame.h).
  static Object make(ClassRecord& cls, Arguments inputs = {});

  Object(const Object& other);
  Object(Object&&) noexcept = default;
  Object& operator=(Object other) noexcept;

  const vrArray* handle() const noexcept { return handle_.get(); }
  operator Argument() const noexcept { return Argument(handle()); }  // NOLINT: reads like a call

  // The object's class. Throws CallRefused("InvalidInput") if this refers to no object.
  ClassRecord& cls() const;

  // True once the object has ended, and if this refers to none. Not to be called while another
  // thread is inside.
  bool isEnded() const noexcept;

  // Calls the first method of that name with the handle and then `inputs`, asking for one output.
  // Returns that output, or an empty Value if the body did not write it. Throws
  // CallRefused("NoSuchMethod"), also for the name of the constructor, and as any call.
  Value call(std::string_view method, Arguments inputs = {}) const;

  // The same with `nargout` outputs, each as the body left it.
  CallResult invoke(std::string_view method, int nargout, Arguments inputs = {}) const;

 private:
  OwnedArray handle_;
};

// A method that was looked up once, to be called many times. Valid to the end of the process.
class VORMEL_HOST_API Method {
 public:
  explicit Method(const MethodRecord& record) noexcept : record_(&record) {}

  // The first method of that name. Throws CallRefused("NoSuchMethod") if there is none, and for the
  // constructor: Object::make calls it.
  static Method find(ClassRecord& cls, std::string_view name);

  const MethodRecord& record() const noexcept { return *record_; }

  // As Object::call and Object::invoke.
  Value operator()(const Object& object, Arguments inputs = {}) const;
  CallResult invoke(const Object& object, int nargout, Arguments inputs = {}) const;

 private:
  const MethodRecord* record_;
};

}  // namespace vormel
