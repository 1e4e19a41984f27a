#include "python/src/host_object.h"

#include <cstddef>
#include <string>
#include <unordered_map>
#include <utility>

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

// The Python class of each host class that was asked for. Owned to the end of the process.
std::unordered_map<const ClassRecord*, PyObject*>& knownClasses() {
  static auto& classes = *new std::unordered_map<const ClassRecord*, PyObject*>();
  return classes;
}

constexpr char classAttribute[] = "__host_class__";

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

void runConstructor(PyObject* self, PyObject* arguments, PyObject* keywords) {
  requireUnconstructed(self);
  OwnedArray handle = constructObject(*hostClassOf(asObject(Py_TYPE(self))), arguments, keywords);
  requireUnconstructed(self);  // Python code may have run in between
  adopt(self, std::move(handle));
}

// Runs the class's constructor. Keeping this out of create() lets Python subclasses have
// constructors of their own.
int construct(PyObject* self, PyObject* arguments, PyObject* keywords) {
  const ClassRecord* cls = hostClassOf(asObject(Py_TYPE(self)));
  if (cls == nullptr) {
    PyErr_SetString(PyExc_TypeError, "HostObject is the base of host classes, and none itself");
    return -1;
  }
  if (!isThreadReady(cls->name().c_str())) return -1;
  PyObject* done = nullptr;
  try {
    runConstructor(self, arguments, keywords);
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

PyObject* capsuleOf(ClassRecord& cls) { return PyCapsule_New(&cls, classAttribute, nullptr); }

Ref classDict(ClassRecord& cls) {
  const std::string package = cls.fullName().substr(0, cls.fullName().rfind('.'));
  pybind11::dict dict;
  dict["__doc__"] = pybind11::str(cls.descriptor().getDetailedDescription());
  dict["__module__"] = pybind11::str("vormel." + package);
  dict["__slots__"] = pybind11::tuple();
  dict[classAttribute] = checked(capsuleOf(cls));
  for (const auto& method : cls.methods()) {
    const Ref name = nameFor(method->name());
    if (!method->isConstructor() && !dict.contains(name)) dict[name] = makeMethod(*method);
  }
  return dict;
}

Ref makeClass(ClassRecord& cls) {
  const Ref base = borrow(asObject(hostObjectType));
  const Ref bases = checked(PyTuple_Pack(1, base.ptr()));
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
  const auto known = knownClasses().find(&cls);
  if (known != knownClasses().end()) return borrow(known->second);
  Ref type = makeClass(cls);  // runs Python code, which may have asked for the class as well
  const auto [place, isNew] = knownClasses().emplace(&cls, type.ptr());
  if (isNew) type.inc_ref();
  return borrow(place->second);
}

ClassRecord* hostClassOf(PyObject* type) {
  const Ref capsule = steal(PyObject_GetAttrString(type, classAttribute));
  if (!capsule) PyErr_Clear();
  if (!capsule || PyCapsule_IsValid(capsule.ptr(), classAttribute) == 0) return nullptr;
  return static_cast<ClassRecord*>(PyCapsule_GetPointer(capsule.ptr(), classAttribute));
}

namespace {

// The Python object of the host object; null if there is none.
Ref liveObjectOf(const ObjectRecord* object) {
  const auto live = liveObjects().find(object);
  // An object without references is on its way out: weak-reference callbacks run while it goes.
  const bool isAlive = live != liveObjects().end() && Py_REFCNT(live->second) > 0;
  return isAlive ? borrow(live->second) : Ref();
}

}  // namespace

Ref hostObjectOf(const vrArray* handle) {
  ObjectRecord* object = ObjectRecord::behind(handle);
  if (Ref live = liveObjectOf(object)) return live;
  const Ref type = classFor(object->cls());
  auto* cls = reinterpret_cast<PyTypeObject*>(type.ptr());
  Ref self = checked(cls->tp_alloc(cls, 0));
  if (Ref live = liveObjectOf(object)) return live;  // Python code may have run in between
  adopt(self.ptr(), OwnedArray(detachedCopy(handle)));
  return self;
}

}  // namespace vormel::python
