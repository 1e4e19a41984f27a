#include "embedded_host/interpreter/value.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "embedded_host/arrays/class_table.h"
#include "embedded_host/messages/host_exception.h"
#include "embedded_host/objects/call_frame.h"

namespace vormel {
namespace {

template <class... Handlers>
struct Overloaded : Handlers... {
  using Handlers::operator()...;
};
template <class... Handlers>
Overloaded(Handlers...) -> Overloaded<Handlers...>;

[[noreturn]] void failReading(const Value& value, const std::string& wanted) {
  const std::string given = value.array() != nullptr ? describe(value.array()) : value.className();
  throw HostError("InvalidValue", "Cannot read " + given + " as " + wanted + ".");
}

template <class Element>
std::vector<double> widened(const vrArray* array) {
  const auto* elements = static_cast<const Element*>(vrGetData(array));
  return {elements, elements + vrGetNumberOfElements(array)};
}

std::vector<double> elementsOf(const vrArray* array) {
  return visitElementType(vrGetClassID(array),
                          [&]<class T>(std::type_identity<T>) { return widened<T>(array); });
}

template <class Element>
vrArray* makeRow(const std::vector<Element>& row, vrClassID cls) {
  const std::size_t dimensions[] = {1, row.size()};
  vrArray* array = vrCreateNumericArray_730(2, dimensions, cls, 0);
  std::copy(row.begin(), row.end(), static_cast<Element*>(vrGetData(array)));
  return array;
}

vrArray* makeScalar(std::int32_t value) {
  return makeRow(std::vector<std::int32_t>{value}, vrINT32_CLASS);
}

}  // namespace

// ---- Value ----

Value::Value(const Value& other) {
  const auto copy = Overloaded{[&](const OwnedArray& array) {
                                 content_ =
                                     array ? OwnedArray(detachedCopy(array.get())) : OwnedArray();
                               },
                               [&](const auto& plain) { content_ = plain; }};
  std::visit(copy, other.content_);
}

Value& Value::operator=(Value other) noexcept {
  content_ = std::move(other.content_);
  return *this;
}

Value Value::ofOutput(CallFrame& call, std::size_t cell) {
  if (!call.isWritten(cell)) return {};
  switch (call.outputType(cell)->type) {
    case CellType::Int32Scalar:
      return Value(call.int32At(cell));
    case CellType::DoubleScalar:
      return Value(call.doubleAt(cell));
    case CellType::LogicalScalar:
      return Value(call.logicalAt(cell));
    default:
      return Value(call.takeArray(cell));
  }
}

const vrArray* Value::array() const noexcept {
  const auto* array = std::get_if<OwnedArray>(&content_);
  return array != nullptr ? array->get() : nullptr;
}

double Value::toDouble() const {
  const vrArray* scalar = array();
  if (scalar != nullptr && isRealScalar(scalar)) return vrGetScalar(scalar);
  if (const auto* number = std::get_if<std::int32_t>(&content_)) return *number;
  if (const auto* number = std::get_if<double>(&content_)) return *number;
  if (const auto* truth = std::get_if<bool>(&content_)) return *truth ? 1 : 0;
  failReading(*this, "one real number");
}

std::int32_t Value::toInt32() const {
  const double number = toDouble();
  if (!isWholeInt32(number)) failReading(*this, "a whole number within int32");
  return static_cast<std::int32_t>(number);
}

bool Value::toBool() const {
  const double number = toDouble();
  if (std::isnan(number)) failReading(*this, "a truth value");
  return number != 0;
}

std::string Value::toString() const {
  const vrArray* text = array();
  if (text == nullptr || vrGetClassID(text) != vrCHAR_CLASS) failReading(*this, "a text");
  return vrArrayToStdString(text);
}

std::vector<double> Value::toDoubles() const {
  const vrArray* numbers = array();
  if (numbers == nullptr) return {toDouble()};
  if (!isReal(numbers)) failReading(*this, "real numbers");
  return elementsOf(numbers);
}

std::vector<std::int32_t> Value::toInt32s() const {
  const std::vector<double> numbers = toDoubles();
  if (!std::all_of(numbers.begin(), numbers.end(), isWholeInt32)) {
    failReading(*this, "whole numbers within int32");
  }
  return {numbers.begin(), numbers.end()};
}

std::size_t Value::size() const noexcept {
  if (array() != nullptr) return vrGetNumberOfElements(array());
  return isNothing() ? 0 : 1;
}

std::string Value::className() const {
  static constexpr const char* names[] = {"nothing", "nothing", "int32", "double", "logical"};
  return array() != nullptr ? vormel::className(array()) : names[content_.index()];
}

Value Value::field(const char* name, std::size_t index) const {
  const vrArray* field = array() != nullptr ? vrGetField_730(array(), index, name) : nullptr;
  if (field == nullptr) failReading(*this, std::string("something with the field ") + name);
  return Value(OwnedArray(detachedCopy(field)));
}

std::vector<std::string> Value::fieldNames() const {
  return array() != nullptr ? vormel::fieldNames(array()) : std::vector<std::string>();
}

Value Value::element(std::size_t index) const {
  if (array() == nullptr) failReading(*this, "a cell array");
  return Value(OwnedArray(detachedCopy(cellElement(array(), index))));
}

// ---- Argument ----

Argument::Argument(const Value& value) {
  const auto take = Overloaded{
      [&](std::monostate) { content_ = static_cast<const vrArray*>(nullptr); },
      [&](const OwnedArray& array) { content_ = static_cast<const vrArray*>(array.get()); },
      [&](const auto& plain) { content_ = plain; }};
  std::visit(take, value.content_);
}

void Argument::fill(CallFrame& call, std::size_t position) const {
  if (const auto* array = std::get_if<const vrArray*>(&content_)) {
    return call.setInput(position, *array);
  }
  const CellType type = call.inputType(position).type;
  if (const auto* text = std::get_if<std::string_view>(&content_);
      text != nullptr && type == CellType::String) {
    return call.setText(position, *text);
  }
  call.setInput(position, makeArray());
}

// On the list of the call that is being filled, which ends it.
vrArray* Argument::makeArray() const {
  const auto make =
      Overloaded{[](bool value) { return vrCreateLogicalScalar(value); },
                 [](std::int32_t value) { return makeScalar(value); },
                 [](double value) { return vrCreateDoubleScalar(value); },
                 [](std::string_view text) { return vrCreateString(std::string(text).c_str()); },
                 [](const std::vector<double>* row) { return makeRow(*row, vrDOUBLE_CLASS); },
                 [](const std::vector<std::int32_t>* row) { return makeRow(*row, vrINT32_CLASS); },
                 [](const vrArray*) -> vrArray* { return nullptr; }};
  return std::visit(make, content_);
}

}  // namespace vormel
