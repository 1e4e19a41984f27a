// vormel.HostObject, and the Python classes made from class descriptors.
#include "python/src/types/types.h"

#include <cstddef>
#include <string>
#include <utility>

#include <structmember.h>

#include "embedded_host/objects/object_record.h"
#include "python/src/base/errors.h"
#include "python/src/base/host_objects.h"
#include "python/src/base/names.h"
#include "python/src/calls/calls.h"

namespace vormel::python {
namespace {

HostObject* asHostObject(PyObject* object) { return reinterpret_cast<HostObject*>(object); }

PyObject* asObject(PyTypeObject* type) { return reinterpret_cast<PyObject*>(type); }

PyTypeObject* hostObjectType = nullptr;

PyObject* create(PyTypeObject* type, PyObject*, PyObject*) { return type->tp_alloc(type, 0); }

void requireUnconstructed(PyObject* self) {
  if (asHostObject(self)->value.array != nullptr) {
    raisePythonError(PyExc_TypeError, "the constructor of this host object has run already");
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
  setItem(dict, "__doc__", newText(description == nullptr ? "" : description));
  setItem(dict, "__module__",
          newText("vormel." + cls.fullName().substr(0, cls.fullName().rfind('.'))));
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
  hostObjectType = makeHostValueType(typeDescription);
  setClassMaker(makeClass);
  checked(PyModule_AddType(module, hostObjectType));
}

}  // namespace vormel::python
