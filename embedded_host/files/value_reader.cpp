#include "embedded_host/files/value_reader.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "embedded_host/arrays/class_table.h"
#include "embedded_host/arrays/text.h"
#include "embedded_host/files/file_status.h"
#include "embedded_host/files/value_format.h"

namespace vormel {
namespace {

[[noreturn]] void refuse(const char* reason) {
  throw FileFault(std::string("damaged value: ") + reason);
}

}  // namespace

// ---- ByteSource ----

bool ByteSource::isAtEnd() {
  while (window_.empty()) {
    window_ = nextWindow();
    if (window_.empty()) return true;
    maxBeyond_ -= std::min<std::uint64_t>(maxBeyond_, window_.size());
  }
  return false;
}

void ByteSource::requireWindow() {
  if (isAtEnd()) refuse("unexpected end");
}

void ByteSource::read(void* to, std::size_t size) {
  auto* next = static_cast<std::byte*>(to);
  while (size > 0) {
    requireWindow();
    const std::size_t length = std::min(size, window_.size());
    std::memcpy(next, window_.data(), length);
    window_ = window_.subspan(length);
    next += length;
    size -= length;
  }
}

namespace {

using Dimensions = std::vector<std::size_t>;

// The number of elements of that shape. Throws for a shape that no host array can have.
std::size_t countOf(const Dimensions& dimensions, std::size_t elementSize) {
  std::size_t room = std::numeric_limits<std::ptrdiff_t>::max() / (4 * elementSize);
  std::size_t count = 1;
  bool isEmpty = false;
  for (const std::size_t dimension : dimensions) {
    isEmpty = isEmpty || dimension == 0;
    const std::size_t factor = std::max<std::size_t>(dimension, 1);
    if (factor > room) refuse("impossible array size");
    room /= factor;
    count *= factor;
  }
  return isEmpty ? 0 : count;
}

void requireDifferent(const std::vector<std::string>& names) {
  std::vector<std::string_view> sorted(names.begin(), names.end());
  std::sort(sorted.begin(), sorted.end());
  if (std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end()) {
    refuse("name that occurs twice");
  }
}

// The class of this name. Value objects and opaque arrays have none.
int classNamed(const std::string& name) {
  const int classID = vrClassIDFromClassName(name.c_str());
  // The look-up ends at a NUL, which the name may contain.
  if (classID == vrUNKNOWN_CLASS || nameOfClass(classID) != name) {
    refuse("unknown class name");
  }
  return classID;
}

class Reader {
 public:
  explicit Reader(ByteSource& source) : source_(source) {}

  OwnedArray read(int depth);

 private:
  struct Head {
    Major major;
    std::uint64_t argument;
  };

  Head head();
  std::uint64_t argument(Major major);
  void require(Major major, std::uint64_t expected, const char* reason);
  void requireRoom(std::uint64_t count, std::uint64_t least) const;
  std::string characters(std::uint64_t size);
  std::string name();
  std::vector<std::string> names();
  Dimensions dimensions();
  OwnedArray numbers(int classID, const Dimensions& shape, bool isComplex);
  void elements(int classID, std::size_t size, void* to);
  OwnedArray cell(const Dimensions& shape, int depth);
  OwnedArray structure(const Dimensions& shape, int depth);
  OwnedArray object(const Dimensions& shape, int depth);
  void fields(vrArray* array, int depth);
  OwnedArray function(const Dimensions& shape);

