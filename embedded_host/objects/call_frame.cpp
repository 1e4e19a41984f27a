#include "embedded_host/objects/call_frame.h"

#include <algorithm>
#include <utility>

#include "embedded_host/functions/forks.h"
#include "embedded_host/messages/dispatcher.h"

namespace vormel {
namespace {

using ntob::ArgumentCell;

constexpr std::size_t maxCells = 65536;

// The content of an output cell until a body writes it. It is not a sign-extended int32, a logical
// byte, a pointer, or a double that arithmetic produces.
constexpr std::int64_t unwritten = 0x7ff4'dead'0bad'ce11;

bool isText(const vrArray* array) {
  if (vrGetClassID(array) != vrCHAR_CLASS) return false;
  if (vrIsEmpty(array)) return true;
  return vrGetNumberOfDimensions_730(array) == 2 && vrGetM(array) == 1;
}

// ---- Refusals ----

// The number of arguments as a caller counts them, without the object that the method is called on.
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

[[noreturn]] void refuseTooFewInputs(const MethodRecord& method, std::size_t count) {
  const std::size_t wanted = argumentsOf(method, method.inputs().size());
  throw CallRefused("NotEnoughInputs", "\"" + method.name() + "\" takes at least " +
                                           counted(wanted, "argument") + ", got " +
                                           std::to_string(argumentsOf(method, count)) + ".");
}

[[noreturn]] void refuseTooManyInputs(const MethodRecord& method, std::size_t count) {
  const std::string most = method.inputs().empty() ? "no arguments" : "fewer arguments";
  throw CallRefused("TooManyInputs", "\"" + method.name() + "\" takes " + most + ", got " +
                                         std::to_string(argumentsOf(method, count)) + ".");
}

[[noreturn]] void refuseOutputCount(const MethodRecord& method, std::int64_t count) {
  throw CallRefused("InvalidOutputCount", "\"" + method.name() + "\" cannot be asked for " +
                                              std::to_string(count) + " outputs.");
}

[[noreturn]] void refuseInputValue(const MethodRecord& method, std::size_t position,
                                   const SignatureType& type, const std::string& given) {
  const std::size_t argument = argumentsOf(method, position + 1);
  throw CallRefused("InvalidInput", "Argument " + std::to_string(argument) + " of \"" +
                                        method.name() + "\" must be " + wantedBy(type) + ", got " +
                                        given + ".");
}

[[noreturn]] void refuseObject(const MethodRecord& method, const std::string& given) {
  throw CallRefused("WrongObject", "\"" + method.name() +
                                       "\" must be called on an object of class " +
                                       method.owner().fullName() + ", got " + given + ".");
}

}  // namespace

CallFrame::CallFrame(const MethodRecord& method, std::size_t inputCount, std::int64_t nargout)
    : method_(method), inputCount_(inputCount) {
  requireOwnProcess();
  const std::size_t declared = method.inputs().size();
  if (inputCount < declared) refuseTooFewInputs(method, inputCount);
  if (inputCount > (declared == 0 ? 0 : maxCells)) refuseTooManyInputs(method, inputCount);
  if (nargout < 0 || nargout > std::int64_t{maxCells}) refuseOutputCount(method, nargout);
  outputCount_ = static_cast<std::int32_t>(nargout);
  cellCount_ =
      std::max({static_cast<std::size_t>(nargout), method.outputs().size(), std::size_t{1}});
  allocateCells();
}

CallFrame::~CallFrame() {
  releaseOutputs();
  while (madeInputCount_ > 0) madeInputs_[--madeInputCount_].end();
  clearTrappedFailure();
}

void CallFrame::allocateCells() {
  inputs_ = inlineInputs_;
  outputs_ = inlineOutputs_;
  if (inputCount_ > inlineInputCount || cellCount_ > inlineOutputCount) {
    manyCells_ = std::make_unique<ArgumentCell[]>(inputCount_ + cellCount_);
    inputs_ = manyCells_.get();
    outputs_ = inputs_ + inputCount_;
  }
  std::fill_n(inputs_, inputCount_, ArgumentCell{.word = 0});
  std::fill_n(outputs_, cellCount_, ArgumentCell{.word = unwritten});
}

// ---- Inputs ----

void CallFrame::setInput(std::size_t position, const vrArray* array) {
  if (position == 0 && method_.isDispatchedOnObject()) return setDispatchObject(array);
  setTypedInput(position, array);
}

void CallFrame::setTypedInput(std::size_t position, const vrArray* array) {
  if (array == nullptr) refuseInput(position, describe(array));
  switch (inputType(position).type) {
    case CellType::Any:
      return setArray(position, array);
    case CellType::Object:
      return setObject(position, array);
    case CellType::String:
      return setString(position, array);
    default:
      return setNumber(position, array);
  }
}

// A body must not write an input, although the cells of inputs and outputs have the same type.
void CallFrame::setArray(std::size_t position, const vrArray* array) noexcept {
  inputs_[position].array = const_cast<vrArray*>(array);
}

void CallFrame::setDispatchObject(const vrArray* handle) {
  object_ = ObjectRecord::behind(handle);
  if (object_ == nullptr || &object_->cls() != &method_.owner()) {
    refuseObject(method_, describe(handle));
  }
  setArray(0, handle);
}

void CallFrame::setObject(std::size_t position, const vrArray* handle) {
  const ObjectRecord* object = ObjectRecord::behind(handle);
  if (object == nullptr || !(object->cls().nameID() == inputType(position).name)) {
    refuseInput(position, describe(handle));
  }
  setArray(position, handle);
}

void CallFrame::setString(std::size_t position, const vrArray* array) {
  if (!isText(array)) refuseInput(position, describe(array));
  setText(position, vrArrayToStdString(array));
}

void CallFrame::setNumber(std::size_t position, const vrArray* array) {
  const CellType type = inputType(position).type;
  if (!isRealScalar(array)) refuseInput(position, describe(array));
  const double value = vrGetScalar(array);
  if (type == CellType::DoubleScalar) return setDouble(position, value);
  if (type == CellType::LogicalScalar) {
    if (vrGetClassID(array) != vrLOGICAL_CLASS) refuseInput(position, describe(array));
    return setLogical(position, value != 0);
  }
  if (!isWholeInt32(value)) refuseInput(position, describe(array) + " of " + std::to_string(value));
  setInt32(position, static_cast<std::int32_t>(value));
}

void CallFrame::setInt32(std::size_t position, std::int32_t value) noexcept {
  inputs_[position].word = value;
}

void CallFrame::setDouble(std::size_t position, double value) noexcept {
  inputs_[position].doubleValue = value;
}

void CallFrame::setLogical(std::size_t position, bool value) noexcept {
  inputs_[position].word = value ? 1 : 0;
}

void CallFrame::setText(std::size_t position, std::string_view text) {
  if (text.find('\0') != std::string_view::npos)
    refuseInput(position, "a text that contains a NUL");
  if (texts_ == nullptr) texts_ = std::make_unique<std::string[]>(inputCount_);
  texts_[position] = text;
  setBorrowedText(position, texts_[position].c_str());
}

void CallFrame::setBorrowedText(std::size_t position, const char* text) noexcept {
  inputs_[position].text = text;
}

void* CallFrame::makeInput(std::size_t position, int classID, std::size_t rows,
                           std::size_t columns) {
  vrArray* array = nullptr;
  if (madeInputCount_ < inlineInputCount) {
    array = madeInputs_[madeInputCount_].make(classID, rows, columns);
    ++madeInputCount_;
  } else {
    const std::size_t dimensions[] = {rows, columns};
    array = makeUnfilled(classID, 2, dimensions);
  }
  if (position == 0 && method_.isDispatchedOnObject()) refuseObject(method_, describe(array));
  setArray(position, array);
  return vrGetData(array);
}

void CallFrame::refuseInput(std::size_t position, const std::string& given) const {
  refuseInputValue(method_, position, inputType(position), given);
}

// ---- The call ----

// Unwinding stops once in each function that has something to release. The functions below are
// inlined, so that all of it lies in the function that catches the failure.
[[gnu::always_inline]] inline void CallFrame::execute() {
  // Releases the outputs by unwinding: catching and rethrowing would double the cost of a failure.
  struct Outputs {
    CallFrame* unfinished;
    ~Outputs() {
      if (unfinished != nullptr) unfinished->releaseOutputs();
    }
  };
  const RunningFunction running(method_.functionHandle());
  Outputs outputs{this};
  method_.descriptor().execute(this, &outputCount_, outputs_,
                               static_cast<std::int32_t>(inputCount_), inputs_);
  outputs.unfinished = nullptr;
}

[[gnu::always_inline]] inline void CallFrame::runMethod() {
  if (method_.isConstructor()) return runConstructor();
  if (method_.isDispatchedOnObject() && object_ == nullptr) refuseObject(method_, "nothing");
  if (object_ == nullptr) return execute();
  const ObjectRecord::Running pinned(*object_);
  execute();
}

void CallFrame::run() { runMethod(); }

bool CallFrame::runOrReport(void (*report)(const HostException& failure)) {
  try {
    runMethod();
    return true;
  } catch (const HostException& failure) {
    report(failure);
    return false;
  }
}

void CallFrame::runConstructor() {
  const ntob::TOBInterfacePtr object = ObjectRecord::create(method_.owner());
  constructed_ = OwnedArray(newHandle(object));
  CallScope::detach(constructed_.get());
  outputs_[0].array = constructed_.get();
  const ObjectRecord::Running pinned(*ObjectRecord::behind(constructed_.get()));
  try {
    execute();
  } catch (...) {
    object->destroyInterface(this);
    constructed_.reset();
    throw;
  }
}

// ---- Outputs ----

bool CallFrame::isWritten(std::size_t cell) const noexcept {
  const SignatureType* type = outputType(cell);
  if (type == nullptr || type->type == CellType::String) return false;
  if (type->type == CellType::Object) return cell == 0 && constructed_;
  if (type->type == CellType::Any && outputs_[cell].array == nullptr) return false;
  return outputs_[cell].word != unwritten;
}

OwnedArray CallFrame::takeArray(std::size_t cell) noexcept {
  const SignatureType* type = outputType(cell);
  if (type == nullptr || outputs_[cell].word == unwritten) return {};
  if (type->type == CellType::Object) return cell == 0 ? std::move(constructed_) : OwnedArray();
  if (type->type != CellType::Any) return {};
  vrArray* array = std::exchange(outputs_[cell].array, nullptr);
  CallScope::detach(array);
  return OwnedArray(array);
}

void CallFrame::releaseOutputs() noexcept {
  for (std::size_t cell = 0; cell < cellCount_; ++cell) {
    if (outputs_[cell].array == nullptr || outputs_[cell].word == unwritten) continue;
    if (outputType(cell) != nullptr && outputType(cell)->type == CellType::Any) takeArray(cell);
  }
}

}  // namespace vormel
