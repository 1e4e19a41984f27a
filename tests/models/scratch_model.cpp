// The scratch file: which variables are in it, and whether it is there at all.
#include "tests/models/signatures.h"
#include "tests/models/store_model.h"

namespace kvr::models {
namespace {

// A property of the first element of a value object, or null.
const PlainArray* propertyOf(const PlainArray& array, const std::string& name) {
  return array.classID == vrOBJECT_CLASS ? fieldOf(array, name) : nullptr;
}

void setProperty(PlainArray& object, const std::string& name, const PlainArray& value) {
  const auto found = std::find(object.fields.begin(), object.fields.end(), name);
  if (found != object.fields.end()) {
    object.parts[static_cast<std::size_t>(found - object.fields.begin())] = value;
  } else {
    object.fields.push_back(name);
    object.parts.push_back(value);
  }
}

// Handles and other opaque arrays mean nothing outside the process.
bool canBeStored(const PlainArray& array) {
  return array.classID != vrOPAQUE_CLASS &&
         std::all_of(array.parts.begin(), array.parts.end(), canBeStored);
}

}  // namespace

void Process::createFile() {
  if (tempdirFails || tempdirEmpty) fail("INPUT_MISMATCH", "timeseries");
  fileExists = true;
  file.clear();
}

void Process::writeVariable(const PlainArray& values, int32 id) {
  const PlainArray* time = propertyOf(values, "Time");
  const PlainArray* data = propertyOf(values, "Data");
  if (time == nullptr || data == nullptr || !fileExists) fail("INPUT_MISMATCH", "timeseries");
  if (!canBeStored(*time) || !canBeStored(*data)) fail("INPUT_MISMATCH", "timeseries");
  file.at(id) = {*time, *data};
}

PlainArray Process::readVariable(int32 id) {
  if (!fileExists) fail("FILE_NOT_LOCATED");
  const std::pair<PlainArray, PlainArray>* variable = file.find(id);
  if (variable == nullptr) fail("NON_EXISTENT", "ID");
  if (timeseriesFails) failInHost(kFunctionFailure);
  PlainArray object = timeseries;
  setProperty(object, "Data", variable->second);
  setProperty(object, "Time", variable->first);
  return object;
}

}  // namespace kvr::models
