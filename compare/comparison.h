// The steps of a comparison in their order.
#pragma once

#include <memory>

#include "compare/functions.h"
#include "compare/instants.h"
#include "compare/judge.h"
#include "compare/values.h"

namespace kvr::compare {

// Windows of the time tolerance with more samples than this are not scanned for every value.
inline constexpr std::size_t kMostScanned = 32;

class Comparison {
 public:
  // Throws Incomparable kBadTime, or another reason that is found without judging. Pairs that
  // `requireReadable` refuses must not come here. `aligned` may be null.
  Comparison(const Series& baseline, const Series& other, const Settings& settings,
             const Options& options, Aligned* aligned, std::size_t mostScanned = kMostScanned);

  // To be called once. Throws Incomparable.
  Verdict run();

 private:
  void requireSettings();
  std::unique_ptr<InstantSource> source();
  void visitInstants();
  template <class Visit>
  void forEachChunk(std::size_t instants, Visit visit) const;
  void judgeCollected();
  void conclude(Verdict& verdict) const;

  const Series& series_;
  const Series& otherSeries_;
  const Settings& settings_;
  const Options& options_;
  Aligned* aligned_;
  std::size_t components_;
  Times baseline_, other_;
  CommonSpan span_;
  TwoSides sides_;
  ToleranceRule rule_;
  ValueReader baselineValues_, otherValues_;
  Summary summary_;
  SecondLook secondLook_;
  Judge judge_;
  CollectedValues collected_;
};

}  // namespace kvr::compare
