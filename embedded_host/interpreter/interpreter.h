// The C++ face of the embedded host: load a module, make an object, call a method, read a value.
//
//   Interpreter& host = Interpreter::instance();
//   host.loadModule();  // or loadModule("path/of/kvrntob.so")
//   Object store = host.construct("Dravik.kvr.SignalRepository");
//   const int run = store.call("createEmptyRun", {"Monday", 1}).toInt32();
//   Value names = store.call("getRunName", {run});
//
// What a module raises arrives as HostException, what the host refuses as CallRefused or HostError
// (embedded_host/messages/host_exception.h), exhausted memory as ntob::TOBOutOfMemoryException or
// std::bad_alloc.
//
// Any thread may use the host, one at a time. While a thread is inside, in a call, a look-up or the
// loading of a module, whatever another thread asks of the Interpreter, of an Object or of a Method
// is refused with CallRefused("Busy") and changes nothing; it may be asked again. Calls from a host
// function on the same thread nest until little of the thread's stack is left, then they are
// refused with CallRefused("TooDeep"). An Object may be dropped at any time: where another thread
// is inside, the object ends when that one leaves. Values, and host arrays at large, are made,
// copied and dropped by a thread that is inside, or while none is.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "embedded_host/functions/host_functions.h"
#include "embedded_host/interpreter/value.h"
#include "embedded_host/objects/records.h"
#include "kvrntob/host/export.h"

namespace vormel {

using Arguments = std::initializer_list<Argument>;

// What a call left behind: the output count, and max(nargout, declared outputs, 1) cells.
struct CallResult {
  std::int32_t count = 0;
  std::vector<Value> cells;
};

// A handle to an object of the host. Copies name the same object; the last one lets it go.
class VORMEL_HOST_API Object {
 public:
  Object() noexcept = default;  // names nothing
  // Takes over a handle array. Throws CallRefused("InvalidInput") if it is none.
  explicit Object(OwnedArray handle);
  Object(const Object& other);
  Object(Object&&) noexcept = default;
  Object& operator=(Object other) noexcept;

  const vrArray* handle() const noexcept { return handle_.get(); }
  operator Argument() const noexcept { return Argument(handle()); }  // NOLINT: reads like a call

  // The object's class. Not for an Object that names nothing.
  ClassRecord& cls() const;

  // True once the object has ended. To be asked while no other thread is inside.
  bool isEnded() const noexcept;

  // Calls the first method of the name; the handle goes before `inputs`. One output is asked for,
  // and what the body wrote there comes back; nothing if it wrote nothing. Throws, beside what a
  // call throws (call_frame.h), CallRefused("NoSuchMethod"), also for the constructor's name.
  Value call(std::string_view method, Arguments inputs = {}) const;

  // The same with `nargout` outputs asked for, shown as the body left them.
  CallResult invoke(std::string_view method, int nargout, Arguments inputs = {}) const;

 private:
  OwnedArray handle_;
};

// A method that was looked up once, to be called again and again. Holds nothing that ends.
class VORMEL_HOST_API Method {
 public:
  explicit Method(const MethodRecord& record) noexcept : record_(&record) {}

  const MethodRecord& record() const noexcept { return *record_; }

  // As Object::call and Object::invoke.
  Value operator()(const Object& object, Arguments inputs = {}) const;
  CallResult invoke(const Object& object, int nargout, Arguments inputs = {}) const;

 private:
  const MethodRecord* record_;
};

// The host of the process.
class VORMEL_HOST_API Interpreter {
 public:
  static Interpreter& instance();
  Interpreter(const Interpreter&) = delete;
  Interpreter& operator=(const Interpreter&) = delete;

  // Loads a module and has it register its packages. Modules stay to the end of the process. After
  // a failure nothing is registered. Throws HostError, in this order:
  //   "FileNotFound"         there is no such file
  //   "AlreadyLoaded"        a module of that name is loaded
  //   "NotAModule"           the file cannot be loaded as a shared library
  //   "MissingExport"        one of the six symbols of a module is missing; the text names it
  // and whatever the module's entry throws.
  void loadModule(const std::string& path);

  // The same with the module that is installed with this library. Looks for it, in this order:
  //   1. the file that the environment variable KVRNTOB_MODULE names, if it is set and not empty;
  //      there is no other choice then
  //   2. kvrntob.so in the directory of the library (libvormel_embedded)
  //   3. kvrntob/kvrntob.so in that directory
  // The text of "FileNotFound" lists where it looked.
  void loadModule();

  // Loaded modules, in the order of loading: name, and the texts that they export. To be asked
  // while no other thread loads one.
  struct Module {
    std::string name;       // of the file, without folder and ending: "kvrntob"
    std::string path;       // as it was found, symbolic links resolved
    std::string version;    // export <name>_version
    std::string buildDate;  // export <name>_build_date
  };
  const std::vector<Module>& modules() const noexcept { return modules_; }

  // The class of that full name. Throws HostError("NoSuchClass").
  ClassRecord& findClass(std::string_view fullName) const;

  // Full names of all packages and all classes, each parent before its contents. Pulls them all.
  std::vector<std::string> packageNames() const;
  std::vector<std::string> classNames() const;

  // The first method of a class with that name. Throws HostError("NoSuchClass"), then
  // CallRefused("NoSuchMethod").
  Method method(std::string_view className, std::string_view name) const;

  // A new object. Throws HostError("NoSuchClass"), CallRefused("NoConstructor"), and as any call.
  Object construct(std::string_view className, Arguments inputs = {}) const;

  // Ends an object; its handles stay and are dead. Nothing if it has ended.
  void end(const Object& object) const;

  // The functions that modules call by name.
  HostFunctions& functions() const { return HostFunctions::instance(); }

  // Number of host arrays alive.
  std::size_t liveArrays() const noexcept { return liveArrayCount(); }

 private:
  Interpreter();

  std::vector<Module> modules_;
};

}  // namespace vormel
