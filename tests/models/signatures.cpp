#include "tests/models/signatures.h"

#include <cmath>
#include <stdexcept>
#include <string>

namespace kvr::models {
namespace {

bool isRealScalar(const PlainArray& array) {
  const bool logical = array.classID == vrLOGICAL_CLASS;
  return isScalar(array) && (logical || (isNumeric(array) && !array.complex));
}

bool isInt32(const PlainArray& array) {
  const double value = firstNumber(array);
  return isRealScalar(array) && value >= -2147483648.0 && value <= 2147483647.0 &&
         value == std::trunc(value);
}

bool isString(const PlainArray& array) {
  if (!isText(array)) return false;
  const bool row = array.dimensions.size() == 2 && array.dimensions[0] == 1;
  return isEmpty(array) || (row && textOf(array).find('\0') == std::string::npos);
}

}  // namespace

const std::vector<Signature>& signaturesOf(ClassKind cls) {
  return cls == ClassKind::Map ? mapMethods() : repositoryMethods();
}

int placeOf(ClassKind cls, std::string_view name) {
  const auto& rows = signaturesOf(cls);
  for (std::size_t place = 0; place < rows.size(); ++place) {
    if (rows[place].name == name) return static_cast<int>(place);
  }
  throw std::logic_error("no method " + std::string(name));
}

void checkCall(const Signature& signature, const std::vector<PlainArray>& inputs, int nargout,
               bool constructor, const std::function<bool(const PlainArray&)>& isOfClass) {
  const std::string_view types = signature.inputs;
  if (inputs.size() < types.size()) failInHost("NotEnoughInputs");
  if (types.empty() && !inputs.empty()) failInHost("TooManyInputs");
  if (nargout < 0) failInHost("InvalidOutputCount");
  if (!constructor && !isOfClass(inputs[0])) failInHost("WrongObject");
  for (std::size_t i = constructor ? 0 : 1; i < inputs.size(); ++i) {
    const char type = types[std::min(i, types.size() - 1)];
    const bool fits = type == 'a' || (type == 'h' && isOfClass(inputs[i])) ||
                      (type == 'i' && isInt32(inputs[i])) ||
                      (type == 'd' && isRealScalar(inputs[i])) ||
                      (type == 's' && isString(inputs[i]));
    if (!fits) failInHost("InvalidInput");
  }
}

void fail(const char* failureClass) {
  throw Failure{std::string("KVR:kvr:") + failureClass, std::nullopt};
}
void fail(const char* failureClass, const char* word) {
  throw Failure{std::string("KVR:kvr:") + failureClass, word};
}
void failInHost(const char* key) { throw Failure{std::string("Vormel:") + key, std::nullopt}; }

}  // namespace kvr::models
