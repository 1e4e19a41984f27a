#include "embedded_host/files/value_reader.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "embedded_host/files/checksum.h"
#include "embedded_host/files/file_format.h"

namespace vormel {
namespace {

using Dimensions = std::vector<std::size_t>;

// The number of elements of that shape, which must be one that a host array can have.
std::size_t countOf(const Dimensions& dimensions, std::size_t elementSize) {
  std::size_t room = std::numeric_limits<std::ptrdiff_t>::max() / (4 * elementSize);
  std::size_t count = 1;
  bool isEmpty = false;
  for (const std::size_t dimension : dimensions) {
    isEmpty = isEmpty || dimension == 0;
    const std::size_t factor = std::max<std::size_t>(dimension, 1);
    if (factor > room) throw FileFault("found an impossible size");
    room /= factor;
    count *= factor;
  }
  if (dimensions.size() < 2) throw FileFault("found an impossible shape");
  return isEmpty ? 0 : count;
}

class Reader {
 public:
  // Sizes are taken from what the file can hold, all arrays together.
  explicit Reader(const TransactionFile& disk) : disk_(disk), budget_(disk.size()) {}

  // Makes the array. Its elements are read by readElements.
  OwnedArray read(const Hdf5Object& object, int depth);

  // Reads the elements whose place is known by now, and sums them.
  void readElements();

  std::uint64_t checksum() const { return checksum_.value(); }

 private:
  // Elements in the file, and where they go.
  struct Stretch {
    haddr_t offset;
    std::size_t size;
    char* bytes;
  };

  void spend(std::size_t bytes);
  OwnedArray readMember(const Hdf5Object& group, const std::string& name, int depth);
  OwnedArray readDataset(const Hdf5Object& dataset);
  OwnedArray readFunction(const Hdf5Object& dataset, const Dimensions& extents);
  OwnedArray readNumeric(const Hdf5Object& dataset, const ElementKind& kind,
                         const Dimensions& dimensions);
  void readLater(const Hdf5Object& dataset, std::size_t size, void* bytes);
  OwnedArray readCell(const Hdf5Object& group, const Dimensions& dimensions, int depth);
  OwnedArray readStructure(const Hdf5Object& group, const Dimensions& dimensions, int depth);
  OwnedArray readObject(const Hdf5Object& group, const Dimensions& dimensions, int depth);
  template <class Put>
  void readRecord(const Hdf5Object& group, const std::vector<Member>& fields,
                  const Dimensions& dimensions, int depth, Put&& put);

