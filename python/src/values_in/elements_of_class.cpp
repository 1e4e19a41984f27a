#include "python/src/values_in/elements_of_class.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

#include "embedded_host/messages/host_exception.h"
#include "python/src/base/number_classes.h"
#include "python/src/base/text.h"
#include "python/src/values_in/numbers.h"
#include "python/src/values_in/numpy_in.h"

namespace vormel::python {
namespace {

// ---- Elements of one class as those of another ----

// Elements are read and written through the widest number: it holds all of int64, uint64 and
// double.
using Widest = long double;
static_assert(std::numeric_limits<Widest>::digits >= 64);

template <class Element>
bool holds(Widest value) {
  using Limits = std::numeric_limits<Element>;
  if (!Limits::is_integer) return true;
  return value >= static_cast<Widest>(Limits::min()) &&
         value <= static_cast<Widest>(Limits::max()) && std::trunc(value) == value;
}

// False if a value is out of the range of the target's elements, or not whole where they are.
template <class From, class To>
bool convert(const void* source, void* target, std::size_t count, bool toTruth) {
  const auto* from = static_cast<const From*>(source);
  auto* to = static_cast<To*>(target);
  for (std::size_t i = 0; i < count; ++i) {
    auto value = static_cast<Widest>(from[i]);
    if (toTruth && !std::isnan(value)) value = value != 0 ? 1 : 0;
    if (!holds<To>(value)) return false;
    to[i] = static_cast<To>(value);
  }
  return true;
}

bool convertElements(int fromClass, const void* source, int toClass, void* target,
                     std::size_t count) {
  return withElementType(fromClass, [&]<class From>(std::type_identity<From>) {
    return withElementType(toClass, [&]<class To>(std::type_identity<To>) {
      return convert<From, To>(source, target, count, toClass == vrLOGICAL_CLASS);
    });
  });
}

// ---- Lists of lists ----

bool isList(PyObject* item) { return PyList_Check(item) || PyTuple_Check(item); }

bool isFlatNumpy(PyObject* item) {
  return PyArray_Check(item) && PyArray_NDIM(reinterpret_cast<PyArrayObject*>(item)) == 1;
}

template <class Test>
bool allItems(PyObject* tuple, const Test& test) {
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(tuple); ++i) {
    if (!test(PyTuple_GET_ITEM(tuple, i))) return false;
  }
  return true;
}

bool isCharacter(PyObject* item) { return PyUnicode_Check(item) && unitCount(item) == 1; }

OwnedArray rowOfCharacters(PyObject* tuple) {
  const std::size_t dimensions[] = {1, static_cast<std::size_t>(PyTuple_GET_SIZE(tuple))};
  OwnedArray row = zeros(2, dimensions, vrCHAR_CLASS, false);
  auto* units = static_cast<char16_t*>(vrGetData(row.get()));
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(tuple); ++i) {
    writeUnits(PyTuple_GET_ITEM(tuple, i), units + i);
  }
  return row;
}

// Reads the lists level by level; the innermost ones are rows.
class ListReader {
 public:
  ListReader(int classID, const std::string& className)
      : classID_(classID), className_(className) {}

