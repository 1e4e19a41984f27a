#include "python/src/base/host_objects.h"

#include <unordered_map>
#include <utility>
#include <vector>

#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/objects/object_record.h"

namespace vormel::python {
namespace {

struct KnownClass {
  ClassRecord* record;
  PyTypeObject* type;  // owned to the end of the process
};

Ref (*classMaker)(ClassRecord& cls) = nullptr;

// Each host class that was asked for, with its Python class. There are few.
std::vector<KnownClass>& knownClasses() {
  static auto& classes = *new std::vector<KnownClass>();
  return classes;
}

// The Python object of each host object that has one. Borrowed: objects take themselves out.
std::unordered_map<const ObjectRecord*, PyObject*>& liveObjects() {
  static auto& objects = *new std::unordered_map<const ObjectRecord*, PyObject*>();
  return objects;
}

PyTypeObject* knownTypeOf(const ClassRecord& cls) {
  for (const KnownClass& known : knownClasses()) {
    if (known.record == &cls) return known.type;
  }
  return nullptr;
}

// Null if there is none. One without references is on its way out: weak-reference callbacks run
// while it goes.
PyObject* liveObjectOf(const ObjectRecord* object) {
  const auto live = liveObjects().find(object);
  return live != liveObjects().end() && Py_REFCNT(live->second) > 0 ? live->second : nullptr;
}

PyObject* asObject(PyTypeObject* type) { return reinterpret_cast<PyObject*>(type); }

vrArray*& handleIn(PyObject* self) { return reinterpret_cast<HostValue*>(self)->array; }

}  // namespace

void setClassMaker(Ref (*makeClass)(ClassRecord& cls)) { classMaker = makeClass; }

Ref classFor(ClassRecord& cls) {
  if (PyTypeObject* known = knownTypeOf(cls)) return borrow(asObject(known));
  Ref type = classMaker(cls);
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

void adopt(PyObject* self, OwnedArray handle) {
  liveObjects()[ObjectRecord::behind(handle.get())] = self;
  CallScope::detach(handle.get());
  handleIn(self) = handle.release();
}

void forget(PyObject* self) {
  const auto found = liveObjects().find(ObjectRecord::behind(handleIn(self)));
  if (found != liveObjects().end() && found->second == self) liveObjects().erase(found);
}

}  // namespace vormel::python
