// Judging the pairs of two runs in several threads while the caller goes on reading signals.
#pragma once

#include <pybind11/pybind11.h>

#include <atomic>
#include <cstddef>
#include <deque>
#include <list>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "compare/compare.h"
#include "python/kvr/src/crew.h"
#include "python/kvr/src/interruption.h"
#include "python/kvr/src/rules.h"
#include "python/kvr/src/sides.h"
#include "python/kvr/src/signal_records.h"

namespace kvr::python {

// Small pairs share a batch: handing one over costs more than judging it. The calling thread counts
// as one of the threads; it judges when enough batches wait, and at the end. Every operation needs
// the interpreter lock, and lets go of it while it judges or waits. Those that judge raise what
// Ctrl-C makes of it.
class PairJudging {
 public:
  // `baseline` and `other` hold the samples of pairs that are given as places, and let go of them
  // once they are judged; they may be null.
  PairJudging(SignalRecords* baseline, SignalRecords* other, std::size_t signals,
              std::size_t threads);
  PairJudging(const PairJudging&) = delete;
  PairJudging& operator=(const PairJudging&) = delete;
  ~PairJudging();

  // Takes a pair whose verdict is found under the place of the baseline signal. A side is a Side of
  // the package, or its place in the records. Fails with std::out_of_range, and as Side does.
  void add(std::size_t place, const pybind11::object& baseline, const pybind11::object& other,
           const std::shared_ptr<Rules>& rules);

  // As `add` for a list of tuples of two places in the records; returns those that it did not take
  // because the samples of a side are not held.
  pybind11::list addHeld(const pybind11::list& pairs, const std::shared_ptr<Rules>& rules);

  // Judges, or waits, until more verdicts are there; false if all are.
  bool wait();

  // How many verdicts are there.
  std::size_t done() const { return done_; }

  // Ends what is being judged, and lets go of all samples. The verdicts stay.
  void close();

  // The status of each baseline signal, None without a verdict.
  pybind11::list statuses() const;

  // The fields of a verdict, None if there is none. `isDated` has its text tell times as dates.
  pybind11::object fields(std::size_t place, bool isDated) const;

 private:
  struct Pair {
    std::size_t place;
    compare::Series baseline, other;
    std::shared_ptr<const Rules> rules;
  };

  // Pairs, and what they point to. The threads read `pairs` and write `verdicts` and `isDone`.
  struct Batch {
    std::vector<Pair> pairs;
    std::deque<Side> sides;
    std::vector<pybind11::object> arrays;
    std::vector<std::pair<SignalRecords*, std::size_t>> places;
    std::size_t samples = 0;
    std::vector<compare::Verdict> verdicts;
    std::atomic<bool> isDone = false;

    compare::Series held(SignalRecords* records, std::size_t place);
    compare::Series given(SignalRecords* records, const pybind11::object& side);
    void judge(const Crew::Poll& poll);
  };

  struct Found {
    compare::Verdict verdict;
    std::shared_ptr<const Rules> rules;
  };

  Batch& filling();
  void take(std::size_t place, const compare::Series& baseline, const compare::Series& other,
            const std::shared_ptr<Rules>& rules);
  void submit();
  void collect();
  template <class Call>
  void withoutLock(const Call& call);

  SignalRecords* baseline_;
  SignalRecords* other_;
  std::vector<std::optional<Found>> found_;
  std::size_t done_ = 0;
  std::size_t most_;  // batches that are judged or wait
  Stop stop_;
  std::unique_ptr<Batch> batch_;  // that is being filled
  std::list<std::unique_ptr<Batch>> submitted_;
  std::unique_ptr<Crew> crew_;  // ends before what it works on
};

void definePairJudging(pybind11::module_& module);

}  // namespace kvr::python