  ByteSource& source_;
};

// ---- Items ----

Reader::Head Reader::head() {
  const unsigned first = source_.readByte();
  const auto major = static_cast<Major>(first >> 5);
  const unsigned low = first & 31;
  if (low < firstWidth) return {major, low};
  if (low > lastWidth) refuse("indefinite length");
  const unsigned power = low - firstWidth;
  std::uint64_t argument = 0;
  for (std::size_t i = std::size_t{1} << power; i > 0; --i) {
    argument = argument << 8 | source_.readByte();
  }
  const std::uint64_t least = power == 0 ? firstWidth : std::uint64_t{1} << (4U << power);
  if (argument < least) refuse("length that is not in its shortest form");
  return {major, argument};
}

std::uint64_t Reader::argument(Major major) {
  const Head found = head();
  if (found.major != major) refuse("item of the wrong type");
  return found.argument;
}

void Reader::require(Major major, std::uint64_t expected, const char* reason) {
  if (argument(major) != expected) refuse(reason);
}

// Throws if the remaining bytes are fewer than `count` items of at least `least` bytes each.
void Reader::requireRoom(std::uint64_t count, std::uint64_t least) const {
  if (count > source_.maxRemaining() / least) refuse("more content than the bytes can hold");
}

std::string Reader::characters(std::uint64_t size) {
  if (size > maxNameSize) refuse("name that is too long");
  requireRoom(size, 1);
  std::string text(size, '\0');
  source_.read(text.data(), text.size());
  return text;
}

std::string Reader::name() {
  const Head found = head();
  const bool isText = found.major == Major::TextString;
  if (!isText && found.major != Major::ByteString) refuse("item that is not a name");
  std::string text = characters(found.argument);
  if (isUtf8(text) != isText) refuse("name in the wrong type of string");
  if (text.find('\0') != std::string::npos) refuse("name with a NUL");
  return text;
}

std::vector<std::string> Reader::names() {
  const std::uint64_t count = argument(Major::Array);
  requireRoom(count, 1);
  if (count > std::numeric_limits<int>::max()) refuse("too many names");
  std::vector<std::string> all;
  for (std::uint64_t i = 0; i < count; ++i) all.push_back(name());
  requireDifferent(all);
  return all;
}

Dimensions Reader::dimensions() {
  const std::uint64_t count = argument(Major::Array);
  if (count < 2 || count > maxDimensions) refuse("impossible number of dimensions");
  requireRoom(count, 1);
  Dimensions shape(count);
  for (std::size_t& dimension : shape) dimension = argument(Major::Unsigned);
  return shape;
}

// ---- Arrays ----

void Reader::elements(int classID, std::size_t size, void* to) {
  require(Major::Tag, elementTag(classID), "elements of the wrong type");
  require(Major::ByteString, size, "wrong number of elements");
  source_.read(to, size);
}

OwnedArray Reader::numbers(int classID, const Dimensions& shape, bool isComplex) {
  const std::size_t count = countOf(shape, elementSize(classID));
  const std::size_t size = count * elementSize(classID);
  requireRoom(count, elementSize(classID) * (isComplex ? 2 : 1));
  OwnedArray array(isComplex ? vrCreateNumericArray_730(shape.size(), shape.data(), classID, 1)
                             : makeUnfilled(classID, shape.size(), shape.data()));
  elements(classID, size, vrGetData(array.get()));
  if (isComplex) elements(classID, size, vrGetImagData(array.get()));
  if (classID == vrLOGICAL_CLASS && !holdsTruths(array.get())) {
    refuse("logical element other than 0 and 1");
  }
  return array;
}

OwnedArray Reader::cell(const Dimensions& shape, int depth) {
  const std::size_t count = countOf(shape, sizeof(void*));
  require(Major::Array, count, "wrong number of parts");
  requireRoom(count, minValueSize);
  OwnedArray array(makeCell(shape.size(), shape.data()));
  for (std::size_t i = 0; i < count; ++i) {
    OwnedArray part = read(depth + 1);
    setCellElement(array.get(), i, part.get());
    part.release();
  }
  return array;
}

// Reads the fields of all elements into a structure or a value object.
void Reader::fields(vrArray* array, int depth) {
  const std::size_t count = vrGetNumberOfElements(array);
  const std::size_t width = fieldNames(array).size();
  for (std::size_t i = 0; i < count; ++i) {
    require(Major::Array, width, "wrong number of fields");
    for (std::size_t field = 0; field < width; ++field) {
      OwnedArray value = read(depth + 1);
      vrSetFieldByNumber_730(array, i, static_cast<int>(field), value.get());
      value.release();
    }
  }
}

OwnedArray Reader::structure(const Dimensions& shape, int depth) {
  const std::vector<std::string> all = names();
  const std::size_t count = countOf(shape, sizeof(void*) * (all.size() + 1));
  require(Major::Array, count, "wrong number of parts");
  requireRoom(count, 1 + minValueSize * all.size());
  std::vector<const char*> pointers;
  pointers.reserve(all.size());
  for (const std::string& each : all) pointers.push_back(each.c_str());
  OwnedArray array(vrCreateStructArray_730(shape.size(), shape.data(),
                                           static_cast<int>(pointers.size()), pointers.data()));
  fields(array.get(), depth);
  return array;
}

OwnedArray Reader::object(const Dimensions& shape, int depth) {
  const std::string className = name();
  const std::vector<std::string> all = names();
  const std::size_t count = countOf(shape, sizeof(void*) * (all.size() + 1));
  require(Major::Array, count, "wrong number of parts");
  requireRoom(count, 1 + minValueSize * all.size());
  OwnedArray array(makeObject(className, shape.size(), shape.data(), all));
  fields(array.get(), depth);
  return array;
}

OwnedArray Reader::function(const Dimensions& shape) {
  OwnedArray array(makeFunctionHandle(name()));
  if (shape == Dimensions{1, 1}) return array;
  if (shape != Dimensions{0, 0}) refuse("function handle of an impossible shape");
  return OwnedArray(vrCreateEmptyCopy(array.get()));
}

OwnedArray Reader::read(int depth) {
  if (depth > maxNesting) refuse("arrays nested too deeply");
  const std::uint64_t items = argument(Major::Array);
  const std::string text = characters(argument(Major::TextString));
  const Dimensions shape = dimensions();
  const auto requireItems = [items](std::uint64_t expected) {
    if (items != expected) refuse("wrong number of items");
  };
  const int classID = text == objectClass ? int{vrOBJECT_CLASS} : classNamed(text);
  if (classID == vrOBJECT_CLASS) {
    requireItems(5);
    return object(shape, depth);
  }
  if (classID == vrSTRUCT_CLASS) {
    requireItems(4);
    return structure(shape, depth);
  }
  const bool isComplex = items == 4 && isNumericClass(classID);
  requireItems(isComplex ? 4 : 3);
  if (classID == vrCELL_CLASS) return cell(shape, depth);
  if (classID == vrFUNCTION_CLASS) return function(shape);
  return numbers(classID, shape, isComplex);
}

}  // namespace

OwnedArray readValue(ByteSource& source) {
  OwnedArray array = Reader(source).read(1);
  if (!source.isAtEnd()) refuse("bytes after the end of the value");
  return array;
}

}  // namespace vormel
