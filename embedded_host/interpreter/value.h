// Values on their way into and out of a call of the C++ face.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "embedded_host/arrays/arrays.h"

namespace vormel {

class CallFrame;  // embedded_host/objects/call_frame.h

// An output of a call, or a part of one. Owns its array, if it holds one; copies share data. A
// reader throws HostError("InvalidValue") if it cannot read the value.
class VORMEL_HOST_API Value {
 public:
  Value() noexcept = default;  // empty: an output that the body did not write
  explicit Value(OwnedArray array) noexcept : content_(std::move(array)) {}
  explicit Value(std::int32_t number) noexcept : content_(number) {}
  explicit Value(double number) noexcept : content_(number) {}
  explicit Value(bool truth) noexcept : content_(truth) {}
  Value(const Value& other);
  Value(Value&&) noexcept = default;
  Value& operator=(Value other) noexcept;

  // The value of an output cell after the call. Takes over the cell's array.
  static Value ofOutput(CallFrame& call, std::size_t cell);

  bool isNothing() const noexcept { return std::holds_alternative<std::monostate>(content_); }

  // The array, borrowed. Null if this is empty, a plain number or a truth value.
  const vrArray* array() const noexcept;

  // One number: a plain number, or a real numeric or logical array with one element. toInt32
  // requires a whole number within int32. toBool requires a number that is not NaN, and is true
  // unless it is zero.
  double toDouble() const;
  std::int32_t toInt32() const;
  bool toBool() const;

  // A character array, as UTF-8.
  std::string toString() const;

  // A real numeric or logical array of any shape, column by column; a plain number as one.
  std::vector<double> toDoubles() const;
  // The same, each whole and within int32.
  std::vector<std::int32_t> toInt32s() const;

  // Number of elements; 1 for a plain number, 0 if this is empty.
  std::size_t size() const noexcept;

  // The host class name, such as "double" or "struct"; "nothing" if this is empty.
  std::string className() const;

  // A field of a structure or a property of a value object, of element `index`, which counts from
  // 0.
  Value field(const char* name, std::size_t index = 0) const;
  std::vector<std::string> fieldNames() const;

  // An element of a cell array.
  Value element(std::size_t index) const;

 private:
  friend class Argument;

  std::variant<std::monostate, OwnedArray, std::int32_t, double, bool> content_;
};

// An input of a call, made from a C++ value in the argument list. Borrows that value.
//
//   bool, int32, double    becomes a scalar
//   text                   becomes a character row, from UTF-8 up to the first NUL; 0-by-0 if empty
//   vector                 becomes a row; 1-by-0 if empty
//   host array             is passed as it is; so is the array of an object or value
class VORMEL_HOST_API Argument {
 public:
  // Implicit, each of them, so that calls read like calls. NOLINTBEGIN(google-explicit-constructor)
  Argument(bool value) noexcept : content_(value) {}
  Argument(std::int32_t value) noexcept : content_(value) {}
  Argument(double value) noexcept : content_(value) {}
  Argument(const char* text) noexcept : content_(std::string_view(text)) {}
  Argument(std::string_view text) noexcept : content_(text) {}
  Argument(const std::string& text) noexcept : content_(std::string_view(text)) {}
  Argument(const std::vector<double>& row) noexcept : content_(&row) {}
  Argument(const std::vector<std::int32_t>& row) noexcept : content_(&row) {}
  Argument(const vrArray* array) noexcept : content_(array) {}
  Argument(const OwnedArray& array) noexcept : content_(static_cast<const vrArray*>(array.get())) {}
  Argument(const Value& value);
  // NOLINTEND(google-explicit-constructor)

  // Sets the input at `position`, which counts from 0. An array that is made for it is released
  // with the call.
  void fill(CallFrame& call, std::size_t position) const;

 private:
  vrArray* makeArray() const;

  std::variant<bool, std::int32_t, double, std::string_view, const std::vector<double>*,
               const std::vector<std::int32_t>*, const vrArray*>
      content_;
};

}  // namespace vormel
