// One method call: cells filled by the signature, the body run, its outputs taken over.
//
//   CallFrame call(method, inputCount, nargout);    // refuses a wrong count
//   call.setInput(0, handle);                       // every input, each refused if it does not fit
//   call.setInput(1, array);
//   call.run();                                     // whatever the body throws passes
//   OwnedArray result = call.takeArray(0);
//
// A refusal is a CallRefused; the body has not run then and nothing has changed:
//
//   "TooDeep"             little of the thread's stack is left
//   "Busy"                another thread is inside the host
//   "NotEnoughInputs"     fewer inputs than the signature declares
//   "TooManyInputs"       more inputs where none are declared, or more than 65536
//   "InvalidOutputCount"  nargout below 0 or above 65536
//   "InvalidInput"        an input that its declared type does not take
//   "WrongObject"         a first input that is no object of the method's class
//
// The frame is the scope of the call: arrays made while it lives are released when it ends, unless
// they are kept or taken. Frames live on the stack, innermost last.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/arrays/host_entry.h"
#include "embedded_host/arrays/input_array.h"
#include "embedded_host/messages/host_exception.h"
#include "embedded_host/objects/object_record.h"
#include "embedded_host/objects/records.h"

namespace vormel {

class VORMEL_HOST_API CallFrame {
 public:
  // `inputCount` includes the handle. A constructor makes its object in run().
  CallFrame(const MethodRecord& method, std::size_t inputCount, std::int64_t nargout);
  ~CallFrame();
  CallFrame(const CallFrame&) = delete;
  CallFrame& operator=(const CallFrame&) = delete;

  // ---- Inputs: each must be set before run(). Positions count from 0, the handle's included. ----

  std::size_t inputCount() const noexcept { return inputCount_; }

  // What the position is to hold: its declared type, the last declared one for those beyond.
  const SignatureType& inputType(std::size_t position) const noexcept {
    const auto& declared = method_.inputs();
    return declared[std::min(position, declared.size() - 1)];
  }

  // Sets an input of any type from a host array:
  //   Any            the array as it is
  //   Int32Scalar    real numeric or logical scalar, whole and within int32
  //   DoubleScalar   real numeric or logical scalar
  //   LogicalScalar  logical scalar
  //   String         character row or empty character array, without NUL characters
  //   Object         handle of an object of that class, ended or not
  // The array is borrowed until the frame ends. Null is refused. The first input of a method that
  // is dispatched on an object takes an object of the method's class alone, whatever its type.
  void setInput(std::size_t position, const vrArray* array);

  // For callers that hold values of their own; each only at a position of its type.
  void setInt32(std::size_t position, std::int32_t value) noexcept;
  void setDouble(std::size_t position, double value) noexcept;
  void setLogical(std::size_t position, bool value) noexcept;
  // UTF-8. The frame keeps a copy. Refused if it holds a NUL.
  void setText(std::size_t position, std::string_view text);
  // NUL-terminated UTF-8 that lives as long as the frame.
  void setBorrowedText(std::size_t position, const char* text) noexcept;

  // For callers that make an array for this call alone, at a position of type Any: one of real
  // numbers, truths or characters (InputArray). Returns its elements, all of which the caller
  // writes. Throws on exhausted memory.
  void* makeInput(std::size_t position, int classID, std::size_t rows, std::size_t columns);

  // Refuses an input as setInput does; `given` says what came, such as "a double 2-by-3".
  [[noreturn]] void refuseInput(std::size_t position, const std::string& given) const;

  // ---- The call ----

  // Checks the object that the method is dispatched on, makes a constructor's object, and runs the
  // body. After a failure arrays that the body wrote are released and a constructor's object has
  // ended. To be called once.
  void run();

  // The same, but what a module raised goes to `report` instead of being thrown on: false then. The
  // shorter the way of a failure, the less it costs.
  bool runOrReport(void (*report)(const HostException& failure));

  // ---- Outputs, after run() ----

  // The output count as the body left it.
  std::int32_t outputCount() const noexcept { return outputCount_; }

  // max(nargout, declared outputs, 1): the cells that the body was offered.
  std::size_t cellCount() const noexcept { return cellCount_; }

  // The cell's declared type, the last declared one for those beyond. Null if nothing is declared:
  // such a cell is never read.
  const SignatureType* outputType(std::size_t cell) const noexcept {
    const auto& declared = method_.outputs();
    return declared.empty() ? nullptr : &declared[std::min(cell, declared.size() - 1)];
  }

  // False for a cell that the body did not write, and for one that cannot be read: of type String
  // or of no declared type. The object of a constructor counts as written in cell 0.
  bool isWritten(std::size_t cell) const noexcept;

  // The value of a written cell of that type.
  std::int32_t int32At(std::size_t cell) const noexcept { return outputs_[cell].int32Value; }
  bool logicalAt(std::size_t cell) const noexcept { return (outputs_[cell].word & 0xff) != 0; }
  double doubleAt(std::size_t cell) const noexcept { return outputs_[cell].doubleValue; }

  // The array of a written cell of type Any, or of a constructor's cell 0 its handle; it is then
  // the caller's, on no list. Empty for other cells and the second time. What is not taken is
  // released with the frame.
  OwnedArray takeArray(std::size_t cell) noexcept;

 private:
  static constexpr std::size_t kInlineInputs = 20;
  static constexpr std::size_t kInlineOutputs = 4;

  void placeCells();
  void setTypedInput(std::size_t position, const vrArray* array);
  void setDispatchObject(const vrArray* handle);
  void setArray(std::size_t position, const vrArray* array) noexcept;
  void setObject(std::size_t position, const vrArray* handle);
  void setString(std::size_t position, const vrArray* array);
  void setNumber(std::size_t position, const vrArray* array);
  void runMethod();
  void runConstructor();
  void execute();
  void releaseOutputs() noexcept;

  HostEntry entry_;
  CallScope scope_;
  const MethodRecord& method_;
  std::size_t inputCount_;
  std::size_t cellCount_ = 0;
  std::int32_t outputCount_ = 0;
  ntob::ArgumentCell* inputs_ = nullptr;
  ntob::ArgumentCell* outputs_ = nullptr;
  std::unique_ptr<ntob::ArgumentCell[]> manyCells_;  // when the inline cells are too few
  ObjectRecord* object_ = nullptr;                   // that the method is dispatched on
  OwnedArray constructed_;                           // handle of a constructor's object
  std::unique_ptr<std::string[]> texts_;             // by position, made when first needed
  std::size_t madeInputCount_ = 0;
  InputArray madeInputs_[kInlineInputs];
  ntob::ArgumentCell inlineInputs_[kInlineInputs];
  ntob::ArgumentCell inlineOutputs_[kInlineOutputs];
};

}  // namespace vormel
