// libvr and arrays.h: fields, properties and cell elements.
#include <algorithm>
#include <new>
#include <optional>
#include <utility>

#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/arrays/storage.h"
#include "embedded_host/messages/host_exception.h"
#include "kvrntob/host/ntob.h"

using namespace vormel;

namespace {

std::optional<std::size_t> fieldIndex(const vrArray* array, const char* name) {
  const std::vector<std::string>& fields = fieldNames(array);
  const auto found = std::find(fields.begin(), fields.end(), name);
  if (found == fields.end()) return std::nullopt;
  return static_cast<std::size_t>(found - fields.begin());
}

const vrArray* partAt(const vrArray* array, std::size_t position) {
  const vrArray* part = array->container->parts()[position];
  return part != nullptr ? part : &unsetPart;
}

// Moves an array of the caller's to the position and destroys the former part.
inline void setPart(vrArray* array, std::size_t position, vrArray* value) {
  if (value == array || value->isPart) {
    throw HostError("ArrayInUse", "An array cannot be part of itself or of two arrays.");
  }
  unshare(array);
  CallScope::detach(value);
  value->isPart = true;
  vrArray* former = std::exchange(array->container->parts()[position], value);
  if (former != nullptr) vrDestroyArray(former);
}

// Moves the parts into a container with room for one more part in each element. `old` is not
// shared.
Container* widened(Container* old, std::size_t count, std::size_t fields) {
  Container* wide = newContainer(count * (fields + 1));
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t field = 0; field < fields; ++field) {
      wide->parts()[i * (fields + 1) + field] =
          std::exchange(old->parts()[i * fields + field], nullptr);
    }
  }
  return wide;
}

std::vector<std::string> withName(const std::vector<std::string>& names, const char* name) {
  try {
    std::vector<std::string> longer = names;
    longer.emplace_back(name);
    return longer;
  } catch (const std::bad_alloc&) {
    throw ntob::TOBOutOfMemoryException();
  }
}

void addProperty(vrArray* object, const char* name) {
  const std::size_t fields = object->names->fields.size();
  const std::size_t dimensions[] = {countOf(object), 1};
  checkedCount(2, dimensions, partSize * (fields + 1));
  unshare(object);
  Names* longer = newNames(object->names->title, withName(object->names->fields, name));
  try {
    Container* wide = widened(object->container, dimensions[0], fields);
    releaseContainer(std::exchange(object->container, wide));
  } catch (...) {
    releaseNames(longer);
    throw;
  }
  releaseNames(std::exchange(object->names, longer));
}

void requireCellElement(const vrArray* array, std::size_t index) {
  if (array->classID != vrCELL_CLASS || index >= countOf(array)) {
    throw HostError("NoSuchElement", "There is no such element of a cell array.");
  }
}

}  // namespace

int vrGetNumberOfFields(const vrArray* array) { return static_cast<int>(fieldNames(array).size()); }

const vrArray* vrGetField_730(const vrArray* array, std::size_t index, const char* name) {
  const std::optional<std::size_t> field = fieldIndex(array, name);
  if (!field || index >= countOf(array)) return nullptr;
  return partAt(array, index * fieldNames(array).size() + *field);
}

void vrSetFieldByNumber_730(vrArray* structure, std::size_t index, int field, vrArray* value) {
  const std::size_t fields = fieldNames(structure).size();
  const auto number = static_cast<std::size_t>(field);
  if (field < 0 || number >= fields || index >= countOf(structure)) {
    throw HostError("NoSuchField", "There is no such field or element of a structure.");
  }
  setPart(structure, index * fields + number, value);
}

vrArray* vrGetProperty_730(const vrArray* array, std::size_t index, const char* name) {
  if (array->classID != vrOBJECT_CLASS) return nullptr;
  const vrArray* property = vrGetField_730(array, index, name);
  return property != nullptr ? vrCreateSharedDataCopy(property) : nullptr;
}

void vrSetProperty_730(vrArray* array, std::size_t index, const char* name, const vrArray* value) {
  if (array == nullptr) {
    rethrowTrappedFailure();
    throw HostError("NoArray", "There is no array to set a property of.");
  }
  if (array->classID != vrOBJECT_CLASS || index >= countOf(array)) {
    throw HostError("NoSuchProperty", "Only elements of a value object have properties.");
  }
  OwnedArray copy(newSharedCopy(value));
  if (!fieldIndex(array, name)) addProperty(array, name);
  setPart(array, index * fieldNames(array).size() + *fieldIndex(array, name), copy.get());
  copy.release();
}

namespace vormel {

const vrArray* cellElement(const vrArray* array, std::size_t index) {
  requireCellElement(array, index);
  return partAt(array, index);
}

const vrArray* fieldAt(const vrArray* array, std::size_t index, std::size_t field) {
  const std::size_t fields = fieldNames(array).size();
  if (field >= fields || index >= countOf(array)) {
    throw HostError("NoSuchField", "There is no such field or element of a structure.");
  }
  return partAt(array, index * fields + field);
}

void setCellElement(vrArray* array, std::size_t index, vrArray* value) {
  requireCellElement(array, index);
  setPart(array, index, value);
}

}  // namespace vormel
