#include "python/src/text.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "embedded_host/messages/host_exception.h"

namespace vormel::python {
namespace {

constexpr Py_UCS4 firstAstral = 0x10000;

bool isAstral(Py_UCS4 character) { return character >= firstAstral; }

std::size_t unitCount(int kind, const void* characters, Py_ssize_t length) {
  auto units = static_cast<std::size_t>(length);
  if (kind == PyUnicode_4BYTE_KIND) {
    const auto* first = static_cast<const Py_UCS4*>(characters);
    units += static_cast<std::size_t>(std::count_if(first, first + length, isAstral));
  }
  return units;
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

OwnedArray characterRow(PyObject* text) {
  checked(PyUnicode_READY(text));
  const Py_ssize_t length = PyUnicode_GET_LENGTH(text);
  const int kind = PyUnicode_KIND(text);
  const void* characters = PyUnicode_DATA(text);
  const std::size_t dimensions[] = {length == 0 ? 0U : 1U, unitCount(kind, characters, length)};
  OwnedArray row(makeUnfilled(vrCHAR_CLASS, 2, dimensions));
  auto* units = static_cast<char16_t*>(vrGetData(row.get()));
  if (kind == PyUnicode_1BYTE_KIND) {
    std::copy_n(static_cast<const Py_UCS1*>(characters), length, units);
  } else if (kind == PyUnicode_2BYTE_KIND) {
    std::copy_n(static_cast<const Py_UCS2*>(characters), length, units);
  } else {
    splitAstrals(static_cast<const Py_UCS4*>(characters), length, units);
  }
  return row;
}

Ref textFromUnits(const char16_t* units, std::size_t count) {
  const auto length = static_cast<Py_ssize_t>(count);
  if (std::all_of(units, units + count, [](char16_t unit) { return unit < 0x80; })) {
    Ref text = checked(PyUnicode_New(length, 0x7F));
    std::copy_n(units, count, PyUnicode_1BYTE_DATA(text.ptr()));
    return text;
  }
  int littleEndian = -1;
  return checked(PyUnicode_DecodeUTF16(reinterpret_cast<const char*>(units),
                                       length * static_cast<Py_ssize_t>(sizeof(char16_t)),
                                       "surrogatepass", &littleEndian));
}

const char* plainUtf8(PyObject* text, const char* what) {
  Py_ssize_t length = 0;
  const char* characters = PyUnicode_AsUTF8AndSize(text, &length);
  if (characters == nullptr) {
    PyErr_Clear();
    throw CallRefused("NotConvertible",
                      std::string("a ") + what + " may not hold a lone surrogate");
  }
  if (std::strlen(characters) != static_cast<std::size_t>(length)) {
    throw CallRefused("NotConvertible", std::string("a ") + what + " may not hold a NUL character");
  }
  return characters;
}

}  // namespace vormel::python
