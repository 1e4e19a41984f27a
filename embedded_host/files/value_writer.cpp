#include "embedded_host/files/value_writer.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/files/checksum.h"
#include "embedded_host/files/file_format.h"

namespace vormel {
namespace {

bool hasElementStorage(const vrArray* array) { return vrGetData(array) != nullptr; }

bool isSingle(const vrArray* array) {
  return vrGetNumberOfDimensions_730(array) == 2 && vrIsScalar(array);
}

const char* classText(int classID) {
  switch (classID) {
    case vrCELL_CLASS:
      return "cell";
    case vrSTRUCT_CLASS:
      return "struct";
    case vrLOGICAL_CLASS:
      return "logical";
    case vrCHAR_CLASS:
      return "char";
    case vrFUNCTION_CLASS:
      return "function_handle";
    case vrOBJECT_CLASS:
      return "object";
    default:
      return nullptr;  // the stored type tells
  }
}

// ---- What cannot be stored ----

void requireShortName(const std::string& name) {
  if (linkName(name).size() > longestName) throw FileFault("a name in the array is too long");
}

void requireStorable(const vrArray* array, int depth) {
  if (depth > deepestNesting) throw FileFault("the array is nested too deep");
  if (vrGetNumberOfDimensions_730(array) > mostDimensions) {
    throw FileFault("the array has too many dimensions");
  }
  const int classID = vrGetClassID(array);
  if (classID == vrOPAQUE_CLASS) throw FileFault("an opaque array cannot be kept in a file");
  if (classID == vrOBJECT_CLASS) requireShortName(className(array));
  const std::size_t count = vrGetNumberOfElements(array);
  if (classID == vrCELL_CLASS) {
    for (std::size_t i = 0; i < count; ++i) requireStorable(cellElement(array, i), depth + 1);
  }
  for (const std::string& field : fieldNames(array)) {
    requireShortName(field);
    for (std::size_t i = 0; i < count; ++i) {
      requireStorable(vrGetField_730(array, i, field.c_str()), depth + 1);
    }
  }
}

// ---- Writing ----

class Writer {
 public:
  // Writes the array and everything in it as the member `name` of the group.
  Hdf5Object write(hid_t group, const std::string& name, const vrArray* array);

  std::uint64_t checksum() const { return checksum_.value(); }

 private:
  Hdf5Object writeElements(hid_t group, const std::string& name, const vrArray* array);
  Hdf5Object writeFunction(hid_t group, const std::string& name, const vrArray* array);
  Hdf5Object writeCell(hid_t group, const std::string& name, const vrArray* array);
  Hdf5Object writeRecord(hid_t group, const std::string& name, const vrArray* array);
  void writeColumn(hid_t group, const std::string& field, const vrArray* array);

