// One method call: fills the input cells by the signature, runs the body, takes over the outputs.
//
//   CallFrame call(method, inputCount, nargout);    // refuses a wrong count
//   call.setInput(0, handle);                       // refuses an input of the wrong type
//   call.setInput(1, array);
//   call.run();                                     // exceptions of the body pass
//   OwnedArray result = call.takeArray(0);
//
// A refusal is a CallRefused. The body has not run then, and nothing has changed:
//
//   "TooDeep"             little of the thread's stack is left
//   "Busy"                another thread is inside the host
//   "NotEnoughInputs"     fewer inputs than the signature declares
//   "TooManyInputs"       more inputs where none are declared, or more than 65536
//   "InvalidOutputCount"  nargout below 0 or above 65536
//   "InvalidInput"        an input that cannot be converted to its declared type
//   "WrongObject"         a first input that is not an object of the method's class
//
// The frame is the scope of the call: its end releases the arrays that were made meanwhile and
// neither kept nor taken. Frames live on the stack and nest.
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

  // ---- Inputs: all must be set before run(). Positions count from 0, including the handle. ----

  std::size_t inputCount() const noexcept { return inputCount_; }

  // The declared type of the position; the last declared type for positions beyond it.
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
  //   Object         handle of an object of that class, also one that has ended
  // The array is borrowed until the frame ends. Null is refused. The first input of a method that
  // is dispatched on an object must be an object of the method's class, whatever its declared type.
  void setInput(std::size_t position, const vrArray* array);

  // For callers that have C++ values; each at a position of its type only.
  void setInt32(std::size_t position, std::int32_t value) noexcept;
  void setDouble(std::size_t position, double value) noexcept;
  void setLogical(std::size_t position, bool value) noexcept;
  // UTF-8, which the frame copies. Refused if it contains a NUL.
  void setText(std::size_t position, std::string_view text);
  // NUL-terminated UTF-8 that lives as long as the frame.
  void setBorrowedText(std::size_t position, const char* text) noexcept;

  // Makes an array for this call only, at a position of type Any: real numeric, logical or
  // character (InputArray). Returns its elements, all of which the caller writes. Throws on
  // exhausted memory.
  void* makeInput(std::size_t position, int classID, std::size_t rows, std::size_t columns);

  // Refuses an input as setInput does; `given` describes it, for instance "a double 2-by-3".
  [[noreturn]] void refuseInput(std::size_t position, const std::string& given) const;

  // ---- The call ----

  // Checks the object that the method is dispatched on, makes the object of a constructor, and runs
  // the body. After a failure the arrays that the body wrote are released and the object of a
  // constructor has ended. To be called once.
  void run();

  // The same, but passes a HostException to `report` and returns false. Catching it here instead of
  // in the caller makes the unwinding shorter and a failing call cheaper.
  bool runOrReport(void (*report)(const HostException& failure));

  // ---- Outputs, after run() ----

  // The output count as the body left it.
  std::int32_t outputCount() const noexcept { return outputCount_; }

  // max(nargout, declared outputs, 1): the number of cells that the body received.
  std::size_t cellCount() const noexcept { return cellCount_; }

  // The declared type of the cell; the last declared type for cells beyond it. Null if no output is
  // declared: such a cell is never read.
  const SignatureType* outputType(std::size_t cell) const noexcept {
    const auto& declared = method_.outputs();
    return declared.empty() ? nullptr : &declared[std::min(cell, declared.size() - 1)];
  }

  // False for a cell that the body did not write, and for one that cannot be read: of type String
  // or without a declared type. Cell 0 of a constructor counts as written.
  bool isWritten(std::size_t cell) const noexcept;

  // The value of a written cell of the type in the name.
  std::int32_t int32At(std::size_t cell) const noexcept { return outputs_[cell].int32Value; }
  bool logicalAt(std::size_t cell) const noexcept { return (outputs_[cell].word & 0xff) != 0; }
  double doubleAt(std::size_t cell) const noexcept { return outputs_[cell].doubleValue; }

  // Hands over the array of a written cell of type Any, or the handle in cell 0 of a constructor;
  // it is on no array list. Empty for other cells and the second time. The frame releases what is
  // not taken.
  OwnedArray takeArray(std::size_t cell) noexcept;

 private:
  static constexpr std::size_t inlineInputCount = 20;
  static constexpr std::size_t inlineOutputCount = 4;

  void allocateCells();
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
  std::unique_ptr<ntob::ArgumentCell[]> manyCells_;  // if the inline cells are too few
  ObjectRecord* object_ = nullptr;                   // the method is dispatched on this
  OwnedArray constructed_;                           // handle of the object of a constructor
  std::unique_ptr<std::string[]> texts_;             // by position; allocated when needed
  std::size_t madeInputCount_ = 0;
  InputArray madeInputs_[inlineInputCount];
  ntob::ArgumentCell inlineInputs_[inlineInputCount];
  ntob::ArgumentCell inlineOutputs_[inlineOutputCount];
};

}  // namespace vormel
