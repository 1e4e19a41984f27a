// vormel.Method: the methods of host classes as Python objects.
#include "python/src/types/types.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <string>
#include <vector>

#include <structmember.h>

#include "python/src/base/errors.h"
#include "python/src/base/names.h"
#include "python/src/calls/calls.h"

namespace vormel::python {
namespace {

struct Method {
  PyObject_HEAD vectorcallfunc vectorcall;
  const MethodRecord* record;
};

PyTypeObject* methodType = nullptr;

const MethodRecord& recordOf(PyObject* self) { return *reinterpret_cast<Method*>(self)->record; }

PyObject* vectorcall(PyObject* self, PyObject* const* arguments, std::size_t countAndFlag,
                     PyObject* keywordNames) {
  const auto count = static_cast<std::size_t>(PyVectorcall_NARGS(countAndFlag));
  return callMethod(recordOf(self), arguments, count, keywordNames);
}

PyObject* bind(PyObject* self, PyObject* object, PyObject*) {
  return object == nullptr ? Py_NewRef(self) : PyMethod_New(self, object);
}

void dealloc(PyObject* self) {
  PyTypeObject* type = Py_TYPE(self);
  type->tp_free(self);
  Py_DECREF(type);
}

// ---- Introspection ----

template <class Make>
PyObject* textAttribute(const Make& make) {
  return guarded<PyObject*>(nullptr, [&] { return newText(make()).release().ptr(); });
}

std::string typesListed(const std::vector<SignatureType>& types) {
  return types.empty() ? "none" : listed(typeNames(types));
}

std::string documentation(const MethodRecord& method) {
  std::string text =
      "inputs:   " + typesListed(method.inputs()) + "\noutputs:  " + typesListed(method.outputs());
  const char* description = method.descriptor().getDetailedDescription();
  if (description != nullptr && *description != '\0') text.append("\n\n").append(description);
  return text;
}

// The type name as a parameter name: "int32 scalar" at position 2 becomes "int32_scalar_2".
std::string parameterName(const std::string& typeName, std::size_t position) {
  std::string name = typeName;
  const auto isOrdinary = [](unsigned char c) { return std::isalnum(c) != 0; };
  std::replace_if(name.begin(), name.end(), std::not_fn(isOrdinary), '_');
  return name + '_' + std::to_string(position);
}

std::string textSignature(const MethodRecord& method) {
  std::string text = "(";
  const std::vector<std::string> names = typeNames(method.inputs());
  for (std::size_t i = 0; i < names.size(); ++i) {
    const bool isSelf = i == 0 && method.isDispatchedOnObject();
    text.append(isSelf ? "$self" : parameterName(names[i], i)).append(", ");
  }
  if (!names.empty()) text += "/, ";
  return text + "*more, nargout=" + std::to_string(method.outputs().size()) + ')';
}

PyObject* getName(PyObject* self, void*) {
  return textAttribute([self] { return recordOf(self).name(); });
}

PyObject* getQualifiedName(PyObject* self, void*) {
  return textAttribute(
      [self] { return recordOf(self).owner().name() + '.' + recordOf(self).name(); });
}

PyObject* getDocumentation(PyObject* self, void*) {
  return textAttribute([self] { return documentation(recordOf(self)); });
}

PyObject* getTextSignature(PyObject* self, void*) {
  return textAttribute([self] { return textSignature(recordOf(self)); });
}

PyObject* represent(PyObject* self) {
  return textAttribute([self] {
    const MethodRecord& method = recordOf(self);
    return "<host method " + method.owner().fullName() + '.' + method.name() + '(' +
           typesListed(method.inputs()) + ")>";
  });
}

}  // namespace

void addMethodType(PyObject* module) {
  static PyGetSetDef attributes[] = {
      {"__name__", getName, nullptr, nullptr, nullptr},
      {"__qualname__", getQualifiedName, nullptr, nullptr, nullptr},
      {"__doc__", getDocumentation, nullptr, nullptr, nullptr},
      {"__text_signature__", getTextSignature, nullptr, nullptr, nullptr},
      {nullptr, nullptr, nullptr, nullptr, nullptr}};
  static PyMemberDef members[] = {
      {"__vectorcalloffset__", T_PYSSIZET, offsetof(Method, vectorcall), READONLY, nullptr},
      {nullptr, 0, 0, 0, nullptr}};
  static PyType_Slot slots[] = {{Py_tp_getset, attributes},
                                {Py_tp_members, members},
                                {Py_tp_call, reinterpret_cast<void*>(PyVectorcall_Call)},
                                {Py_tp_descr_get, reinterpret_cast<void*>(bind)},
                                {Py_tp_dealloc, reinterpret_cast<void*>(dealloc)},
                                {Py_tp_repr, reinterpret_cast<void*>(represent)},
                                {0, nullptr}};
  static PyType_Spec typeDescription = {"vormel.Method", sizeof(Method), 0,
                                        Py_TPFLAGS_DEFAULT | Py_TPFLAGS_HAVE_VECTORCALL |
                                            Py_TPFLAGS_METHOD_DESCRIPTOR |
                                            Py_TPFLAGS_DISALLOW_INSTANTIATION,
                                        slots};
  methodType =
      reinterpret_cast<PyTypeObject*>(checked(PyType_FromSpec(&typeDescription)).release().ptr());
  checked(PyModule_AddType(module, methodType));
}

Ref makeMethod(const MethodRecord& record) {
  Ref method = checked(methodType->tp_alloc(methodType, 0));
  auto* self = reinterpret_cast<Method*>(method.ptr());
  self->vectorcall = vectorcall;
  self->record = &record;
  return method;
}

}  // namespace vormel::python
