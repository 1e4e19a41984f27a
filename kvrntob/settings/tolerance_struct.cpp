#include "kvrntob/settings/tolerance_struct.h"

#include <array>
#include <string_view>

#include "kvrntob/base/number_reading.h"
#include "kvrntob/binding/failure.h"
#include "kvrntob/settings/structures.h"
#include "kvrntob/store/array_makers.h"

namespace kvr {

namespace {

struct NumberField {
  const char* name;
  double ToleranceSettings::*member;
  const char* word;  // of the failure; not the words that the setters of single fields use
};

using Settings = ToleranceSettings;
constexpr std::array<NumberField, 9> kNumbers{{
    {"absolute", &Settings::absolute, "Absolute tolerance"},
    {"relative", &Settings::relative, "Relative tolerance"},
    {"timeStart", &Settings::timeStart, "Start time"},
    {"timeEnd", &Settings::timeEnd, "End time"},
    {"timeStep", &Settings::timeStep, "Time step"},
    {"initAbsTolVal", &Settings::initAbsTolVal, "Initial absolute tolerance"},
    {"absStep", &Settings::absStep, "Absolute step"},
    {"initRelTolVal", &Settings::initRelTolVal, "Initial relative tolerance"},
    {"relStep", &Settings::relStep, "Relative step"},
}};

// The type, the numbers, the function call.
constexpr std::size_t kFieldCount = 1 + kNumbers.size() + 1;
static_assert(kFieldCount == 11);

constexpr std::array<const char*, kFieldCount> kFieldNames = [] {
  std::array<const char*, kFieldCount> names{"toleranceType"};
  for (std::size_t i = 0; i < kNumbers.size(); ++i) names[1 + i] = kNumbers[i].name;
  names.back() = "fcnCall";
  return names;
}();

using Fields = std::array<const vrArray*, kFieldCount>;

// The fields of element 0, in the order of kFieldNames. "timeStep" alone may be null: it is left
// out of the test for presence, deliberately, and fails as a number.
Fields fetchFields(const vrArray* array) {
  Fields fields{};
  for (std::size_t i = 0; i < kFieldCount; ++i)
    fields[i] = vrGetField_730(array, 0, kFieldNames[i]);
  for (std::size_t i = 0; i < kFieldCount; ++i)
    if (fields[i] == nullptr && std::string_view(kFieldNames[i]) != "timeStep")
      raiseFromMessage(KVR::kvr::MISSING_FIELD());
  return fields;
}

bool isRealNumericScalar(const vrArray* array) {
  return array != nullptr && vrIsNumeric(array) && vrIsScalar(array) && !vrIsComplex(array);
}

int32 readType(const vrArray* field) {
  if (!isRealNumericScalar(field)) raiseFromMessage(KVR::kvr::TOL_TYPE());
  const int32 type = readTruncated(field);
  if (type < 0 || type > 2) raiseFromMessage(KVR::kvr::TOL_TYPE());
  return type;
}

double readNumber(const vrArray* field, const char* word) {
  if (!isRealNumericScalar(field)) raiseFromMessage(KVR::kvr::NOT_NUMERIC(word));
  return vrGetScalar(field);
}

std::string readFcnCall(const vrArray* field) {
  if (vrGetClassID(field) != vrCHAR_CLASS)
    raiseFromMessage(KVR::kvr::INPUT_MISMATCH("Character of strings"));
  return vrArrayToStdString(field);
}

}  // namespace

ToleranceSettings readToleranceStruct(const vrArray* array) {
  requireStructure(array);
  if (vrGetNumberOfFields(array) != static_cast<int>(kFieldCount))
    raiseFromMessage(KVR::kvr::NUMBER_OF_FIELDS("11"));
  const Fields fields = fetchFields(array);
  ToleranceSettings settings;
  settings.toleranceType = readType(fields.front());
  for (std::size_t i = 0; i < kNumbers.size(); ++i)
    settings.*kNumbers[i].member = readNumber(fields[1 + i], kNumbers[i].word);
  settings.fcnCall = readFcnCall(fields.back());
  return settings;
}

vrArray* writeToleranceStruct(const ToleranceSettings& settings) {
  vrArray* structure = makeStructure(kFieldNames);
  int field = 0;
  const auto set = [&](vrArray* value) { vrSetFieldByNumber_730(structure, 0, field++, value); };

  set(makeInt32(settings.toleranceType));
  for (const NumberField& number : kNumbers) set(makeDouble(settings.*number.member));
  set(makeString(settings.fcnCall));
  return structure;
}

}  // namespace kvr
