// Random steps of a test, and what they come to.
#pragma once

#include <random>
#include <string>
#include <utility>

#include "embedded_host/messages/host_exception.h"

namespace kvr::test {

// Random numbers of one test, and the place in it, for its failure texts.
class RandomSteps {
 public:
  explicit RandomSteps(unsigned seed) : seed_(seed), random_(seed) {}

  void next() { ++step_; }
  int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }
  std::string where() const {
    return "seed " + std::to_string(seed_) + ", step " + std::to_string(step_);
  }

 private:
  unsigned seed_;
  int step_ = 0;
  std::mt19937 random_;
};

// The class of the failure that an action ends in, such as "EMPTY_MAP"; empty if it succeeds.
template <class Action>
std::string failureOf(Action&& action) {
  try {
    std::forward<Action>(action)();
  } catch (const vormel::HostException& failure) {
    const std::string& identifier = failure.identifier();
    return identifier.substr(identifier.rfind(':') + 1);
  }
  return "";
}

}  // namespace kvr::test
