// Values on their way into and out of a call of the C++ face.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/objects/call_frame.h"

namespace vormel {

// What a call gave back, or a part of that. Owns its array, if it holds one; copies share data.
// Readers throw HostError("InvalidValue") for what they do not read.
class VORMEL_HOST_API Value {
 public:
  Value() noexcept = default;  // nothing: an output that the body did not write
  explicit Value(OwnedArray array) noexcept : content_(std::move(array)) {}
  explicit Value(std::int32_t number) noexcept : content_(number) {}
  explicit Value(double number) noexcept : content_(number) {}
  explicit Value(bool truth) noexcept : content_(truth) {}
  Value(const Value& other);
  Value(Value&&) noexcept = default;
  Value& operator=(Value other) noexcept;

  // What the cell of an output holds after the call.
  static Value ofOutput(CallFrame& call, std::size_t cell);

  bool isNothing() const noexcept { return std::holds_alternative<std::monostate>(content_); }

  // The array, borrowed; null for nothing, for a plain number and for a truth value.
  const vrArray* array() const noexcept;

  // Numbers: a plain number, or a real numeric or logical array with one element. toInt32 wants a
  // whole one within int32; toBool takes any but NaN and is true for what is not zero.
  double toDouble() const;
  std::int32_t toInt32() const;
  bool toBool() const;

  // A character array, as UTF-8.
  std::string toString() const;

  // A real numeric or logical array of any shape, column by column; a plain number as one.
  std::vector<double> toDoubles() const;
  // The same, each whole and within int32.
  std::vector<std::int32_t> toInt32s() const;

  // Number of elements; 1 for a plain number, 0 for nothing.
  std::size_t size() const noexcept;

  // The host class name, such as "double" or "struct"; "nothing" if there is nothing.
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

// An input of a call, made from a C++ value in the argument list. Borrows what it is made from.
//
//   bool, int32, double    scalars
//   text                   character row, of UTF-8 up to the first NUL; an empty text is 0-by-0
//   vectors                one row; an empty one is 1-by-0
//   host arrays            themselves; so do objects and values
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

  // Sets the input at `position`. Arrays that are made for it live as long as the call.
  void fill(CallFrame& call, std::size_t position) const;

 private:
  vrArray* makeArray() const;

  std::variant<bool, std::int32_t, double, std::string_view, const std::vector<double>*,
               const std::vector<std::int32_t>*, const vrArray*>
      content_;
};

}  // namespace vormel
