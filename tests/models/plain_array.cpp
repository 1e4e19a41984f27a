#include "tests/models/plain_array.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <initializer_list>
#include <limits>
#include <utility>

namespace kvr::models {
namespace {

template <class T>
T elementAt(const std::string& bytes, std::size_t index) {
  T value;
  std::memcpy(&value, bytes.data() + index * sizeof value, sizeof value);
  return value;
}

// Calls the action with a value of the class's native type.
template <class Action>
auto withNativeType(int classID, Action&& action) {
  switch (classID) {
    case vrLOGICAL_CLASS:
    case vrUINT8_CLASS:
      return action(std::uint8_t{});
    case vrCHAR_CLASS:
    case vrUINT16_CLASS:
      return action(std::uint16_t{});
    case vrSINGLE_CLASS:
      return action(float{});
    case vrINT8_CLASS:
      return action(std::int8_t{});
    case vrINT16_CLASS:
      return action(std::int16_t{});
    case vrINT32_CLASS:
      return action(std::int32_t{});
    case vrUINT32_CLASS:
      return action(std::uint32_t{});
    case vrINT64_CLASS:
      return action(std::int64_t{});
    case vrUINT64_CLASS:
      return action(std::uint64_t{});
    default:
      return action(double{});
  }
}

bool holdsNumbers(const PlainArray& array) {
  return isNumeric(array) || array.classID == vrLOGICAL_CLASS || isText(array);
}

double elementAsDouble(const PlainArray& array, const std::string& bytes, std::size_t index) {
  return withNativeType(array.classID, [&](auto native) {
    return static_cast<double>(elementAt<decltype(native)>(bytes, index));
  });
}

template <class T>
T cut(double value) {
  if constexpr (std::numeric_limits<T>::is_integer) {
    if (std::isnan(value)) return 0;
    if (value <= static_cast<double>(std::numeric_limits<T>::min()))
      return std::numeric_limits<T>::min();
    if (value >= static_cast<double>(std::numeric_limits<T>::max()))
      return std::numeric_limits<T>::max();
  }
  return static_cast<T>(value);
}

std::size_t product(const Dimensions& dimensions) {
  std::size_t count = 1;
  for (const std::size_t dimension : dimensions) count *= dimension;
  return count;
}

void appendUtf8(std::string& out, char32_t code) {
  const auto tail = [&](int shift) { out += static_cast<char>(0x80 | ((code >> shift) & 0x3f)); };
  if (code < 0x80) {
    out += static_cast<char>(code);
  } else if (code < 0x800) {
    out += static_cast<char>(0xc0 | (code >> 6));
    tail(0);
  } else if (code < 0x10000) {
    out += static_cast<char>(0xe0 | (code >> 12));
    tail(6);
    tail(0);
  } else {
    out += static_cast<char>(0xf0 | (code >> 18));
    tail(12);
    tail(6);
    tail(0);
  }
}

// The text is known to be valid: it was made by appendUtf8 or typed in these sources.
std::u16string utf16(const std::string& utf8) {
  std::u16string units;
  for (std::size_t i = 0; i < utf8.size();) {
    const auto lead = static_cast<unsigned char>(utf8[i++]);
    const int more = lead < 0x80 ? 0 : lead < 0xe0 ? 1 : lead < 0xf0 ? 2 : 3;
    char32_t code = more == 0 ? lead : lead & (0x3f >> more);
    for (int k = 0; k < more; ++k)
      code = code << 6 | (static_cast<unsigned char>(utf8[i++]) & 0x3f);
    if (code >= 0x10000) {
      units += static_cast<char16_t>(0xd800 + ((code - 0x10000) >> 10));
      units += static_cast<char16_t>(0xdc00 + (code & 0x3ff));
    } else {
      units += static_cast<char16_t>(code);
    }
  }
  return units;
}

}  // namespace

// ---- Questions ----

std::size_t elementCount(const PlainArray& array) { return product(array.dimensions); }

std::size_t arrayCount(const PlainArray& array) {
  std::size_t count = 1;
  for (const PlainArray& part : array.parts) count += arrayCount(part);
  return count;
}

double firstNumber(const PlainArray& array) {
  if (isEmpty(array) || !holdsNumbers(array)) return std::numeric_limits<double>::quiet_NaN();
  return elementAsDouble(array, array.real, 0);
}

int32 valueReading(const PlainArray& array) {
  const double value = std::trunc(firstNumber(array));
  if (value >= -2147483648.0 && value <= 2147483647.0) return static_cast<int32>(value);
  return std::numeric_limits<int32>::min();
}

int32 storageReading(const PlainArray& array, std::size_t word) {
  std::string bytes = array.real;
  bytes.resize(std::max(bytes.size(), 4 * (word + 1)), '\0');
  return elementAt<int32>(bytes, word);
}

std::string textOf(const PlainArray& array) {
  std::string out;
  const std::size_t count = elementCount(array);
  for (std::size_t i = 0; i < count; ++i) {
    const auto unit = elementAt<char16_t>(array.real, i);
    const bool high = unit >= 0xd800 && unit < 0xdc00;
    const char16_t next = high && i + 1 < count ? elementAt<char16_t>(array.real, i + 1) : u'\0';
    if (next >= 0xdc00 && next < 0xe000) {
      appendUtf8(out, 0x10000 + ((unit - 0xd800U) << 10) + (next - 0xdc00U));
      ++i;
    } else {
      appendUtf8(out, unit >= 0xd800 && unit < 0xe000 ? 0xfffd : unit);
    }
  }
  return out;
}

const PlainArray* fieldOf(const PlainArray& array, const std::string& field) {
  if (isEmpty(array)) return nullptr;
  for (std::size_t i = 0; i < array.fields.size(); ++i) {
    if (array.fields[i] == field) return &array.parts[i];
  }
  return nullptr;
}

// ---- Making them ----

std::size_t elementSize(int classID) {
  return withNativeType(classID, [](auto native) { return sizeof native; });
}

PlainArray numbers(int classID, const Dimensions& dimensions, const std::vector<double>& values) {
  PlainArray array{.classID = classID, .dimensions = dimensions};
  for (const double value : values) {
    array.real +=
        withNativeType(classID, [&](auto native) { return bytesOf(cut<decltype(native)>(value)); });
  }
  return array;
}

PlainArray number(double value) { return number(vrDOUBLE_CLASS, value); }
PlainArray number(int classID, double value) { return numbers(classID, {1, 1}, {value}); }

PlainArray int32Scalar(int32 value) {
  return {.classID = vrINT32_CLASS, .dimensions = {1, 1}, .real = bytesOf(value)};
}

PlainArray int32Row(const std::vector<int32>& values) {
  PlainArray row{.classID = vrINT32_CLASS, .dimensions = {1, values.size()}};
  for (const int32 value : values) row.real += bytesOf(value);
  return row;
}

PlainArray truth(bool value) { return number(vrLOGICAL_CLASS, value ? 1 : 0); }

PlainArray characters(const Dimensions& dimensions, const std::u16string& units) {
  PlainArray array{.classID = vrCHAR_CLASS, .dimensions = dimensions};
  for (const char16_t unit : units) array.real += bytesOf(unit);
  return array;
}

PlainArray text(const std::string& utf8) {
  const std::u16string units = utf16(utf8.substr(0, utf8.find('\0')));
  return units.empty() ? emptyOf(vrCHAR_CLASS) : characters({1, units.size()}, units);
}

PlainArray emptyOf(int classID) { return {.classID = classID}; }

PlainArray cellArray(const Dimensions& dimensions, std::vector<PlainArray> parts) {
  PlainArray array{.classID = vrCELL_CLASS, .dimensions = dimensions};
  array.parts = std::move(parts);
  return array;
}

PlainArray structure(std::vector<std::string> fields, std::vector<PlainArray> parts) {
  PlainArray array{.classID = vrSTRUCT_CLASS, .dimensions = {1, 1}};
  array.fields = std::move(fields);
  array.parts = std::move(parts);
  return array;
}

PlainArray valueObject(const std::string& className, std::vector<std::string> properties,
                       std::vector<PlainArray> parts) {
  PlainArray array = structure(std::move(properties), std::move(parts));
  array.classID = vrOBJECT_CLASS;
  array.name = className;
  return array;
}

PlainArray handleOf(int object) {
  PlainArray array{.classID = vrOPAQUE_CLASS, .dimensions = {1, 1}};
  array.name = "handle";
  array.object = object;
  return array;
}

PlainArray int32Cell(int32 value) {
  return {.classID = vrINT32_CLASS, .dimensions = {}, .real = bytesOf(value)};
}

PlainArray logicalCell(bool value) {
  return {.classID = vrLOGICAL_CLASS, .dimensions = {}, .real = std::string(1, value ? 1 : 0)};
}

// ---- Between the models and the host ----

namespace {

using vormel::OwnedArray;

OwnedArray buildNumbers(const PlainArray& plain) {
  OwnedArray array(vrCreateNumericArray_730(plain.dimensions.size(), plain.dimensions.data(),
                                            plain.classID, plain.complex ? 1 : 0));
  std::memcpy(vrGetData(array.get()), plain.real.data(), plain.real.size());
  if (plain.complex)
    std::memcpy(vrGetImagData(array.get()), plain.imaginary.data(), plain.imaginary.size());
  return array;
}

OwnedArray buildCharacters(const PlainArray& plain) {
  OwnedArray array(vrCreateCharArray_730(plain.dimensions.size(), plain.dimensions.data()));
  std::memcpy(vrGetData(array.get()), plain.real.data(), plain.real.size());
  return array;
}

OwnedArray buildCell(const PlainArray& plain, const Objects& objects) {
  OwnedArray array(vormel::makeCell(plain.dimensions.size(), plain.dimensions.data()));
  for (std::size_t i = 0; i < plain.parts.size(); ++i)
    vormel::setCellElement(array.get(), i, build(plain.parts[i], objects).release());
  return array;
}

OwnedArray buildStructure(const PlainArray& plain, const Objects& objects) {
  std::vector<const char*> names;
  for (const std::string& field : plain.fields) names.push_back(field.c_str());
  OwnedArray array(vrCreateStructArray_730(plain.dimensions.size(), plain.dimensions.data(),
                                           static_cast<int>(names.size()), names.data()));
  for (std::size_t i = 0; i < plain.parts.size(); ++i) {
    vrSetFieldByNumber_730(array.get(), i / names.size(), static_cast<int>(i % names.size()),
                           build(plain.parts[i], objects).release());
  }
  return array;
}

OwnedArray buildObject(const PlainArray& plain, const Objects& objects) {
  OwnedArray array(vormel::makeObject(plain.name, plain.dimensions.size(), plain.dimensions.data(),
                                      plain.fields));
  for (std::size_t i = 0; i < plain.parts.size(); ++i) {
    vrSetProperty_730(array.get(), i / plain.fields.size(),
                      plain.fields[i % plain.fields.size()].c_str(),
                      build(plain.parts[i], objects).get());
  }
  return array;
}

OwnedArray buildOpaque(const PlainArray& plain, const Objects& objects) {
  const vrArray* handle = isHandle(plain) ? objects.handle(plain.object) : nullptr;
  return OwnedArray(handle != nullptr ? vormel::detachedCopy(handle) : vormel::makeOpaque("other"));
}

std::string copyOf(const void* storage, std::size_t bytes) {
  return bytes == 0 ? std::string() : std::string(static_cast<const char*>(storage), bytes);
}

void readElements(const vrArray* array, PlainArray& plain) {
  const std::size_t bytes = elementCount(plain) * vrGetElementSize(array);
  plain.real = copyOf(vrGetData(array), bytes);
  plain.complex = isNumeric(plain) && vrIsComplex(array);
  if (plain.complex) plain.imaginary = copyOf(vrGetImagData(array), bytes);
}

void readParts(const vrArray* array, const Objects& objects, PlainArray& plain) {
  const std::size_t count = elementCount(plain);
  if (plain.classID == vrCELL_CLASS) {
    for (std::size_t i = 0; i < count; ++i)
      plain.parts.push_back(read(vormel::cellElement(array, i), objects));
    return;
  }
  plain.fields = vormel::fieldNames(array);
  for (std::size_t i = 0; i < count; ++i) {
    for (const std::string& field : plain.fields)
      plain.parts.push_back(read(vrGetField_730(array, i, field.c_str()), objects));
  }
}

void readOpaque(const vrArray* array, const Objects& objects, PlainArray& plain) {
  const char* subclass = vrGetSubclass(array);
  plain.name = subclass == nullptr ? "" : subclass;
  if (isHandle(plain)) plain.object = objects.numberOf(array);
}

}  // namespace

OwnedArray build(const PlainArray& plain, const Objects& objects) {
  switch (plain.classID) {
    case vrCELL_CLASS:
      return buildCell(plain, objects);
    case vrSTRUCT_CLASS:
      return buildStructure(plain, objects);
    case vrCHAR_CLASS:
      return buildCharacters(plain);
    case vrFUNCTION_CLASS:
      return OwnedArray(vormel::makeFunctionHandle(plain.name));
    case vrOPAQUE_CLASS:
      return buildOpaque(plain, objects);
    case vrOBJECT_CLASS:
      return buildObject(plain, objects);
    default:
      return buildNumbers(plain);
  }
}

PlainArray read(const vrArray* array, const Objects& objects) {
  PlainArray plain{.classID = vrGetClassID(array), .dimensions = {}};
  const std::size_t* dimensions = vrGetDimensions_730(array);
  plain.dimensions.assign(dimensions, dimensions + vrGetNumberOfDimensions_730(array));
  if (holdsNumbers(plain)) {
    readElements(array, plain);
  } else if (plain.classID == vrOPAQUE_CLASS) {
    readOpaque(array, objects, plain);
  } else if (plain.classID == vrFUNCTION_CLASS) {
    plain.name = vormel::functionName(array);
  } else {
    if (plain.classID == vrOBJECT_CLASS) plain.name = vormel::className(array);
    readParts(array, objects, plain);
  }
  return plain;
}

// ---- For people ----

namespace {

const char* className(int classID) {
  static const char* const names[] = {"unknown", "cell",   "struct", "logical", "char",
                                      "5",       "double", "single", "int8",    "uint8",
                                      "int16",   "uint16", "int32",  "uint32",  "int64",
                                      "uint64",  "@",      "opaque", "object"};
  return names[classID];
}

// All parts, one after the other.
std::string joined(std::initializer_list<std::string> parts) {
  std::string out;
  for (const std::string& part : parts) out += part;
  return out;
}

std::string shape(const PlainArray& array) {
  std::string out;
  for (const std::size_t dimension : array.dimensions) {
    if (!out.empty()) out += 'x';
    out += std::to_string(dimension);
  }
  return out;
}

std::string shortest(double value) {
  char buffer[40];
  std::snprintf(buffer, sizeof buffer, "%.17g", value);
  return buffer;
}

std::string quoted(const std::string& utf8) {
  std::string out = "'";
  for (const char c : utf8) out += c == '\0' ? "\\0" : std::string(1, c);
  return out += '\'';
}

std::string elementText(const PlainArray& array, std::size_t index) {
  if (array.classID == vrINT64_CLASS)
    return std::to_string(elementAt<std::int64_t>(array.real, index));
  if (array.classID == vrUINT64_CLASS)
    return std::to_string(elementAt<std::uint64_t>(array.real, index));
  std::string real = shortest(elementAsDouble(array, array.real, index));
  if (!array.complex) return real;
  return joined({real, "+", shortest(elementAsDouble(array, array.imaginary, index)), "i"});
}

std::string describeNumbers(const PlainArray& array) {
  const std::string name = className(array.classID);
  if (array.dimensions.empty()) return joined({"cell ", elementText(array, 0)});
  if (array.dimensions == Dimensions{1, 1}) {
    const std::string value = elementText(array, 0);
    return array.classID == vrDOUBLE_CLASS ? value : joined({name, "(", value, ")"});
  }
  std::string out = joined({name, " ", shape(array), " ["});
  for (std::size_t i = 0; i < elementCount(array); ++i) {
    if (i != 0) out += ' ';
    out += elementText(array, i);
  }
  return out += ']';
}

std::string describeParts(const PlainArray& array) {
  std::string out = joined({className(array.classID), " ", array.name, shape(array), "{"});
  for (std::size_t i = 0; i < array.parts.size(); ++i) {
    if (i != 0) out += ", ";
    if (!array.fields.empty()) out += array.fields[i % array.fields.size()] + ": ";
    out += describe(array.parts[i]);
  }
  return out += '}';
}

}  // namespace

std::string describe(const PlainArray& array) {
  if (isHandle(array)) return joined({"o", std::to_string(array.object)});
  if (array.classID == vrFUNCTION_CLASS || array.classID == vrOPAQUE_CLASS)
    return className(array.classID) + array.name;
  if (!holdsNumbers(array)) return describeParts(array);
  if (!isText(array)) return describeNumbers(array);
  const bool row = array.dimensions.size() == 2 && array.dimensions[0] == 1;
  return row ? quoted(textOf(array)) : joined({quoted(textOf(array)), " ", shape(array)});
}

}  // namespace kvr::models
