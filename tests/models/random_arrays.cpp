#include "tests/models/random_arrays.h"

#include <cmath>
#include <limits>

namespace kvr::models {
namespace {

const std::vector<Dimensions> kShapes = {{1, 1}, {1, 1}, {1, 1},    {1, 2},    {2, 1},
                                         {1, 3}, {2, 2}, {0, 0},    {1, 0},    {0, 3},
                                         {3, 2}, {4, 1}, {1, 1, 1}, {2, 1, 2}, {1, 0, 2}};

std::size_t countOf(const Dimensions& dimensions) {
  std::size_t count = 1;
  for (const std::size_t dimension : dimensions) count *= dimension;
  return count;
}

PlainArray anyNumbers(Random& random, int classID, const Dimensions& dimensions) {
  const auto values = [&] {
    std::vector<double> list;
    for (std::size_t i = 0; i < countOf(dimensions); ++i) list.push_back(anyDouble(random));
    return list;
  };
  if (classID == vrLOGICAL_CLASS) {
    std::vector<double> list = values();
    for (double& value : list) value = value > 0 ? 1 : 0;
    return numbers(classID, dimensions, list);
  }
  PlainArray array = numbers(classID, dimensions, values());
  if (random.percent(10)) {
    array.complex = true;
    array.imaginary = numbers(classID, dimensions, values()).real;
  }
  return array;
}

PlainArray anyCharacters(Random& random, const Dimensions& dimensions) {
  static const std::vector<char16_t> units = {u'a', u'b',   u'Z',   u'1',  u'\0',
                                              0xe9, 0x20ac, 0xd83d, 0xde00};
  std::u16string text;
  for (std::size_t i = 0; i < countOf(dimensions); ++i) text += random.oneOf(units);
  return characters(dimensions, text);
}

// Numbers and characters alone, so that nothing is deep.
PlainArray simpleArray(Random& random) {
  const int classID = 3 + random.below(13);
  const Dimensions& dimensions = random.oneOf(kShapes);
  if (classID == vrCHAR_CLASS) return anyCharacters(random, dimensions);
  return anyNumbers(random, classID == 5 ? vrDOUBLE_CLASS : classID, dimensions);
}

PlainArray container(Random& random, int classID, const Dimensions& dimensions) {
  PlainArray array{.classID = classID, .dimensions = dimensions};
  std::size_t parts = countOf(dimensions);
  if (classID != vrCELL_CLASS) {
    array.fields = random.percent(50) ? std::vector<std::string>{"a", "Data", "Time"}
                                      : std::vector<std::string>{"x"};
    parts *= array.fields.size();
  }
  if (classID == vrOBJECT_CLASS) array.name = random.percent(50) ? "timeseries" : "other";
  for (std::size_t i = 0; i < parts; ++i) array.parts.push_back(simpleArray(random));
  return array;
}

// The structure with one thing wrong.
void spoil(Random& random, PlainArray& array) {
  const auto place = static_cast<std::size_t>(random.below(static_cast<int>(array.fields.size())));
  switch (random.below(9)) {
    case 0:
      array.fields[place] += "x";
      break;
    case 1:
      array.fields.erase(array.fields.begin() + static_cast<std::ptrdiff_t>(place));
      array.parts.erase(array.parts.begin() + static_cast<std::ptrdiff_t>(place));
      break;
    case 2:
      array.fields.emplace_back("more");
      array.parts.push_back(number(1));
      break;
    case 3:
      array.dimensions = {0, 0};
      array.parts.clear();
      break;
    case 4:
      array = number(1);
      break;
    default:
      array.parts[place] = simpleArray(random);
  }
}

// Fields in another order, a second element, an object in place of the structure.
void vary(Random& random, PlainArray& array) {
  if (random.percent(30)) return spoil(random, array);
  if (random.percent(20)) {
    std::swap(array.fields.front(), array.fields.back());
    std::swap(array.parts.front(), array.parts.back());
  }
  if (random.percent(10)) {
    array.dimensions = {1, 2};
    for (std::size_t i = 0; i < array.fields.size(); ++i)
      array.parts.push_back(simpleArray(random));
  } else if (random.percent(20)) {
    array.classID = vrOBJECT_CLASS;
    array.name = "settings";
  }
}

PlainArray realNumber(Random& random) {
  static const std::vector<int> classes = {vrDOUBLE_CLASS, vrDOUBLE_CLASS, vrSINGLE_CLASS,
                                           vrINT8_CLASS, vrUINT64_CLASS};
  return number(random.oneOf(classes), anyDouble(random));
}

}  // namespace

double anyDouble(Random& random) {
  static const std::vector<double> values = {0,
                                             1,
                                             2,
                                             3,
                                             4,
                                             5,
                                             0.5,
                                             2.5,
                                             -2.5,
                                             2.9,
                                             -1,
                                             -0.0,
                                             0.1,
                                             1e-3,
                                             100.5,
                                             127.5,
                                             255,
                                             300.7,
                                             -129,
                                             65536,
                                             2147483647,
                                             2147483648,
                                             -2147483648.0,
                                             -2147483649.0,
                                             4294967296,
                                             9007199254740993.0,
                                             4503599627370497.5,
                                             9.3e18,
                                             1.9e19,
                                             -9.3e18,
                                             1e300,
                                             0.49999999999999994,
                                             std::numeric_limits<double>::quiet_NaN(),
                                             std::numeric_limits<double>::infinity(),
                                             -std::numeric_limits<double>::infinity()};
  return random.percent(30) ? random.below(20) : random.oneOf(values);
}

PlainArray anyArray(Random& random, int objects) {
  const int choice = random.below(22);
  const Dimensions& dimensions = random.oneOf(kShapes);
  switch (choice) {
    case 0:
      return container(random, vrCELL_CLASS, dimensions);
    case 1:
      return container(random, vrSTRUCT_CLASS, dimensions);
    case 2:
      return container(random, vrOBJECT_CLASS, dimensions);
    case 3: {
      PlainArray function{.classID = vrFUNCTION_CLASS, .dimensions = {1, 1}};
      function.name = "sin";
      return function;
    }
    case 4: {
      PlainArray opaque{.classID = vrOPAQUE_CLASS, .dimensions = {1, 1}};
      opaque.name = "other";
      return opaque;
    }
    case 5:
      if (objects > 0) return handleOf(1 + random.below(objects));
      return PlainArray();
    case 6:
      return toleranceStruct(random);
    case 7:
      return syncStruct(random);
    default:
      return simpleArray(random);
  }
}

PlainArray whole(Random& random, int32 value) {
  static const std::vector<int> classes = {vrDOUBLE_CLASS, vrSINGLE_CLASS, vrINT8_CLASS,
                                           vrUINT16_CLASS, vrINT64_CLASS,  vrLOGICAL_CLASS};
  if (random.percent(90)) return int32Scalar(value);
  const int classID = random.oneOf(classes);
  return number(classID, classID == vrLOGICAL_CLASS && value != 0 ? 1 : value);
}

PlainArray integer(Random& random, int32 value) {
  static const std::vector<int> classes = {vrINT8_CLASS,   vrUINT8_CLASS, vrINT16_CLASS,
                                           vrUINT32_CLASS, vrINT64_CLASS, vrUINT64_CLASS};
  return number(random.percent(85) ? vrINT32_CLASS : random.oneOf(classes), value);
}

PlainArray textInput(Random& random, const std::string& usual) {
  if (random.percent(94)) return text(usual);
  return anyCharacters(random, random.oneOf(kShapes));
}

PlainArray signalValues(Random& random) {
  if (random.percent(10)) return container(random, 1 + random.below(2), random.oneOf(kShapes));
  PlainArray object = valueObject("timeseries", {"Name", "Time", "Data"},
                                  {text("n"), simpleArray(random), simpleArray(random)});
  if (random.percent(10)) object.fields[static_cast<std::size_t>(random.below(3))] = "Other";
  return object;
}

PlainArray toleranceStruct(Random& random) {
  PlainArray array =
      structure({"toleranceType", "absolute", "relative", "timeStart", "timeEnd", "timeStep",
                 "initAbsTolVal", "absStep", "initRelTolVal", "relStep", "fcnCall"},
                {number(random.below(3))});
  for (int i = 0; i < 9; ++i) array.parts.push_back(realNumber(random));
  array.parts.push_back(textInput(random, "f"));
  vary(random, array);
  return array;
}

PlainArray syncStruct(Random& random) {
  static const std::vector<std::string> methods = {"union", "Intersection", "UNIFORM", "other"};
  static const std::vector<std::string> interps = {"zoh", "Linear", "ZOH", "linear "};
  PlainArray array = structure(
      {"SyncMethod", "InterpMethod", "UniformTimeInterval", "customSyncMethod", "syncType"},
      {text(random.oneOf(methods)), text(random.oneOf(interps)), number(anyDouble(random)),
       textInput(random, "custom"), number(random.below(2))});
  vary(random, array);
  return array;
}

}  // namespace kvr::models
