#include "embedded_host/files/value_writer.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/arrays/class_table.h"
#include "embedded_host/arrays/text.h"
#include "embedded_host/files/file_status.h"
#include "embedded_host/files/value_format.h"

namespace vormel {
namespace {

// ---- What cannot be stored ----

void requireGoodName(std::string_view name) {
  if (name.size() > maxNameSize) throw FileFault("a name in the array is too long");
  if (name.find('\0') != std::string_view::npos)
    throw FileFault("a name in the array contains a NUL");
}

void requireDifferentNames(const std::vector<std::string>& names) {
  std::vector<std::string_view> sorted(names.begin(), names.end());
  std::sort(sorted.begin(), sorted.end());
  if (std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end()) {
    throw FileFault("a name in the array occurs twice");
  }
}

// Checks each array of a value. Structures often share one list of names, which is checked once.
class Inspector {
 public:
  void require(const vrArray* array, int depth) {
    if (depth > maxNesting) throw FileFault("the array is nested too deeply");
    if (vrGetNumberOfDimensions_730(array) > maxDimensions) {
      throw FileFault("the array has too many dimensions");
    }
    switch (vrGetClassID(array)) {
      case vrOPAQUE_CLASS:
        throw FileFault("an opaque array cannot be stored in a file");
      case vrLOGICAL_CLASS:
        if (!holdsTruths(array)) throw FileFault("a logical element is neither 0 nor 1");
        return;
      case vrFUNCTION_CLASS:
        return requireGoodName(functionName(array));
      case vrOBJECT_CLASS:
        requireGoodName(className(array));
        return requireNames(array);
      case vrSTRUCT_CLASS:
        return requireNames(array);
      default:
        return;
    }
  }

 private:
  void requireNames(const vrArray* array) {
    const std::uint64_t number = fieldNamesNumber(array);
    if (number == lastNames_) return;
    const std::vector<std::string>& names = fieldNames(array);
    for (const std::string& name : names) requireGoodName(name);
    requireDifferentNames(names);
    lastNames_ = number;
  }

  std::uint64_t lastNames_ = 0;
};

// ---- Writing ----

class Writer {
 public:
  // If there is an inspector, it checks each array before the array is written.
  Writer(ByteSink& sink, Inspector* inspector) : sink_(sink), inspector_(inspector) {}

  void write(const vrArray* array, int depth);

 private:
  void head(Major major, std::uint64_t argument);
  void text(std::string_view characters);
  void name(const std::string& name);
  void names(const std::vector<std::string>& names);
  void begin(std::uint64_t items, std::string_view classText, const vrArray* array);
  void elements(const vrArray* array, const void* bytes);
  void numbers(const vrArray* array);
  void cell(const vrArray* array, int depth);
  void record(const vrArray* array, int depth);

  ByteSink& sink_;
  Inspector* inspector_;
};

void Writer::head(Major major, std::uint64_t argument) {
  unsigned char bytes[9];
  const unsigned type = static_cast<unsigned>(major) << 5;
  if (argument < firstWidth) {
    bytes[0] = static_cast<unsigned char>(type | argument);
    return sink_.write(bytes, 1);
  }
  const unsigned power = argument <= 0xFF      ? 0
                         : argument <= 0xFFFF  ? 1
                         : argument >> 32 == 0 ? 2
                                               : 3;
  const std::size_t width = std::size_t{1} << power;
  bytes[0] = static_cast<unsigned char>(type | (firstWidth + power));
  for (std::size_t i = width; i > 0; --i, argument >>= 8) {
    bytes[i] = static_cast<unsigned char>(argument);
  }
  sink_.write(bytes, 1 + width);
}

void Writer::text(std::string_view characters) {
  head(Major::TextString, characters.size());
  sink_.write(characters.data(), characters.size());
}

void Writer::name(const std::string& name) {
  head(isUtf8(name) ? Major::TextString : Major::ByteString, name.size());
  sink_.write(name.data(), name.size());
}

void Writer::names(const std::vector<std::string>& names) {
  head(Major::Array, names.size());
  for (const std::string& each : names) name(each);
}

// The beginning of every value: its class and its dimensions.
void Writer::begin(std::uint64_t items, std::string_view classText, const vrArray* array) {
  head(Major::Array, items);
  text(classText);
  const std::size_t count = vrGetNumberOfDimensions_730(array);
  const std::size_t* dimensions = vrGetDimensions_730(array);
  head(Major::Array, count);
  for (std::size_t i = 0; i < count; ++i) head(Major::Unsigned, dimensions[i]);
}

void Writer::elements(const vrArray* array, const void* bytes) {
  const std::size_t size = vrGetNumberOfElements(array) * vrGetElementSize(array);
  head(Major::Tag, elementTag(vrGetClassID(array)));
  head(Major::ByteString, size);
  if (size > 0) sink_.write(bytes, size);
}

void Writer::numbers(const vrArray* array) {
  const bool isComplex = vrIsComplex(array);
  begin(isComplex ? 4 : 3, nameOfClass(vrGetClassID(array)), array);
  elements(array, vrGetData(array));
  if (isComplex) elements(array, vrGetImagData(array));
}

void Writer::cell(const vrArray* array, int depth) {
  begin(3, nameOfClass(vrCELL_CLASS), array);
  const std::size_t count = vrGetNumberOfElements(array);
  head(Major::Array, count);
  for (std::size_t i = 0; i < count; ++i) write(cellElement(array, i), depth + 1);
}

// A structure or a value object.
void Writer::record(const vrArray* array, int depth) {
  const bool isObject = vrGetClassID(array) == vrOBJECT_CLASS;
  begin(isObject ? 5 : 4, isObject ? objectClass : nameOfClass(vrSTRUCT_CLASS), array);
  if (isObject) name(className(array));
  const std::size_t fields = fieldNames(array).size();
  names(fieldNames(array));
  const std::size_t count = vrGetNumberOfElements(array);
  head(Major::Array, count);
  for (std::size_t i = 0; i < count; ++i) {
    head(Major::Array, fields);
    for (std::size_t field = 0; field < fields; ++field) {
      write(fieldAt(array, i, field), depth + 1);
    }
  }
}

void Writer::write(const vrArray* array, int depth) {
  if (inspector_ != nullptr) inspector_->require(array, depth);
  switch (vrGetClassID(array)) {
    case vrCELL_CLASS:
      return cell(array, depth);
    case vrSTRUCT_CLASS:
    case vrOBJECT_CLASS:
      return record(array, depth);
    case vrFUNCTION_CLASS:
      begin(3, nameOfClass(vrFUNCTION_CLASS), array);
      return name(functionName(array));
    default:
      return numbers(array);
  }
}

class CountingSink final : public ByteSink {
 public:
  void write(const void*, std::size_t size) override { size_ += size; }
  std::size_t size() const noexcept { return size_; }

 private:
  std::size_t size_ = 0;
};

}  // namespace

std::size_t measureValue(const vrArray* array) {
  CountingSink sink;
  Inspector inspector;
  Writer(sink, &inspector).write(array, 1);
  return sink.size();
}

void writeValue(const vrArray* array, ByteSink& sink) { Writer(sink, nullptr).write(array, 1); }

}  // namespace vormel
