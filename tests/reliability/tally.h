// What a test program has counted, for people and for docs/reliability.md: one line each at the end
// of the program, such as "tally: faults in host memory: 8124".
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <utility>

namespace kvr::test {

class Tally : public ::testing::Environment {
 public:
  // The tally of the program. Lines come in the order of their names.
  static Tally& instance() {
    static auto* const tally = dynamic_cast<Tally*>(::testing::AddGlobalTestEnvironment(new Tally));
    return *tally;
  }

  void add(const std::string& what, std::uint64_t count = 1) { counts_[what] += count; }

  // A whole run must count at least so many.
  void expectAtLeast(const std::string& what, std::uint64_t least) { least_[what] = least; }

  void TearDown() override {
    for (const auto& [what, count] : counts_)
      std::printf("tally: %s: %llu\n", what.c_str(), static_cast<unsigned long long>(count));
    if (::testing::GTEST_FLAG(filter) != "*") return;
    for (const auto& [what, least] : least_) EXPECT_GE(counts_[what], least) << what;
  }

 private:
  std::map<std::string, std::uint64_t> counts_;
  std::map<std::string, std::uint64_t> least_;
};

}  // namespace kvr::test
