#include "embedded_host/interpreter/object.h"

#include <utility>

#include "embedded_host/arrays/host_entry.h"
#include "embedded_host/messages/host_exception.h"
#include "embedded_host/objects/call_frame.h"
#include "embedded_host/objects/object_record.h"

namespace vormel {
namespace {

OwnedArray copyOf(const OwnedArray& array) {
  const HostEntry entry;
  return array ? OwnedArray(detachedCopy(array.get())) : OwnedArray();
}

ObjectRecord& requireRecord(const vrArray* handle) {
  if (ObjectRecord* record = ObjectRecord::behind(handle)) return *record;
  throw CallRefused("InvalidInput", "This is not a host object.");
}

// Sets the inputs from position `first` on.
void fillInputs(CallFrame& call, std::size_t first, Arguments inputs) {
  for (const Argument& input : inputs) input.fill(call, first++);
}

void run(CallFrame& call, const Object& object, Arguments inputs) {
  call.setInput(0, object.handle());
  fillInputs(call, 1, inputs);
  call.run();
}

}  // namespace

// ---- Object ----

Object::Object(OwnedArray handle) : handle_(std::move(handle)) { requireRecord(handle_.get()); }

Object::Object(const Object& other) : handle_(copyOf(other.handle_)) {}

Object& Object::operator=(Object other) noexcept {
  handle_ = std::move(other.handle_);
  return *this;
}

Object Object::make(ClassRecord& cls, Arguments inputs) {
  const MethodRecord* constructor = cls.constructor();
  if (constructor == nullptr) {
    throw CallRefused("NoConstructor", "The class " + cls.fullName() + " has no constructor.");
  }
  CallFrame call(*constructor, inputs.size(), 1);
  fillInputs(call, 0, inputs);
  call.run();
  return Object(call.takeArray(0));
}

ClassRecord& Object::cls() const { return requireRecord(handle()).cls(); }

bool Object::isEnded() const noexcept {
  const ObjectRecord* record = ObjectRecord::behind(handle());
  return record == nullptr || record->isInvalid();
}

Value Object::call(std::string_view method, Arguments inputs) const {
  const HostEntry entry;
  return Method::find(cls(), method)(*this, inputs);
}

CallResult Object::invoke(std::string_view method, int nargout, Arguments inputs) const {
  const HostEntry entry;
  return Method::find(cls(), method).invoke(*this, nargout, inputs);
}

// ---- Method ----

Method Method::find(ClassRecord& cls, std::string_view name) {
  const MethodRecord* method = cls.findMethod(name);
  if (method != nullptr && !method->isConstructor()) return Method(*method);
  throw CallRefused("NoSuchMethod", "The class " + cls.fullName() + " has no method \"" +
                                        std::string(name) + "\" to call on an object.");
}

Value Method::operator()(const Object& object, Arguments inputs) const {
  CallFrame call(*record_, 1 + inputs.size(), 1);
  run(call, object, inputs);
  return Value::ofOutput(call, 0);
}

CallResult Method::invoke(const Object& object, int nargout, Arguments inputs) const {
  CallFrame call(*record_, 1 + inputs.size(), nargout);
  run(call, object, inputs);
  CallResult result{call.outputCount(), {}};
  for (std::size_t cell = 0; cell < call.cellCount(); ++cell) {
    result.cells.push_back(Value::ofOutput(call, cell));
  }
  return result;
}

}  // namespace vormel
