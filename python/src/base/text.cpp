#include "python/src/base/text.h"

#include <algorithm>
#include <string>

#include "embedded_host/messages/host_exception.h"

namespace vormel::python {
namespace {

constexpr Py_UCS4 firstAstral = 0x10000;

bool isAstral(Py_UCS4 character) { return character >= firstAstral; }

bool isAscii(const char16_t* units, std::size_t count) {
  char16_t all = 0;
  for (std::size_t i = 0; i < count; ++i) all |= units[i];
  return all < 0x80;
}

void splitAstrals(const Py_UCS4* characters, Py_ssize_t length, char16_t* units) {
  for (Py_ssize_t i = 0; i < length; ++i) {
    const Py_UCS4 character = characters[i];
    if (isAstral(character)) {
      *units++ = static_cast<char16_t>(0xD800 + ((character - firstAstral) >> 10));
      *units++ = static_cast<char16_t>(0xDC00 + ((character - firstAstral) & 0x3FF));
    } else {
      *units++ = static_cast<char16_t>(character);
    }
  }
}

}  // namespace

std::size_t unitCount(PyObject* text) {
  checked(PyUnicode_READY(text));
  const Py_ssize_t length = PyUnicode_GET_LENGTH(text);
  auto units = static_cast<std::size_t>(length);
  if (PyUnicode_KIND(text) == PyUnicode_4BYTE_KIND) {
    const Py_UCS4* first = PyUnicode_4BYTE_DATA(text);
    units += static_cast<std::size_t>(std::count_if(first, first + length, isAstral));
  }
  return units;
}

void writeUnits(PyObject* text, char16_t* units) {
  const Py_ssize_t length = PyUnicode_GET_LENGTH(text);
  switch (PyUnicode_KIND(text)) {
    case PyUnicode_1BYTE_KIND:
      std::copy_n(PyUnicode_1BYTE_DATA(text), length, units);
      break;
    case PyUnicode_2BYTE_KIND:
      std::copy_n(PyUnicode_2BYTE_DATA(text), length, units);
      break;
    default:
      splitAstrals(PyUnicode_4BYTE_DATA(text), length, units);
  }
}

OwnedArray characterRow(PyObject* text) {
  const std::size_t count = unitCount(text);
  const std::size_t dimensions[] = {count == 0 ? 0U : 1U, count};
  OwnedArray row(makeUnfilled(vrCHAR_CLASS, 2, dimensions));
  writeUnits(text, static_cast<char16_t*>(vrGetData(row.get())));
  return row;
}

Ref textFromUnits(const char16_t* units, std::size_t count) {
  const auto length = static_cast<Py_ssize_t>(count);
  if (isAscii(units, count)) {
    Ref text = checked(PyUnicode_New(length, 0x7F));
    std::copy_n(units, count, PyUnicode_1BYTE_DATA(text.ptr()));
    return text;
  }
  int littleEndian = -1;
  return checked(PyUnicode_DecodeUTF16(reinterpret_cast<const char*>(units),
                                       length * static_cast<Py_ssize_t>(sizeof(char16_t)),
                                       "surrogatepass", &littleEndian));
}

Ref textFromCodes(const Py_UCS4* codes, std::size_t count) {
  const bool isText =
      std::all_of(codes, codes + count, [](Py_UCS4 code) { return code <= 0x10FFFF; });
  if (!isText) throw CallRefused("NotConvertible", "a text holds a code point that is not Unicode");
  return checked(
      PyUnicode_FromKindAndData(PyUnicode_4BYTE_KIND, codes, static_cast<Py_ssize_t>(count)));
}

void clearEncodingError() {
  if (PyErr_ExceptionMatches(PyExc_UnicodeEncodeError) == 0) throw PythonErrorSet();
  PyErr_Clear();
}

std::string_view utf8(PyObject* text, const char* what) {
  Py_ssize_t length = 0;
  const char* characters = PyUnicode_AsUTF8AndSize(text, &length);
  if (characters == nullptr) {
    clearEncodingError();
    throw CallRefused("NotConvertible",
                      std::string("a ") + what + " may not hold a lone surrogate");
  }
  return {characters, static_cast<std::size_t>(length)};
}

const char* plainUtf8(PyObject* text, const char* what) {
  const std::string_view characters = utf8(text, what);
  if (characters.find('\0') != std::string_view::npos) {
    throw CallRefused("NotConvertible", std::string("a ") + what + " may not hold a NUL character");
  }
  return characters.data();  // NUL-terminated, as all that a str keeps
}

}  // namespace vormel::python
