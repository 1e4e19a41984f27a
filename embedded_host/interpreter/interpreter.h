// The C++ face of the embedded host: load a module, make an object, call a method, read a value.
//
//   Interpreter& host = Interpreter::instance();
//   host.loadModule();  // or loadModule("path/of/kvrntob.so")
//   Object store = host.construct("Dravik.kvr.SignalRepository");
//   const int run = store.call("createEmptyRun", {"Monday", 1}).toInt32();
//   Value names = store.call("getRunName", {run});
//
// A failure that a module raises arrives as HostException, a refusal of the host as CallRefused or
// HostError (embedded_host/messages/host_exception.h), exhausted memory as
// ntob::TOBOutOfMemoryException or std::bad_alloc.
//
// Threads: any thread may use the host, one at a time. A thread is inside while it runs a call, a
// look-up or the loading of a module. Every operation of Interpreter, Object and Method that
// another thread starts meanwhile throws CallRefused("Busy") and changes nothing; it can be tried
// again. Calls that a host function makes on the same thread nest until little of the thread's
// stack is left, then they throw CallRefused("TooDeep"). An Object may be destroyed at any time:
// while another thread is inside, the host object ends when that thread leaves. Values and host
// arrays may be made, copied and destroyed by the thread that is inside, or while no thread is.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "embedded_host/functions/host_functions.h"
#include "embedded_host/interpreter/object.h"
#include "embedded_host/interpreter/value.h"
#include "embedded_host/messages/host_exception.h"
#include "kvrntob/host/export.h"

namespace vormel {

// The host of the process.
class VORMEL_HOST_API Interpreter {
 public:
  static Interpreter& instance();
  Interpreter(const Interpreter&) = delete;
  Interpreter& operator=(const Interpreter&) = delete;

  // Loads a module and lets it register its packages. A module stays loaded to the end of the
  // process. After a failure nothing is registered. Throws HostError, in this order:
  //   "FileNotFound"         the file does not exist
  //   "AlreadyLoaded"        a module of that name is loaded
  //   "NotAModule"           the file cannot be loaded as a shared library
  //   "MissingExport"        one of the six symbols of a module is missing; the text names it
  // and whatever the module's entry point throws.
  void loadModule(const std::string& path);

  // Loads the module that is installed with this library (libvormel_embedded). If the environment
  // variable KVRNTOB_MODULE is set and not empty, it names the file. Otherwise the module is
  // kvrntob.so in the directory of the library or, if that does not exist, kvrntob/kvrntob.so below
  // that directory. Throws as above; the text of "FileNotFound" lists the paths that were tried.
  void loadModule();

  // The loaded modules in the order of loading. Not to be called while another thread loads one.
  struct Module {
    std::string name;       // of the file, without folder and ending: "kvrntob"
    std::string path;       // absolute, with symbolic links resolved
    std::string version;    // export <name>_version
    std::string buildDate;  // export <name>_build_date
  };
  const std::vector<Module>& modules() const noexcept { return modules_; }

  // The class of that full name. Throws HostError("NoSuchClass").
  ClassRecord& findClass(std::string_view fullName) const;

  // Full names of all packages and of all classes, each parent before its contents. Loads the
  // contents of all packages.
  std::vector<std::string> packageNames() const;
  std::vector<std::string> classNames() const;

  // The first method of a class with that name. Throws HostError("NoSuchClass"), then
  // CallRefused("NoSuchMethod").
  Method method(std::string_view className, std::string_view name) const;

  // A new object. Throws HostError("NoSuchClass"), CallRefused("NoConstructor"), and as any call.
  Object construct(std::string_view className, Arguments inputs = {}) const;

  // Ends an object; its handles remain and are dead. Does nothing if it has ended.
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
