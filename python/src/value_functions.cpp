#include "python/src/value_functions.h"

#include <cstddef>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "embedded_host/files/value_bytes.h"
#include "embedded_host/messages/host_exception.h"
#include "python/src/base/host_value.h"
#include "python/src/base/text.h"
#include "python/src/values_in/of_class.h"
#include "python/src/values_in/to_host.h"

namespace vormel::python {
namespace {

// ---- Value objects ----

// The items, held: converting a value may change the dict.
std::vector<std::pair<Ref, Ref>> itemsOf(PyObject* dict) {
  std::vector<std::pair<Ref, Ref>> items;
  items.reserve(static_cast<std::size_t>(PyDict_GET_SIZE(dict)));
  Py_ssize_t position = 0;
  PyObject* value = nullptr;
  for (PyObject* name = nullptr; PyDict_Next(dict, &position, &name, &value) != 0;) {
    items.emplace_back(borrow(name), borrow(value));
  }
  return items;
}

// Property names in the order of their numbers, and the number of each item's. Keys of a dict that
// are of a class derived from str may be equal texts all the same.
struct Properties {
  explicit Properties(const std::vector<std::pair<Ref, Ref>>& items) {
    std::unordered_map<std::string, int> known;
    for (const auto& [key, value] : items) {
      const auto [place, isNew] =
          known.try_emplace(plainUtf8(key.ptr(), "property name"), static_cast<int>(names.size()));
      if (isNew) names.push_back(place->first);
      numbers.push_back(place->second);
    }
  }

  std::vector<std::string> names;
  std::vector<int> numbers;
};

// ---- Bytes ----

// The memory of a bytes-like object for as long as this lives.
class HeldBuffer {
 public:
  explicit HeldBuffer(PyObject* object) {
    checked(PyObject_GetBuffer(object, &view_, PyBUF_FULL_RO));
  }
  ~HeldBuffer() { PyBuffer_Release(&view_); }
  HeldBuffer(const HeldBuffer&) = delete;
  HeldBuffer& operator=(const HeldBuffer&) = delete;

  bool isContiguous() const { return PyBuffer_IsContiguous(&view_, 'C') != 0; }

  std::span<const std::byte> bytes() const {
    return {static_cast<const std::byte*>(view_.buf), static_cast<std::size_t>(view_.len)};
  }

  // The elements one after the other, in the order of C.
  Ref gathered() const {
    Ref copy = checked(PyBytes_FromStringAndSize(nullptr, view_.len));
    checked(PyBuffer_ToContiguous(PyBytes_AS_STRING(copy.ptr()), &view_, view_.len, 'C'));
    return copy;
  }

 private:
  Py_buffer view_;
};

}  // namespace

Ref makeArray(PyObject* value, PyObject* className) {
  if (className == Py_None) return wrapArray(toHost(value));
  return wrapArray(toHostOfClass(value, plainUtf8(className, "class name")));
}

// All properties are named at once: adding one to an object copies those it has.
Ref makeValueObject(PyObject* className, PyObject* dict) {
  const std::vector<std::pair<Ref, Ref>> items = itemsOf(dict);
  const Properties properties(items);
  const std::size_t dimensions[] = {1, 1};
  OwnedArray object(
      makeObject(plainUtf8(className, "class name"), 2, dimensions, properties.names));
  for (std::size_t i = 0; i < items.size(); ++i) {
    OwnedArray array = toHost(items[i].second.ptr());
    vrSetFieldByNumber_730(object.get(), 0, properties.numbers[i], array.get());
    static_cast<void>(array.release());  // the object's from here on
  }
  return wrapObject(std::move(object));
}

Ref dumpBytes(PyObject* value) {
  const OwnedArray array = toHost(value);
  const std::size_t size = dumpedSize(array.get());
  Ref bytes = checked(PyBytes_FromStringAndSize(nullptr, static_cast<Py_ssize_t>(size)));
  dumpValue(array.get(), reinterpret_cast<std::byte*>(PyBytes_AS_STRING(bytes.ptr())));
  return bytes;
}

Ref loadBytes(PyObject* data) {
  if (PyObject_CheckBuffer(data) == 0) {
    throw CallRefused("NotBytes", std::string("loads() wants a bytes-like object, not '") +
                                      Py_TYPE(data)->tp_name + "'");
  }
  const HeldBuffer buffer(data);
  if (buffer.isContiguous()) return wrapArray(loadValue(buffer.bytes()));
  const Ref copy = buffer.gathered();
  return wrapArray(loadValue(HeldBuffer(copy.ptr()).bytes()));
}

}  // namespace vormel::python
