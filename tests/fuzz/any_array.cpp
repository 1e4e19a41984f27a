#include "tests/fuzz/any_array.h"

#include <limits>
#include <utility>

namespace kvr::fuzz {
namespace {

using models::Dimensions;
using models::PlainArray;

constexpr int kDeepest = 4;  // nesting of arrays with several parts
constexpr std::size_t kMostElements = 64;

PlainArray arrayAt(Bytes& bytes, int objects, int depth);

const std::vector<double> kNumbers = {0,
                                      1,
                                      2,
                                      3,
                                      -1,
                                      0.5,
                                      -0.0,
                                      2.9,
                                      -2.9,
                                      1e300,
                                      127,
                                      128,
                                      -129,
                                      255,
                                      256,
                                      65535,
                                      65536,
                                      2147483647,
                                      2147483648.0,
                                      -2147483648.0,
                                      -2147483649.0,
                                      4294967295.0,
                                      4294967296.0,
                                      9007199254740993.0,
                                      9.223372036854775e18,
                                      1.8446744073709552e19,
                                      -9.3e18,
                                      5e-324,
                                      std::numeric_limits<double>::quiet_NaN(),
                                      std::numeric_limits<double>::infinity(),
                                      -std::numeric_limits<double>::infinity()};

const std::vector<std::string> kWords = {
    "",         "a",          "alpha",       "timeseries",   "Time",          "Data",
    "Name",     "GBLOCKPATH", "GDATASOURCE", "gsignalname",  "GMODEL",        "GRUNNAME",
    "ASC",      "desc",       "union",       "Intersection", "UNIFORM",       "zoh",
    "linear",   "custom",     "double",      "any",          "toleranceType", "absolute",
    "timeStep", "relStep",    "fcnCall",     "SyncMethod",   "syncType",      "UniformTimeInterval",
    "handle",   "\xc3\xa9"};

Dimensions anyShape(Bytes& bytes) {
  static const std::vector<Dimensions> shapes = {{1, 1}, {1, 1}, {1, 1}, {1, 1}, {0, 0},   {1, 0},
                                                 {0, 3}, {1, 2}, {3, 1}, {2, 2}, {1, 1, 1}};
  const int choice = bytes.below(14);
  if (choice < 11) return shapes[static_cast<std::size_t>(choice)];
  if (choice == 11) return {1, bytes.number<std::uint8_t>() % kMostElements};
  Dimensions shape;
  std::size_t count = 1;
  for (int left = 2 + bytes.below(4); left > 0; --left) {
    std::size_t extent = static_cast<std::size_t>(bytes.below(5));
    if (count * extent > kMostElements) extent = 1;
    count *= extent;
    shape.push_back(extent);
  }
  return shape;
}

// Bytes as they come, or one of the numbers over and over.
std::string anyElements(Bytes& bytes, int classID, std::size_t count) {
  std::string all;
  if (bytes.below(2) == 0) {
    const PlainArray one = models::number(classID, bytes.oneOf(kNumbers));
    for (std::size_t i = 0; i < count; ++i) all += one.real;
  } else {
    all = bytes.take(count * models::elementSize(classID));
  }
  if (classID == vrLOGICAL_CLASS)
    for (char& element : all) element = static_cast<char>(element & 1);
  return all;
}

PlainArray anyNumbers(Bytes& bytes, int classID) {
  PlainArray array{.classID = classID, .dimensions = anyShape(bytes)};
  const std::size_t count = models::elementCount(array);
  array.real = anyElements(bytes, classID, count);
  if (models::isNumeric(array) && bytes.onceIn(8)) {
    array.complex = true;
    array.imaginary = anyElements(bytes, classID, count);
  }
  return array;
}

PlainArray longText(Bytes& bytes) {
  const std::size_t length = std::size_t{1} << bytes.below(12);
  const auto unit = bytes.number<char16_t>();
  return models::characters({1, length}, std::u16string(length, unit));
}

std::string anyName(Bytes& bytes) {
  if (bytes.below(4) != 0) return bytes.oneOf(kWords);
  std::string name = bytes.take(static_cast<std::size_t>(bytes.below(8)));
  for (char& character : name)
    if (character == '\0') character = 'n';
  return name;
}

void addField(PlainArray& record, std::string name) {
  while (std::find(record.fields.begin(), record.fields.end(), name) != record.fields.end())
    name += '2';
  record.fields.push_back(std::move(name));
}

PlainArray anyContainer(Bytes& bytes, int classID, int objects, int depth) {
  PlainArray array{.classID = classID, .dimensions = anyShape(bytes)};
  std::size_t parts = models::elementCount(array);
  if (classID != vrCELL_CLASS) {
    for (int left = bytes.below(5); left > 0; --left) addField(array, anyName(bytes));
    parts *= array.fields.size();
  }
  if (classID == vrOBJECT_CLASS) array.name = anyName(bytes);
  for (std::size_t i = 0; i < parts; ++i) array.parts.push_back(arrayAt(bytes, objects, depth + 1));
  return array;
}

// One array in many.
PlainArray nested(Bytes& bytes, int objects) {
  const bool inCells = bytes.below(2) == 0;
  const int levels = bytes.below(200);
  PlainArray array = arrayAt(bytes, objects, kDeepest + 1);
  for (int i = 0; i < levels; ++i) {
    std::vector<PlainArray> parts;
    parts.push_back(std::move(array));
    array = inCells ? models::cellArray({1, 1}, std::move(parts))
                    : models::structure({"in"}, std::move(parts));
  }
  return array;
}

PlainArray named(int classID, const std::string& name) {
  PlainArray array{.classID = classID, .dimensions = {1, 1}};
  array.name = name;
  return array;
}

PlainArray timeseriesLike(Bytes& bytes, int objects, int depth) {
  return models::valueObject(
      "timeseries", {"Name", "Time", "Data"},
      {anyText(bytes), arrayAt(bytes, objects, depth + 1), arrayAt(bytes, objects, depth + 1)});
}

PlainArray arrayAt(Bytes& bytes, int objects, int depth) {
  const int classID = bytes.below(22);
  switch (classID) {
    case vrCELL_CLASS:
    case vrSTRUCT_CLASS:
    case vrOBJECT_CLASS:
      return depth < kDeepest ? anyContainer(bytes, classID, objects, depth)
                              : models::emptyOf(classID);
    case vrCHAR_CLASS:
      return anyText(bytes);
    case vrFUNCTION_CLASS:
      return named(vrFUNCTION_CLASS, anyName(bytes));
    case vrOPAQUE_CLASS:
      return bytes.below(2) == 0 ? models::handleOf(1 + bytes.below(objects + 1))
                                 : named(vrOPAQUE_CLASS, "other");
    case 19:
      return depth < kDeepest ? timeseriesLike(bytes, objects, depth) : models::number(1);
    case 20:
      return depth == 0 ? toleranceLike(bytes, objects) : models::number(2);
    case 21:
      if (depth == 0) return syncLike(bytes, objects);
      return depth <= kDeepest ? nested(bytes, objects) : models::number(3);
    default:
      return anyNumbers(bytes, classID == 0 || classID == 5 ? vrDOUBLE_CLASS : classID);
  }
}

// One change of a structure, of any kind.
void change(Bytes& bytes, int objects, PlainArray& array) {
  const std::size_t count = array.fields.size();
  const std::size_t place = count == 0 ? 0 : bytes.number<std::uint8_t>() % count;
  const auto at = static_cast<std::ptrdiff_t>(place);
  const int choice = bytes.below(10);
  if (choice == 0) {
    array.classID = vrOBJECT_CLASS;
    array.name = anyName(bytes);
  } else if (choice == 1) {
    addField(array, anyName(bytes));
    array.parts.push_back(arrayAt(bytes, objects, 2));
  } else if (count == 0) {
    return;
  } else if (choice == 2) {
    array.fields.erase(array.fields.begin() + at);
    array.parts.erase(array.parts.begin() + at);
  } else if (choice == 3) {
    const std::string name = anyName(bytes);
    array.fields.erase(array.fields.begin() + at);
    addField(array, name);
    std::rotate(array.parts.begin() + at, array.parts.begin() + at + 1, array.parts.end());
  } else if (choice == 4) {
    std::swap(array.fields[place], array.fields.back());
    std::swap(array.parts[place], array.parts.back());
  } else if (choice == 5) {
    array.parts[place] = anyText(bytes);
  } else if (choice == 6) {
    array.parts[place] = fitting(bytes, 'd', objects);
  } else {
    array.parts[place] = arrayAt(bytes, objects, 2);
  }
}

// None or a second element, once all fields are there.
void reshape(Bytes& bytes, PlainArray& array) {
  const int choice = bytes.below(8);
  if (choice == 6) {
    array.dimensions = {0, 1};
    array.parts.clear();
  } else if (choice == 7) {
    array.dimensions = {1, 2};
    const std::vector<PlainArray> first = array.parts;
    array.parts.insert(array.parts.end(), first.begin(), first.end());
  }
}

PlainArray changed(Bytes& bytes, int objects, PlainArray array) {
  for (int left = bytes.below(4); left > 0; --left) change(bytes, objects, array);
  reshape(bytes, array);
  return array;
}

}  // namespace

PlainArray anyArray(Bytes& bytes, int objects) { return arrayAt(bytes, objects, 0); }

PlainArray anyText(Bytes& bytes) {
  const int choice = bytes.below(8);
  if (choice < 4) return models::text(bytes.oneOf(kWords));
  if (choice == 7) return longText(bytes);
  PlainArray array{.classID = vrCHAR_CLASS, .dimensions = anyShape(bytes)};
  array.real = bytes.take(2 * models::elementCount(array));
  return array;
}

PlainArray fitting(Bytes& bytes, char type, int objects) {
  static const std::vector<int> classes = {vrINT32_CLASS, vrINT32_CLASS,  vrDOUBLE_CLASS,
                                           vrINT8_CLASS,  vrUINT64_CLASS, vrSINGLE_CLASS};
  if (bytes.onceIn(16)) return anyArray(bytes, objects);
  switch (type) {
    case 'h':
      return models::handleOf(1 + bytes.below(objects + 1));
    case 'i':
      return models::number(bytes.oneOf(classes), bytes.below(8) - 1);
    case 'd':
      return models::number(bytes.oneOf(kNumbers));
    case 's':
      return anyText(bytes);
    default:
      return bytes.below(2) == 0 ? models::number(bytes.oneOf(classes), bytes.below(8) - 1)
                                 : anyArray(bytes, objects);
  }
}

PlainArray toleranceLike(Bytes& bytes, int objects) {
  PlainArray array = models::structure(
      {"toleranceType", "absolute", "relative", "timeStart", "timeEnd", "timeStep", "initAbsTolVal",
       "absStep", "initRelTolVal", "relStep", "fcnCall"},
      {models::number(bytes.below(3))});
  for (int i = 0; i < 9; ++i) array.parts.push_back(models::number(bytes.oneOf(kNumbers)));
  array.parts.push_back(anyText(bytes));
  return changed(bytes, objects, std::move(array));
}

PlainArray syncLike(Bytes& bytes, int objects) {
  static const std::vector<std::string> methods = {"union", "INTERSECTION", "Uniform", "other"};
  static const std::vector<std::string> interps = {"zoh", "LINEAR", "Linear", "zoh "};
  PlainArray array = models::structure(
      {"SyncMethod", "InterpMethod", "UniformTimeInterval", "customSyncMethod", "syncType"},
      {models::text(bytes.oneOf(methods)), models::text(bytes.oneOf(interps)),
       models::number(bytes.oneOf(kNumbers)), anyText(bytes), models::number(bytes.below(2))});
  return changed(bytes, objects, std::move(array));
}

}  // namespace kvr::fuzz
