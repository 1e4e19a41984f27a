#include "embedded_host/objects/refusals.h"

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/messages/host_exception.h"

namespace vormel {
namespace {

// Arguments as a caller counts them: the object that a method is called on is none.
std::size_t argumentsOf(const MethodRecord& method, std::size_t inputCount) {
  const std::size_t objects = method.isDispatchedOnObject() ? 1 : 0;
  return inputCount < objects ? 0 : inputCount - objects;
}

std::string counted(std::size_t count, const std::string& noun) {
  return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

std::string wantedBy(const SignatureType& type) {
  switch (type.type) {
    case CellType::Int32Scalar:
      return "a real numeric or logical scalar that is a whole number within int32";
    case CellType::DoubleScalar:
      return "a real numeric or logical scalar";
    case CellType::LogicalScalar:
      return "a logical scalar";
    case CellType::String:
      return "a character row without NUL characters";
    case CellType::Any:
      return "a value";
    case CellType::Object:
      break;
  }
  return std::string("an object of class ") + type.name.characters();
}

}  // namespace

std::string describe(const vrArray* array) {
  if (array == nullptr) return "nothing";
  std::string text = vrIsComplex(array) ? "a complex " : "a ";
  text += className(array);
  const std::size_t* dimensions = vrGetDimensions_730(array);
  for (std::size_t i = 0; i < vrGetNumberOfDimensions_730(array); ++i) {
    text += (i == 0 ? " " : "-by-") + std::to_string(dimensions[i]);
  }
  return text;
}

void refuseTooFewInputs(const MethodRecord& method, std::size_t count) {
  const std::size_t wanted = argumentsOf(method, method.inputs().size());
  throw CallRefused("NotEnoughInputs", "\"" + method.name() + "\" takes at least " +
                                           counted(wanted, "argument") + ", got " +
                                           std::to_string(argumentsOf(method, count)) + ".");
}

void refuseTooManyInputs(const MethodRecord& method, std::size_t count) {
  const std::string most = method.inputs().empty() ? "no arguments" : "fewer arguments";
  throw CallRefused("TooManyInputs", "\"" + method.name() + "\" takes " + most + ", got " +
                                         std::to_string(argumentsOf(method, count)) + ".");
}

void refuseOutputCount(const MethodRecord& method, std::int64_t count) {
  throw CallRefused("InvalidOutputCount", "\"" + method.name() + "\" cannot be asked for " +
                                              std::to_string(count) + " outputs.");
}

void refuseInputValue(const MethodRecord& method, std::size_t position, const SignatureType& type,
                      const std::string& given) {
  const std::size_t argument = argumentsOf(method, position + 1);
  throw CallRefused("InvalidInput", "Argument " + std::to_string(argument) + " of \"" +
                                        method.name() + "\" must be " + wantedBy(type) + ", got " +
                                        given + ".");
}

void refuseObject(const MethodRecord& method, const std::string& given) {
  throw CallRefused("WrongObject", "\"" + method.name() +
                                       "\" must be called on an object of class " +
                                       method.owner().fullName() + ", got " + given + ".");
}

}  // namespace vormel
