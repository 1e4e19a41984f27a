#include "python/src/dump_load.h"

#include <cstddef>
#include <span>
#include <string>

#include "embedded_host/files/value_bytes.h"
#include "embedded_host/messages/host_exception.h"
#include "python/src/array_type.h"
#include "python/src/to_host.h"

namespace vormel::python {
namespace {

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
