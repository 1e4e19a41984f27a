#include "python/kvr/src/pair_judging.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "python/kvr/src/verdicts.h"

namespace kvr::python {
namespace {

namespace py = pybind11;

constexpr std::size_t kMostPairs = 64;         // of a batch
constexpr std::size_t kMostSamples = 100'000;  // likewise; judging these takes half a millisecond
constexpr std::size_t kAhead = 4;              // batches for each thread
constexpr std::chrono::milliseconds kPatience(20);

}  // namespace

// ---- A batch ----

compare::Series PairJudging::Batch::held(SignalRecords* records, std::size_t place) {
  if (records == nullptr) throw py::type_error("a place, and no records that it is in");
  const HeldSeries& held = records->series(place);
  // The records may let go of them meanwhile.
  arrays.push_back(held.times);
  arrays.push_back(held.values);
  places.emplace_back(records, place);
  return held.series;
}

compare::Series PairJudging::Batch::given(SignalRecords* records, const py::object& side) {
  if (PyLong_CheckExact(side.ptr())) return held(records, side.cast<std::size_t>());
  const auto tuple = side.cast<py::tuple>();
  arrays.push_back(tuple);
  return sides.emplace_back(tuple).series();
}

void PairJudging::Batch::judge(const Crew::Poll& poll) {
  verdicts.reserve(pairs.size());
  for (const Pair& pair : pairs)
    verdicts.push_back(pair.rules->judge(pair.baseline, pair.other, poll));
  isDone.store(true, std::memory_order_release);
}

// ---- Taking pairs ----

PairJudging::PairJudging(SignalRecords* baseline, SignalRecords* other, std::size_t signals,
                         std::size_t threads)
    : baseline_(baseline),
      other_(other),
      found_(signals),
      // Alone, the calling thread judges what it has just read, which the caches still hold.
      most_(threads == 1 ? 1 : threads * kAhead) {
  if (threads == 0) throw std::invalid_argument("one thread at least judges");
  crew_ = std::make_unique<Crew>(threads - 1);
}

PairJudging::~PairJudging() { close(); }

PairJudging::Batch& PairJudging::filling() {
  if (!crew_) throw std::invalid_argument("the judging has ended");
  if (!batch_) batch_ = std::make_unique<Batch>();
  return *batch_;
}

void PairJudging::take(std::size_t place, const compare::Series& baseline,
                       const compare::Series& other, const std::shared_ptr<Rules>& rules) {
  if (place >= found_.size()) throw std::out_of_range("there is no such baseline signal");
  batch_->pairs.push_back({place, baseline, other, rules});
  batch_->samples += baseline.samples + other.samples;
  if (batch_->pairs.size() >= kMostPairs || batch_->samples >= kMostSamples) submit();
}

void PairJudging::add(std::size_t place, const py::object& baseline, const py::object& other,
                      const std::shared_ptr<Rules>& rules) {
  Batch& batch = filling();
  const compare::Series was = batch.given(baseline_, baseline);
  take(place, was, batch.given(other_, other), rules);
}

py::list PairJudging::addHeld(const py::list& pairs, const std::shared_ptr<Rules>& rules) {
  py::list others;
  for (const py::handle given : pairs) {
    const auto pair = py::reinterpret_borrow<py::tuple>(given);
    const auto here = pair[0].cast<std::size_t>(), there = pair[1].cast<std::size_t>();
    if (!baseline_ || !other_ || !baseline_->holds(here) || !other_->holds(there)) {
      others.append(pair);
      continue;
    }
    Batch& batch = filling();
    const compare::Series was = batch.held(baseline_, here);
    take(here, was, batch.held(other_, there), rules);
  }
  return others;
}

// ---- Judging ----

// Calls `call` with a Poll for the calling thread; turns Stopped into what stopped it.
template <class Call>
void PairJudging::withoutLock(const Call& call) {
  Interruption interruption(stop_);
  const Crew::Poll poll = [&interruption] { return interruption.check(); };
  try {
    const py::gil_scoped_release others;
    call(poll);
  } catch (const compare::Stopped&) {
    interruption.raise();
    throw;
  }
}

void PairJudging::submit() {
  Batch* const batch = submitted_.emplace_back(std::move(batch_)).get();
  crew_->give([batch](const Crew::Poll& poll) { batch->judge(poll); });
  if (crew_->unfinished() >= most_) {
    withoutLock([&](const Crew::Poll& poll) {
      if (crew_->helpOne(poll)) return;
      while (!crew_->waitForFewer(most_, kPatience))
        if (poll()) throw compare::Stopped();
    });
  }
  collect();
}

bool PairJudging::wait() {
  if (batch_ && crew_) submit();
  collect();
  if (submitted_.empty()) return false;
  withoutLock([&](const Crew::Poll& poll) {
    if (crew_->helpOne(poll)) return;
    const std::size_t unfinished = std::max<std::size_t>(crew_->unfinished(), 1);
    while (!crew_->waitForFewer(unfinished, kPatience))
      if (poll()) throw compare::Stopped();
  });
  collect();
  return true;
}

// Takes over the verdicts of the batches that were judged, and lets go of their samples.
void PairJudging::collect() {
  for (auto at = submitted_.begin(); at != submitted_.end();) {
    if (!(*at)->isDone.load(std::memory_order_acquire)) {
      ++at;
      continue;
    }
    const std::unique_ptr<Batch> batch = std::move(*at);
    at = submitted_.erase(at);
    for (std::size_t i = 0; i < batch->pairs.size(); ++i)
      found_[batch->pairs[i].place] =
          Found{std::move(batch->verdicts[i]), std::move(batch->pairs[i].rules)};
    done_ += batch->pairs.size();
    for (const auto& [records, place] : batch->places) records->drop(place);
  }
}

void PairJudging::close() {
  crew_.reset();
  // What lets go of an array may come back to this object.
  const auto submitted = std::exchange(submitted_, {});
  const auto batch = std::exchange(batch_, nullptr);
}

// ---- Verdicts ----

py::list PairJudging::statuses() const {
  py::list statuses(found_.size());
  std::array<py::object, 8> names;
  for (std::size_t place = 0; place < found_.size(); ++place) {
    if (!found_[place]) {
      statuses[place] = py::none();
      continue;
    }
    const compare::Status status = found_[place]->verdict.status;
    py::object& name = names.at(static_cast<std::size_t>(status));
    if (!name) name = py::str(compare::nameOf(status));
    statuses[place] = name;
  }
  return statuses;
}

py::object PairJudging::fields(std::size_t place, bool isDated) const {
  const std::optional<Found>& found = found_.at(place);
  if (!found) return py::none();
  return dictOf(found->verdict, found->rules->describe(found->verdict, isDated));
}

void definePairJudging(py::module_& module) {
  py::class_<PairJudging>(module, "PairJudging")
      .def(py::init<SignalRecords*, SignalRecords*, std::size_t, std::size_t>(),
           py::arg("baseline").none(true), py::arg("other").none(true), py::arg("signals"),
           py::arg("threads"), py::keep_alive<1, 2>(), py::keep_alive<1, 3>())
      .def("add", &PairJudging::add, py::arg("place"), py::arg("baseline"), py::arg("other"),
           py::arg("rules"))
      .def("add_held", &PairJudging::addHeld, py::arg("pairs"), py::arg("rules"))
      .def("wait", &PairJudging::wait)
      .def("close", &PairJudging::close)
      .def("statuses", &PairJudging::statuses)
      .def("fields", &PairJudging::fields, py::arg("place"), py::arg("dated"))
      .def_property_readonly("done", &PairJudging::done);
}

}  // namespace kvr::python
