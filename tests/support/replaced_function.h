// A host function replaced for the length of a test.
#pragma once

#include <string>
#include <utility>

#include "embedded_host/functions/host_functions.h"

namespace kvr::test {

class ReplacedFunction {
 public:
  ReplacedFunction(std::string name, vormel::HostFunction function) : name_(std::move(name)) {
    vormel::HostFunctions::instance().set(name_, std::move(function));
  }
  ~ReplacedFunction() { vormel::HostFunctions::instance().reset(name_); }
  ReplacedFunction(const ReplacedFunction&) = delete;
  ReplacedFunction& operator=(const ReplacedFunction&) = delete;

 private:
  std::string name_;
};

}  // namespace kvr::test
