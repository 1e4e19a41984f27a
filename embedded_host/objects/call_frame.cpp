#include "embedded_host/objects/call_frame.h"

#include <algorithm>
#include <utility>

#include "embedded_host/functions/forks.h"
#include "embedded_host/messages/dispatcher.h"
#include "embedded_host/objects/numbers.h"
#include "embedded_host/objects/refusals.h"

namespace vormel {
namespace {

using ntob::ArgumentCell;

constexpr std::size_t kMostCells = 65536;

// Stands in an output cell until a body writes it: no int32 widened by sign, no truth byte, no
// pointer, and no double that arithmetic gives.
constexpr std::int64_t kUnwritten = 0x7ff4'dead'0bad'ce11;

bool isText(const vrArray* array) {
  if (vrGetClassID(array) != vrCHAR_CLASS) return false;
  if (vrIsEmpty(array)) return true;
  return vrGetNumberOfDimensions_730(array) == 2 && vrGetM(array) == 1;
}

}  // namespace

CallFrame::CallFrame(const MethodRecord& method, std::size_t inputCount, std::int64_t nargout)
    : method_(method), inputCount_(inputCount) {
  requireOwnProcess();
  const std::size_t declared = method.inputs().size();
  if (inputCount < declared) refuseTooFewInputs(method, inputCount);
  if (inputCount > (declared == 0 ? 0 : kMostCells)) refuseTooManyInputs(method, inputCount);
  if (nargout < 0 || nargout > std::int64_t{kMostCells}) refuseOutputCount(method, nargout);
  outputCount_ = static_cast<std::int32_t>(nargout);
  cellCount_ =
      std::max({static_cast<std::size_t>(nargout), method.outputs().size(), std::size_t{1}});
  placeCells();
}

CallFrame::~CallFrame() {
  releaseOutputs();
  while (madeInputCount_ > 0) madeInputs_[--madeInputCount_].end();
  clearTrappedFailure();
}

void CallFrame::placeCells() {
  inputs_ = inlineInputs_;
  outputs_ = inlineOutputs_;
  if (inputCount_ > kInlineInputs || cellCount_ > kInlineOutputs) {
    manyCells_ = std::make_unique<ArgumentCell[]>(inputCount_ + cellCount_);
    inputs_ = manyCells_.get();
    outputs_ = inputs_ + inputCount_;
  }
  std::fill_n(inputs_, inputCount_, ArgumentCell{.word = 0});
  std::fill_n(outputs_, cellCount_, ArgumentCell{.word = kUnwritten});
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

// A body may not write an input, though its cell has the type of an output.
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
  if (text.find('\0') != std::string_view::npos) refuseInput(position, "a text with a NUL in it");
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
  if (madeInputCount_ < kInlineInputs) {
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

// Unwinding stops once in each function that has something to release on the way of a failure. All
// that a method's call has to release lies in one function, the one where the failure is caught.
[[gnu::always_inline]] inline void CallFrame::execute() {
  // Released by unwinding: to catch a failure and throw it again would cost as much as the failure.
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
  return outputs_[cell].word != kUnwritten;
}

OwnedArray CallFrame::takeArray(std::size_t cell) noexcept {
  const SignatureType* type = outputType(cell);
  if (type == nullptr || outputs_[cell].word == kUnwritten) return {};
  if (type->type == CellType::Object) return cell == 0 ? std::move(constructed_) : OwnedArray();
  if (type->type != CellType::Any) return {};
  vrArray* array = std::exchange(outputs_[cell].array, nullptr);
  CallScope::detach(array);
  return OwnedArray(array);
}

void CallFrame::releaseOutputs() noexcept {
  for (std::size_t cell = 0; cell < cellCount_; ++cell) {
    if (outputs_[cell].array == nullptr || outputs_[cell].word == kUnwritten) continue;
    if (outputType(cell) != nullptr && outputType(cell)->type == CellType::Any) takeArray(cell);
  }
}

}  // namespace vormel
