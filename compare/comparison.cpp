#include "compare/comparison.h"

#include <algorithm>

#include "compare/checks.h"
#include "compare/reason.h"
#include "compare/shape.h"

namespace kvr::compare {
namespace {

bool isComplex(const Series& series) { return series.values.imaginary != nullptr; }

}  // namespace

Comparison::Comparison(const Series& baseline, const Series& other, const Settings& settings,
                       const Options& options, Aligned* aligned, std::size_t mostScanned)
    : series_(baseline),
      otherSeries_(other),
      settings_(settings),
      options_(options),
      aligned_(aligned),
      components_(componentsOf(baseline.shape)),
      baseline_(baseline, options),
      other_(other, options),
      span_(commonSpan(baseline_, other_)),
      sides_{baseline_, other_, span_, options_, settings.sync.InterpMethod == 1},
      rule_(settings.tolerance),
      baselineValues_(baseline.values, components_),
      otherValues_(other.values, components_),
      secondLook_(baseline, baseline_, rule_, sides_.isLinear,
                  isComplex(baseline) || isComplex(other), options.timeTolerance, mostScanned),
      judge_(rule_, isComplex(baseline) || isComplex(other), secondLook_, summary_, aligned),
      collected_(components_) {
  if (aligned_ != nullptr) aligned_->components = components_;
}

Verdict Comparison::run() {
  requireSettings();
  if (span_.exists) visitInstants();
  baseline_.checkAll();
  other_.checkAll();
  if (rule_.isFunction() && collected_.instants() > 0) judgeCollected();
  if (judge_.hasBadTolerance()) throw Incomparable{Reason::kBadSettings, {}};
  Verdict verdict = summary_.verdict();
  conclude(verdict);
  return verdict;
}

// Bad times are reported before bad settings.
void Comparison::requireSettings() {
  const Reason reason = reasonBeforeJudging(series_, otherSeries_, settings_, span_);
  if (reason == Reason::kNone && settings_.sync.syncType == 0) return;
  baseline_.checkAll();
  other_.checkAll();
  if (reason != Reason::kNone) throw Incomparable{reason, {}};
}

std::unique_ptr<InstantSource> Comparison::source() {
  const Sync& sync = settings_.sync;
  if (sync.syncType == 1) {
    return givenInstants(sides_, customInstants(settings_.syncFunction, baseline_, other_));
  }
  if (sync.SyncMethod == 1) return intersectionOf(sides_);
  if (sync.SyncMethod == 2) return uniformGrid(sides_, sync.UniformTimeInterval);
  return unionOf(sides_);
}

// Calls `visit` with the first instant, the number of instants and the components of each chunk.
template <class Visit>
void Comparison::forEachChunk(std::size_t instants, Visit visit) const {
  const std::size_t perChunk =
      components_ == 0 ? kBlock : std::max<std::size_t>(1, kBlock / components_);
  for (std::size_t k = 0; k < instants; k += perChunk) {
    const std::size_t count = std::min(perChunk, instants - k);
    for (std::size_t c = 0; c < components_; c += kBlock) {
      visit(k, count, Components{c, std::min(kBlock, components_ - c)});
    }
    if (components_ == 0) visit(k, count, Components{0, 0});
  }
}

void Comparison::visitInstants() {
  const std::unique_ptr<InstantSource> instants = source();
  InstantBlock block;
  std::size_t before = 0;
  while (instants->next(block)) {
    summary_.addInstants(block.count);
    if (rule_.isFunction()) collected_.addTimes(block.times, block.count);
    if (aligned_ != nullptr) {
      for (std::size_t k = 0; k < block.count; ++k) {
        aligned_->instants.push_back(block.times[k] + 0.0);
      }
    }
    forEachChunk(block.count, [&](std::size_t first, std::size_t count, Components components) {
      const Chunk chunk{before + first,
                        count,
                        block.times + first,
                        components,
                        components_,
                        baselineValues_.read(block, block.baseline, first, count, components),
                        otherValues_.read(block, block.other, first, count, components)};
      if (rule_.isFunction()) {
        collected_.add(chunk);
      } else {
        judge_.judge(chunk, nullptr);
      }
    });
    before += block.count;
  }
}

void Comparison::judgeCollected() {
  const std::vector<double> given = collected_.callFor(settings_.toleranceFunction);
  forEachChunk(collected_.instants(),
               [&](std::size_t first, std::size_t count, Components components) {
                 pollStop(options_);
                 const Chunk chunk = collected_.chunk(first, count, components);
                 judge_.judge(chunk, given.data() + chunk.firstValue());
               });
}

// Counts the samples outside the common span and decides on the pair.
void Comparison::conclude(Verdict& verdict) const {
  verdict.complexBaseline = isComplex(series_);
  verdict.complexOther = isComplex(otherSeries_);
  verdict.uncovered = countUncovered(series_, baseline_, span_, rule_, options_);
  verdict.beyond = other_.count() - (span_.other.end - span_.other.begin);
  const bool failsCoverage = options_.coverage == Coverage::kBaseline && verdict.uncovered > 0;
  if (verdict.out > 0 || failsCoverage) {
    verdict.status = Status::kOut;
  } else if (baseline_.count() > 0 && verdict.judged + verdict.gaps + verdict.gained == 0) {
    verdict.status = Status::kIncomparable;
    verdict.reason = Reason::kNothingCompared;
  }
}

// ---- What users call ----

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
