#include "python/src/names.h"

#include <unordered_map>

namespace vormel::python {
namespace {

constexpr std::size_t keptNames = 4096;

}  // namespace

Ref nameFor(const std::string& name) {
  // Never freed: it would be too late when the interpreter has ended.
  static auto& known = *new std::unordered_map<std::string, PyObject*>();
  const auto found = known.find(name);
  if (found != known.end()) return borrow(found->second);
  Ref text =
      checked(PyUnicode_DecodeUTF8(name.data(), static_cast<Py_ssize_t>(name.size()), "replace"));
  if (known.size() < keptNames && known.emplace(name, text.ptr()).second) text.inc_ref();
  return text;
}

}  // namespace vormel::python
