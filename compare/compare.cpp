#include "compare/compare.h"

#include "compare/checks.h"
#include "compare/comparison.h"
#include "compare/reason.h"

namespace kvr::compare {
namespace {

Verdict judged(const Series& baseline, const Series& other, const Settings& settings,
               const Options& options, Aligned* aligned) {
  requireOptions(options);
  try {
    requireReadable(baseline, other);
    return Comparison(baseline, other, settings, options, aligned).run();
  } catch (const Incomparable& found) {
    Verdict verdict;
    verdict.status = Status::kIncomparable;
    verdict.reason = found.reason;
    verdict.failure = found.text;
    return verdict;
  }
}

}  // namespace

Stopped::~Stopped() = default;
const char* Stopped::what() const noexcept { return "the comparison was stopped"; }

Verdict compare(const Series& baseline, const Series& other, const Settings& settings,
                const Options& options) {
  return judged(baseline, other, settings, options, nullptr);
}

Verdict align(const Series& baseline, const Series& other, const Settings& settings,
              const Options& options, Aligned& aligned) {
  aligned = {};
  Verdict verdict = judged(baseline, other, settings, options, &aligned);
  if (verdict.status == Status::kIncomparable) aligned = {};
  return verdict;
}

}  // namespace kvr::compare