  void read(PyObject* tuple) {
    const Nesting nesting(" while making a host array");
    enterLevel(static_cast<std::size_t>(PyTuple_GET_SIZE(tuple)));
    const auto isDeeper = [](PyObject* item) { return isList(item) || isFlatNumpy(item); };
    if (PyTuple_GET_SIZE(tuple) != 0 && allItems(tuple, isDeeper)) {
      for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(tuple); ++i) {
        readInner(PyTuple_GET_ITEM(tuple, i));
      }
    } else {
      addRow(rowOf(tuple));
    }
    --level_;
  }

  OwnedArray result() {
    if (lengths_.size() == 1) return std::move(rows_.front());
    const bool isComplex = std::any_of(
        rows_.begin(), rows_.end(), [](const OwnedArray& row) { return vrIsComplex(row.get()); });
    OwnedArray array = zeros(lengths_.size(), lengths_.data(), classID_, isComplex);
    std::vector<std::size_t> index(lengths_.size() - 1, 0);
    for (const OwnedArray& row : rows_) {
      putRow(array.get(), row.get(), index);
      for (std::size_t level = index.size(); level-- > 0;) {
        if (++index[level] < lengths_[level]) break;
        index[level] = 0;
      }
    }
    return array;
  }

 private:
  void readInner(PyObject* item) {
    if (isList(item)) return read(snapshot(item).ptr());
    OwnedArray row = toHostFromNumpy(reinterpret_cast<PyArrayObject*>(item));
    if (vrGetM(row.get()) != 1) refuse("such a list");  // no longer flat
    enterLevel(vrGetN(row.get()));
    addRow(std::move(row));
    --level_;
  }

  void enterLevel(std::size_t length) {
    if (level_ == lengths_.size() && rows_.empty()) {
      if (level_ == NPY_MAXDIMS) refuse("a list nested deeper than 32 lists");
      lengths_.push_back(length);
    }
    if (level_ == lengths_.size() || lengths_[level_] != length) refuseLengths();
    ++level_;
  }

  OwnedArray rowOf(PyObject* tuple) {
    if (PyTuple_GET_SIZE(tuple) == 0) return makeNumeric(1, 0, vrDOUBLE_CLASS);
    const RowKinds kinds = kindsOf(tuple);
    if (kinds.areNumbers()) return numberRow(tuple, kinds);
    if (allItems(tuple, isCharacter)) return rowOfCharacters(tuple);
    for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(tuple); ++i) {
      refuseHinted(PyTuple_GET_ITEM(tuple, i));
    }
    refuse("a list of other than numbers, characters, or lists of them");
  }

  void addRow(OwnedArray row) {
    if (level_ != lengths_.size()) refuseLengths();
    const bool isOfClass = vrGetClassID(row.get()) == classID_;
    rows_.push_back(isOfClass ? std::move(row) : cast(row.get(), classID_, className_));
  }

  void putRow(vrArray* array, const vrArray* row, const std::vector<std::size_t>& index) const {
    const std::size_t size = vrGetElementSize(array);
    std::size_t first = 0;
    std::size_t step = 1;
    for (std::size_t level = 0; level < index.size(); ++level) {
      first += index[level] * step;
      step *= lengths_[level];
    }
    const auto put = [&](void* to, const void* from) {
      for (std::size_t i = 0; i < lengths_.back(); ++i) {
        std::memcpy(static_cast<char*>(to) + (first + i * step) * size,
                    static_cast<const char*>(from) + i * size, size);
      }
    };
    put(vrGetData(array), vrGetData(row));
    if (vrIsComplex(row)) put(vrGetImagData(array), vrGetImagData(row));
  }

  [[noreturn]] void refuse(const char* what) const { refuseForClass(what, className_); }
  [[noreturn]] void refuseLengths() const { refuse("a list of lists of unequal lengths"); }

  int classID_;
  const std::string& className_;
  std::vector<std::size_t> lengths_;  // by level, the outermost first
  std::size_t level_ = 0;             // of the list being read
  std::vector<OwnedArray> rows_;      // in the order of reading, all of the class
};

}  // namespace

bool hasElements(const vrArray* array) {
  const int classID = vrGetClassID(array);
  return numberClass(classID) != nullptr || classID == vrCHAR_CLASS;
}

OwnedArray zeros(std::size_t dimensionCount, const std::size_t* dimensions, int classID,
                 bool isComplex) {
  if (classID == vrCHAR_CLASS) return OwnedArray(vrCreateCharArray_730(dimensionCount, dimensions));
  return OwnedArray(
      vrCreateNumericArray_730(dimensionCount, dimensions, classID, isComplex ? 1 : 0));
}

OwnedArray cast(const vrArray* array, int classID, const std::string& className) {
  const bool isComplex = vrIsComplex(array);
  if (isComplex && (classID == vrLOGICAL_CLASS || classID == vrCHAR_CLASS)) {
    refuseForClass("a complex number", className);
  }
  OwnedArray target =
      zeros(vrGetNumberOfDimensions_730(array), vrGetDimensions_730(array), classID, isComplex);
  const std::size_t count = vrGetNumberOfElements(array);
  const int fromClass = vrGetClassID(array);
  bool fits = convertElements(fromClass, vrGetData(array), classID, vrGetData(target.get()), count);
  if (isComplex) {
    fits = fits && convertElements(fromClass, vrGetImagData(array), classID,
                                   vrGetImagData(target.get()), count);
  }
  if (!fits) refuseForClass("a number out of its range, or not a whole one,", className);
  return target;
}

void refuseForClass(const std::string& what, const std::string& className) {
  throw CallRefused("NotConvertible", what + " has no host array of class \"" + className + '"');
}

OwnedArray arrayOfLists(PyObject* tuple, int classID, const std::string& className) {
  ListReader reader(classID, className);
  reader.read(tuple);
  return reader.result();
}

}  // namespace vormel::python