  Checksum checksum_;
};

Hdf5Object makeGroup(hid_t group, const std::string& name) {
  return {H5Gcreate2(group, name.c_str(), propertyLists().link.get(), propertyLists().parts.get(),
                     H5P_DEFAULT),
          "make a group"};
}

Hdf5Object makeDataset(hid_t group, const std::string& name, hid_t type,
                       const std::vector<hsize_t>& extents) {
  const Hdf5Space space(H5Screate_simple(static_cast<int>(extents.size()), extents.data(), nullptr),
                        "make a space");
  return {H5Dcreate2(group, name.c_str(), type, space.get(), propertyLists().link.get(),
                     propertyLists().elements.get(), H5P_DEFAULT),
          "make a dataset"};
}

// Class and shape, as far as the object itself does not tell them.
void writeFacts(const Hdf5Object& object, const vrArray* array, bool tellsShape) {
  if (const char* text = classText(vrGetClassID(array))) {
    writeText(object.get(), classAttribute, text);
  }
  if (!tellsShape) {
    const std::size_t* dimensions = vrGetDimensions_730(array);
    writeNumbers(object.get(), dimensionsAttribute,
                 {dimensions, dimensions + vrGetNumberOfDimensions_730(array)});
  }
}

// Real and imaginary part of each element side by side.
std::vector<std::byte> interleaved(const vrArray* array) {
  const std::size_t size = vrGetElementSize(array);
  const std::size_t count = vrGetNumberOfElements(array);
  const auto* real = static_cast<const std::byte*>(vrGetData(array));
  const auto* imaginary = static_cast<const std::byte*>(vrGetImagData(array));
  std::vector<std::byte> pairs(2 * size * count);
  for (std::size_t i = 0; i < count; ++i) {
    std::memcpy(&pairs[2 * i * size], real + i * size, size);
    std::memcpy(&pairs[(2 * i + 1) * size], imaginary + i * size, size);
  }
  return pairs;
}

Hdf5Object Writer::writeElements(hid_t group, const std::string& name, const vrArray* array) {
  const std::size_t rank = vrGetNumberOfDimensions_730(array);
  const std::size_t* dimensions = vrGetDimensions_730(array);
  const std::size_t count = vrGetNumberOfElements(array);
  const bool tellsShape = rank <= H5S_MAX_RANK;
  std::vector<hsize_t> extents{count};
  if (tellsShape) {
    extents.assign(dimensions, dimensions + rank);
    std::reverse(extents.begin(), extents.end());
  }
  const bool isComplex = vrIsComplex(array);
  const Hdf5Type pairType = isComplex ? complexType(vrGetClassID(array)) : Hdf5Type();
  const hid_t type = isComplex ? pairType.get() : realType(vrGetClassID(array));
  Hdf5Object dataset = makeDataset(group, name, type, extents);
  writeFacts(dataset, array, tellsShape);
  if (count == 0) return dataset;
  const std::vector<std::byte> pairs = isComplex ? interleaved(array) : std::vector<std::byte>();
  const void* data = isComplex ? pairs.data() : vrGetData(array);
  require(H5Dwrite(dataset.get(), type, H5S_ALL, H5S_ALL, H5P_DEFAULT, data), "write a dataset");
  checksum_.add(data, count * vrGetElementSize(array) * (isComplex ? 2 : 1));
  return dataset;
}

Hdf5Object Writer::writeFunction(hid_t group, const std::string& name, const vrArray* array) {
  const std::string& text = functionName(array);
  const hid_t type = realType(vrUINT8_CLASS);
  Hdf5Object dataset = makeDataset(group, name, type, {text.size()});
  writeFacts(dataset, array, isSingle(array));
  if (text.empty()) return dataset;
  require(H5Dwrite(dataset.get(), type, H5S_ALL, H5S_ALL, H5P_DEFAULT, text.data()),
          "write a dataset");
  checksum_.add(text.data(), text.size());
  return dataset;
}

Hdf5Object Writer::writeCell(hid_t group, const std::string& name, const vrArray* array) {
  Hdf5Object object = makeGroup(group, name);
  writeFacts(object, array, isSingle(array));
  const std::size_t count = vrGetNumberOfElements(array);
  for (std::size_t i = 0; i < count; ++i) {
    write(object.get(), std::to_string(i), cellElement(array, i));
  }
  return object;
}

// A structure or a value object.
Hdf5Object Writer::writeRecord(hid_t group, const std::string& name, const vrArray* array) {
  Hdf5Object object = makeGroup(group, name);
  writeFacts(object, array, isSingle(array));
  if (vrGetClassID(array) == vrOBJECT_CLASS) {
    writeText(object.get(), objectClassAttribute, linkName(className(array)));
  }
  for (const std::string& field : fieldNames(array)) {
    if (isSingle(array)) {
      write(object.get(), linkName(field), vrGetField_730(array, 0, field.c_str()));
    } else {
      writeColumn(object.get(), field, array);
    }
  }
  return object;
}

// One field of all elements.
void Writer::writeColumn(hid_t group, const std::string& field, const vrArray* array) {
  const Hdf5Object column = makeGroup(group, linkName(field));
  const std::size_t count = vrGetNumberOfElements(array);
  for (std::size_t i = 0; i < count; ++i) {
    write(column.get(), std::to_string(i), vrGetField_730(array, i, field.c_str()));
  }
}

Hdf5Object Writer::write(hid_t group, const std::string& name, const vrArray* array) {
  if (hasElementStorage(array)) return writeElements(group, name, array);
  switch (vrGetClassID(array)) {
    case vrFUNCTION_CLASS:
      return writeFunction(group, name, array);
    case vrCELL_CLASS:
      return writeCell(group, name, array);
    default:
      return writeRecord(group, name, array);
  }
}

}  // namespace

void requireStorable(const vrArray* array) { requireStorable(array, 1); }

void writeVariable(hid_t group, const std::string& name, const vrArray* array) {
  Writer writer;
  const Hdf5Object variable = writer.write(group, name, array);
  writeNumbers(variable.get(), checksumAttribute, {writer.checksum()});
}

}  // namespace vormel
