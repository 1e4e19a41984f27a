#include "python/src/host_object.h"

#include <cstddef>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <structmember.h>

#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/messages/host_exception.h"
#include "embedded_host/objects/object_record.h"
#include "python/src/calls.h"
#include "python/src/errors.h"
#include "python/src/host_value.h"
#include "python/src/method_type.h"
#include "python/src/names.h"

namespace vormel::python {
namespace {

struct HostObject {
  HostValue value;
  PyObject* weakReferences;
};

HostObject* asHostObject(PyObject* object) { return reinterpret_cast<HostObject*>(object); }

PyObject* asObject(PyTypeObject* type) { return reinterpret_cast<PyObject*>(type); }

PyTypeObject* hostObjectType = nullptr;

// The Python object of each host object that has one. Borrowed: objects take themselves out.
std::unordered_map<const ObjectRecord*, PyObject*>& liveObjects() {
  static auto& objects = *new std::unordered_map<const ObjectRecord*, PyObject*>();
  return objects;
}

struct KnownClass {
  ClassRecord* record;
  PyTypeObject* type;  // owned to the end of the process
};

// Each host class that was asked for, with its Python class. There are few.
std::vector<KnownClass>& knownClasses() {
  static auto& classes = *new std::vector<KnownClass>();
  return classes;
}

// Null if there is none. One without references is on its way out: weak-reference callbacks run
// while it goes.
PyObject* liveObjectOf(const ObjectRecord* object) {
  const auto live = liveObjects().find(object);
  return live != liveObjects().end() && Py_REFCNT(live->second) > 0 ? live->second : nullptr;
}

PyTypeObject* knownTypeOf(const ClassRecord& cls) {
  for (const KnownClass& known : knownClasses()) {
    if (known.record == &cls) return known.type;
  }
  return nullptr;
}

void adopt(PyObject* self, OwnedArray handle) {
  liveObjects()[ObjectRecord::behind(handle.get())] = self;
  CallScope::detach(handle.get());
  asHostObject(self)->value.array = handle.release();
}

PyObject* create(PyTypeObject* type, PyObject*, PyObject*) { return type->tp_alloc(type, 0); }

[[noreturn]] void raiseTypeError(const char* text) {
  PyErr_SetString(PyExc_TypeError, text);
  throw PythonErrorSet();
}

void requireUnconstructed(PyObject* self) {
  if (asHostObject(self)->value.array != nullptr) {
    raiseTypeError("the constructor of this host object has run already");
  }
}

void runConstructor(PyObject* self, ClassRecord& cls, PyObject* arguments, PyObject* keywords) {
  requireUnconstructed(self);
  OwnedArray handle = constructObject(cls, arguments, keywords);
  requireUnconstructed(self);  // Python code may have run in between
  adopt(self, std::move(handle));
}

// Runs the class's constructor. Keeping this out of create() lets Python subclasses have
// constructors of their own.
int construct(PyObject* self, PyObject* arguments, PyObject* keywords) {
  ClassRecord* cls = hostClassOf(asObject(Py_TYPE(self)));
  if (cls == nullptr) {
    PyErr_SetString(PyExc_TypeError, "HostObject is the base of host classes, and none itself");
    return -1;
  }
  if (!isThreadReady(cls->name().c_str())) return -1;
  PyObject* done = nullptr;
  try {
    runConstructor(self, *cls, arguments, keywords);
    done = Py_NewRef(Py_None);
  } catch (...) {
    setPythonError(cls->name().c_str());
  }
  const Ref outcome = steal(interruptedInstead(done));
  return outcome ? 0 : -1;
}

void forget(PyObject* self) {
  const auto found = liveObjects().find(ObjectRecord::behind(asHostObject(self)->value.array));
  if (found != liveObjects().end() && found->second == self) liveObjects().erase(found);
}

void deallocHostObject(PyObject* self) {
  if (asHostObject(self)->weakReferences != nullptr) PyObject_ClearWeakRefs(self);
  if (asHostObject(self)->value.array != nullptr) forget(self);
  deallocHostValue(self);
}

PyObject* represent(PyObject* self) {
  return guarded<PyObject*>(nullptr, [&] {
    const ObjectRecord* object = ObjectRecord::behind(asHostObject(self)->value.array);
    const char* state = object == nullptr     ? " (never constructed)"
                        : object->isInvalid() ? " (ended)"
                                              : "";
    const Ref name = checked(PyType_GetQualName(Py_TYPE(self)));
    return checked(PyUnicode_FromFormat("<%U object at %p%s>", name.ptr(), self, state))
        .release()
        .ptr();
  });
}

Ref textOf(const std::string& text) {
  return checked(
      PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace"));
}

void setItem(const Ref& dict, const char* key, const Ref& value) {
  checked(PyDict_SetItemString(dict.ptr(), key, value.ptr()));
}

// Of a name that is registered twice the first registration counts.
void addMethods(const Ref& dict, ClassRecord& cls) {
  for (const auto& method : cls.methods()) {
    if (method->isConstructor()) continue;
    const Ref callable = makeMethod(*method);
    if (PyDict_SetDefault(dict.ptr(), nameFor(method->name()).ptr(), callable.ptr()) == nullptr) {
      throw PythonErrorSet();
    }
  }
}

Ref classDict(ClassRecord& cls) {
  Ref dict = checked(PyDict_New());
  const char* description = cls.descriptor().getDetailedDescription();
  setItem(dict, "__doc__", textOf(description == nullptr ? "" : description));
  setItem(dict, "__module__",
          textOf("vormel." + cls.fullName().substr(0, cls.fullName().rfind('.'))));
  setItem(dict, "__slots__", checked(PyTuple_New(0)));
  addMethods(dict, cls);
  return dict;
}

Ref makeClass(ClassRecord& cls) {
  const Ref bases = checked(PyTuple_Pack(1, asObject(hostObjectType)));
  const Ref name = nameFor(cls.name());
  return checked(PyObject_CallFunctionObjArgs(asObject(&PyType_Type), name.ptr(), bases.ptr(),
                                              classDict(cls).ptr(), nullptr));
}

}  // namespace

void addHostObjectType(PyObject* module) {
  static PyMemberDef members[] = {
      {"__weaklistoffset__", T_PYSSIZET, offsetof(HostObject, weakReferences), READONLY, nullptr},
      {nullptr, 0, 0, 0, nullptr}};
  static char doc[] =
      "Base of the Python classes that stand for the classes of the host. Two variables that name\n"
      "the same host object hold the same Python object.";
  static PyType_Slot slots[] = {{Py_tp_doc, doc},
                                {Py_tp_members, members},
                                {Py_tp_new, reinterpret_cast<void*>(create)},
                                {Py_tp_init, reinterpret_cast<void*>(construct)},
                                {Py_tp_dealloc, reinterpret_cast<void*>(deallocHostObject)},
                                {Py_tp_repr, reinterpret_cast<void*>(represent)},
                                {0, nullptr}};
  static PyType_Spec typeDescription = {"vormel.HostObject", sizeof(HostObject), 0,
                                        Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE, slots};
  PyObject* base = asObject(hostValueType());
  hostObjectType = reinterpret_cast<PyTypeObject*>(
      checked(PyType_FromSpecWithBases(&typeDescription, base)).release().ptr());
  checked(PyModule_AddType(module, hostObjectType));
}

Ref classFor(ClassRecord& cls) {
  if (PyTypeObject* known = knownTypeOf(cls)) return borrow(asObject(known));
  Ref type = makeClass(cls);
  // Making it may have run Python code that asked for the class, too.
  if (PyTypeObject* known = knownTypeOf(cls)) return borrow(asObject(known));
  knownClasses().push_back({&cls, reinterpret_cast<PyTypeObject*>(type.ptr())});
  Py_INCREF(type.ptr());
  return type;
}

// Along the bases as they are, without asking an attribute: a subclass may answer as it likes.
ClassRecord* hostClassOf(PyObject* type) {
  const PyObject* bases = reinterpret_cast<PyTypeObject*>(type)->tp_mro;
  if (bases == nullptr) return nullptr;
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(bases); ++i) {
    const auto* base = reinterpret_cast<PyTypeObject*>(PyTuple_GET_ITEM(bases, i));
    for (const KnownClass& known : knownClasses()) {
      if (known.type == base) return known.record;
    }
  }
  return nullptr;
}

Ref hostObjectOf(const vrArray* handle) {
  ObjectRecord* object = ObjectRecord::behind(handle);
  if (PyObject* live = liveObjectOf(object)) return borrow(live);
  const Ref type = classFor(object->cls());
  auto* cls = reinterpret_cast<PyTypeObject*>(type.ptr());
  Ref self = checked(cls->tp_alloc(cls, 0));
  // Making the class and the object may have run Python code that asked for the same object.
  if (PyObject* live = liveObjectOf(object)) return borrow(live);
  adopt(self.ptr(), OwnedArray(detachedCopy(handle)));
  return self;
}

}  // namespace vormel::python