  const TransactionFile& disk_;
  std::size_t budget_;
  std::vector<Stretch> stretches_;
  Checksum checksum_;
};

void Reader::spend(std::size_t bytes) {
  if (bytes > budget_) throw FileFault("found more data than the file can hold");
  budget_ -= bytes;
}

Dimensions readDimensions(const Hdf5Object& object) {
  if (!hasAttribute(object.get(), dimensionsAttribute)) return {1, 1};
  const std::vector<std::uint64_t> numbers = readNumbers(object.get(), dimensionsAttribute);
  return {numbers.begin(), numbers.end()};
}

// The extents of a dataset, slowest first.
Dimensions extentsOf(const Hdf5Object& dataset) {
  const Hdf5Space space(H5Dget_space(dataset.get()), "read a dataset's space");
  hsize_t extents[H5S_MAX_RANK];
  const int rank = H5Sget_simple_extent_dims(space.get(), extents, nullptr);
  if (rank < 1) throw FileFault("found a dataset without dimensions");  // one element, or no space
  return {extents, extents + rank};
}

// What the type leaves open: logicals and characters look like unsigned integers.
int classOf(const Hdf5Object& dataset, const ElementKind& kind) {
  const bool isOpen =
      !kind.isComplex && (kind.classID == vrUINT8_CLASS || kind.classID == vrUINT16_CLASS);
  if (!isOpen || !hasAttribute(dataset.get(), classAttribute)) return kind.classID;
  const std::string text = readText(dataset.get(), classAttribute);
  if (kind.classID == vrUINT16_CLASS && text == "char") return vrCHAR_CLASS;
  if (kind.classID == vrUINT8_CLASS && text == "logical") return vrLOGICAL_CLASS;
  if (kind.classID == vrUINT8_CLASS && text == "function_handle") return vrFUNCTION_CLASS;
  throw FileFault("found a class that does not fit its data");
}

// Elements have a place in the file; those of other layouts, and in other files, have none. Large
// ones drive the library's tables out of the processor's caches, so that all wait until the library
// has been asked everything.
void Reader::readLater(const Hdf5Object& dataset, std::size_t size, void* bytes) {
  if (size == 0) return;
  const haddr_t offset = H5Dget_offset(dataset.get());
  if (offset == HADDR_UNDEF || offset > disk_.size() || size > disk_.size() - offset) {
    throw FileFault("found data that lies outside the file");
  }
  stretches_.push_back({offset, size, static_cast<char*>(bytes)});
}

void Reader::readElements() {
  for (const Stretch& stretch : stretches_) {
    for (std::size_t done = 0; done < stretch.size; done += Checksum::piece) {
      const std::size_t length = std::min(Checksum::piece, stretch.size - done);
      char* const next = stretch.bytes + done;
      if (!disk_.read(stretch.offset + done, length, next)) throw FileFault("cannot read the file");
      checksum_.add(next, length);
    }
  }
  stretches_.clear();
}

OwnedArray Reader::readFunction(const Hdf5Object& dataset, const Dimensions& extents) {
  if (extents.size() != 1) throw FileFault("found a function handle of the wrong shape");
  spend(extents[0]);
  std::string name(extents[0], '\0');
  readLater(dataset, name.size(), name.data());
  readElements();
  OwnedArray function(makeFunctionHandle(name));
  const Dimensions dimensions = readDimensions(dataset);
  if (dimensions == Dimensions{1, 1}) return function;
  if (dimensions != Dimensions{0, 0}) throw FileFault("found an impossible function handle");
  return OwnedArray(vrCreateEmptyCopy(function.get()));
}

// Takes pairs of parts apart.
void separate(const std::vector<std::byte>& pairs, vrArray* array) {
  const std::size_t size = vrGetElementSize(array);
  const std::size_t count = vrGetNumberOfElements(array);
  auto* real = static_cast<std::byte*>(vrGetData(array));
  auto* imaginary = static_cast<std::byte*>(vrGetImagData(array));
  for (std::size_t i = 0; i < count; ++i) {
    std::memcpy(real + i * size, &pairs[2 * i * size], size);
    std::memcpy(imaginary + i * size, &pairs[(2 * i + 1) * size], size);
  }
}

OwnedArray Reader::readNumeric(const Hdf5Object& dataset, const ElementKind& kind,
                               const Dimensions& dimensions) {
  const std::size_t size = countOf(dimensions, kind.size) * kind.size;
  spend(size);
  if (!kind.isComplex) {
    OwnedArray array(makeUnfilled(kind.classID, dimensions.size(), dimensions.data()));
    readLater(dataset, size, vrGetData(array.get()));
    return array;
  }
  OwnedArray array(vrCreateNumericArray_730(dimensions.size(), dimensions.data(), kind.classID, 1));
  std::vector<std::byte> pairs(size);
  readLater(dataset, size, pairs.data());
  readElements();
  separate(pairs, array.get());
  return array;
}

OwnedArray Reader::readDataset(const Hdf5Object& dataset) {
  const Hdf5Type type(H5Dget_type(dataset.get()), "read a dataset's type");
  std::optional<ElementKind> kind = kindOfType(type);
  if (!kind) throw FileFault("found elements of a type that no host array has");
  kind->classID = classOf(dataset, *kind);
  Dimensions dimensions = extentsOf(dataset);
  if (kind->classID == vrFUNCTION_CLASS) return readFunction(dataset, dimensions);
  if (dimensions.size() == 1) {
    const std::size_t count = dimensions[0];
    dimensions = readDimensions(dataset);
    if (countOf(dimensions, 1) != count) throw FileFault("found a shape that does not fit");
  } else {
    std::reverse(dimensions.begin(), dimensions.end());
  }
  return readNumeric(dataset, *kind, dimensions);
}

OwnedArray Reader::readMember(const Hdf5Object& group, const std::string& name, int depth) {
  const std::optional<Hdf5Object> member = openMember(group.get(), name);
  if (!member) throw FileFault("found a part missing");
  return read(*member, depth + 1);
}

void requireMembers(const Hdf5Object& group, std::size_t count) {
  if (memberCount(group.get()) != count) throw FileFault("found a wrong number of parts");
}

OwnedArray Reader::readCell(const Hdf5Object& group, const Dimensions& dimensions, int depth) {
  const std::size_t count = countOf(dimensions, leastObjectSize);
  requireMembers(group, count);
  if (count > budget_ / leastObjectSize) throw FileFault("found more parts than the file can hold");
  OwnedArray cell(makeCell(dimensions.size(), dimensions.data()));
  for (std::size_t i = 0; i < count; ++i) {
    OwnedArray element = readMember(group, std::to_string(i), depth);
    setCellElement(cell.get(), i, element.get());
    element.release();
  }
  return cell;
}

// The members of a group, with the names of the fields that they are.
std::vector<Member> fieldsOf(const Hdf5Object& group) {
  std::vector<Member> fields = membersOf(group.get());
  for (Member& field : fields) {
    std::optional<std::string> decoded = nameOfLink(field.name);
    if (!decoded || decoded->find('\0') != std::string::npos) {
      throw FileFault("found a name that is none");
    }
    field.name = std::move(*decoded);
  }
  return fields;
}

// Reads every field of every element and puts it with put(index, field, value).
template <class Put>
void Reader::readRecord(const Hdf5Object& group, const std::vector<Member>& fields,
                        const Dimensions& dimensions, int depth, Put&& put) {
  const bool isSingle = dimensions == Dimensions{1, 1};
  const std::size_t count = countOf(dimensions, leastObjectSize);
  for (std::size_t field = 0; field < fields.size(); ++field) {
    const Hdf5Object object = openMember(group.get(), fields[field]);
    if (isSingle) {
      put(std::size_t{0}, field, read(object, depth + 1));
      continue;
    }
    if (!isGroup(object)) throw FileFault("found a field that is none");
    spend(leastObjectSize);
    requireMembers(object, count);
    for (std::size_t i = 0; i < count; ++i) {
      put(i, field, readMember(object, std::to_string(i), depth));
    }
  }
}

// Throws unless that many parts fit into what is left of the file.
void requireRoom(const Dimensions& dimensions, std::size_t fields, std::size_t budget) {
  const std::size_t count = countOf(dimensions, leastObjectSize);
  if (fields > 0 && count > budget / leastObjectSize / fields) {
    throw FileFault("found more parts than the file can hold");
  }
}

OwnedArray Reader::readStructure(const Hdf5Object& group, const Dimensions& dimensions, int depth) {
  const std::vector<Member> fields = fieldsOf(group);
  requireRoom(dimensions, fields.size(), budget_);
  std::vector<const char*> names;
  names.reserve(fields.size());
  for (const Member& field : fields) names.push_back(field.name.c_str());
  OwnedArray structure(vrCreateStructArray_730(dimensions.size(), dimensions.data(),
                                               static_cast<int>(names.size()), names.data()));
  readRecord(group, fields, dimensions, depth,
             [&](std::size_t index, std::size_t field, OwnedArray value) {
               vrSetFieldByNumber_730(structure.get(), index, static_cast<int>(field), value.get());
               value.release();
             });
  return structure;
}

OwnedArray Reader::readObject(const Hdf5Object& group, const Dimensions& dimensions, int depth) {
  const std::vector<Member> properties = fieldsOf(group);
  requireRoom(dimensions, properties.size(), budget_);
  const std::optional<std::string> name = nameOfLink(readText(group.get(), objectClassAttribute));
  if (!name) throw FileFault("found a class name that is none");
  std::vector<std::string> names;
  names.reserve(properties.size());
  for (const Member& property : properties) names.push_back(property.name);
  OwnedArray object(makeObject(*name, dimensions.size(), dimensions.data(), names));
  readRecord(group, properties, dimensions, depth,
             [&](std::size_t index, std::size_t property, const OwnedArray& value) {
               readElements();  // the object keeps a copy
               vrSetProperty_730(object.get(), index, names[property].c_str(), value.get());
             });
  return object;
}

OwnedArray Reader::read(const Hdf5Object& object, int depth) {
  if (depth > deepestNesting) throw FileFault("found arrays nested too deep");
  spend(leastObjectSize);
  if (isDataset(object)) return readDataset(object);
  if (!isGroup(object)) throw FileFault("found something that is no array");
  const std::string text = readText(object.get(), classAttribute);
  const Dimensions dimensions = readDimensions(object);
  if (text == "cell") return readCell(object, dimensions, depth);
  if (text == "struct") return readStructure(object, dimensions, depth);
  if (text == "object") return readObject(object, dimensions, depth);
  throw FileFault("found a class that is none");
}

}  // namespace

OwnedArray readVariable(const Hdf5Object& variable, const TransactionFile& disk) {
  Reader reader(disk);
  OwnedArray array = reader.read(variable, 1);
  const std::vector<std::uint64_t> checksum = readNumbers(variable.get(), checksumAttribute);
  reader.readElements();
  if (checksum.size() != 1 || checksum[0] != reader.checksum()) {
    throw FileFault("found data that has changed since it was written");
  }
  return array;
}

}  // namespace vormel
