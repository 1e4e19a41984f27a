// A fixture for tests over the sample classes: registers them once, accounts for arrays and
// natives.
#pragma once

#include <string_view>
#include <vector>

#include "embedded_host/interpreter/interpreter.h"
#include "tests/embedded_host/sample_classes.h"
#include "tests/support/array_builders.h"
#include "tests/support/failure_matchers.h"
#include "tests/support/live_arrays.h"

namespace kvr::test {

class SampleTest : public LiveArraysTest {
 protected:
  static void SetUpTestSuite() {
    static const bool registered = (sample::registerPackages(), true);
    EXPECT_TRUE(registered);
  }

  // Every native instance that a test makes is destroyed once by its end.
  ~SampleTest() override {
    EXPECT_EQ(sample::log().created - created_, sample::log().destroyed - destroyed_);
  }

  static vormel::Interpreter& host() { return vormel::Interpreter::instance(); }
  static vormel::Object aBox() { return host().construct(sample::kBox, {0}); }
  static const vormel::MethodRecord& boxMethod(std::string_view name) {
    return host().method(sample::kBox, name).record();
  }

 private:
  int created_ = sample::log().created;
  int destroyed_ = sample::log().destroyed;
};

}  // namespace kvr::test
