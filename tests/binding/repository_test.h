// The fixture of tests of the repository's methods: calls through the host, as host code makes
// them, and calls of a descriptor by hand, where the host would refuse.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/interpreter/interpreter.h"
#include "embedded_host/objects/call_frame.h"
#include "kvrntob/binding/packages.h"
#include "tests/support/store_test.h"

namespace kvr::test {

using ntob::ArgumentCell;
using vormel::CallResult;
using vormel::ClassRecord;
using vormel::MethodRecord;
using vormel::Object;
using vormel::Value;

// The registered class, its root package registered on first use as the module's entry does it.
inline ClassRecord& repositoryClass() {
  static ClassRecord& registered = [&]() -> ClassRecord& {
    ntob::TOBPackage::addPackage(new DRAVIKNTOBPackageInfo);
    return vormel::Interpreter::instance().findClass("Dravik.kvr.SignalRepository");
  }();
  return registered;
}

inline const MethodRecord& repositoryMethod(std::string_view name) {
  return *repositoryClass().findMethod(name);
}

// ---- Calls by hand: cells as the host would fill them, in any number ----

inline ArgumentCell cellOf(const vrArray* array) {
  return {.array = const_cast<vrArray*>(array)};  // bodies do not write their inputs
}
inline ArgumentCell cellOf(const OwnedArray& array) { return cellOf(array.get()); }
inline ArgumentCell cellOf(std::int32_t number) { return {.word = number}; }
inline ArgumentCell cellOf(double number) { return {.doubleValue = number}; }
inline ArgumentCell cellOf(const char* text) { return {.text = text}; }

using Cells = std::vector<ArgumentCell>;

struct HandMadeCall {
  std::int32_t outputCount = 1;
  ArgumentCell outputs[4] = {};
};

// Executes the descriptor with the first `inputCount` of the inputs. No host function is running.
// Arrays that the body writes end with the call.
inline HandMadeCall executeByHand(std::string_view method, Cells inputs, std::size_t inputCount,
                                  std::int32_t outputCount = 1) {
  const vormel::CallScope scope;
  HandMadeCall call{.outputCount = outputCount};
  repositoryMethod(method).descriptor().execute(nullptr, &call.outputCount, call.outputs,
                                                static_cast<std::int32_t>(inputCount),
                                                inputs.data());
  return call;
}
inline HandMadeCall executeByHand(std::string_view method, const Cells& inputs) {
  return executeByHand(method, inputs, inputs.size());
}

// ---- The fixture ----

// Each test begins with an empty store, a repository object, and ids that start at 1.
class RepositoryTest : public StoreTest {
 protected:
  using Inputs = std::initializer_list<vormel::Argument>;

  static Object construct() {
    repositoryClass();
    return vormel::Interpreter::instance().construct("Dravik.kvr.SignalRepository");
  }

  Value call(std::string_view method, Inputs inputs = {}) const {
    return repository.call(method, inputs);
  }
  CallResult invoke(std::string_view method, int nargout, Inputs inputs = {}) const {
    return repository.invoke(method, nargout, inputs);
  }

  // The same with any number of arrays, which the host converts where a type is declared.
  Value callWithArrays(std::string_view method, const std::vector<const vrArray*>& arrays) const {
    vormel::CallFrame frame(repositoryMethod(method), 1 + arrays.size(), 1);
    frame.setInput(0, repository.handle());
    for (std::size_t i = 0; i < arrays.size(); ++i) frame.setInput(1 + i, arrays[i]);
    frame.run();
    return Value::ofOutput(frame, 0);
  }

  ArgumentCell handle() const { return cellOf(repository.handle()); }

  // Calls clean and returns the store that it dropped, which is freed with the test.
  SignalRepository& clean(const Object& object) {
    cleaned_.emplace_back(&store());
    object.call("clean");
    return *cleaned_.back();
  }

 private:
  std::vector<std::unique_ptr<SignalRepository>> cleaned_;

 protected:
  Object repository = construct();
};

// ---- What came out ----

inline std::vector<std::size_t> shapeOf(const vrArray* array) {
  const std::size_t* dimensions = vrGetDimensions_730(array);
  return {dimensions, dimensions + vrGetNumberOfDimensions_730(array)};
}

// Expects an array of the class and shape.
inline void expectArray(const Value& value, int classID, const std::vector<std::size_t>& shape) {
  ASSERT_NE(value.array(), nullptr);
  EXPECT_EQ(vrGetClassID(value.array()), classID);
  EXPECT_EQ(shapeOf(value.array()), shape);
}

}  // namespace kvr::test
