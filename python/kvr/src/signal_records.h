// All signals of a run, as the store tells them: who they are, and their samples where these are
// plain vectors of numbers. Without an object of Python for each signal.
#pragma once

#include <pybind11/pybind11.h>

#include <cstddef>
#include <string>
#include <vector>

#include "python/kvr/src/store_record.h"

namespace kvr::python {

// Every operation needs the interpreter lock.
class SignalRecords {
 public:
  // `seriesType` is that of the values whose attributes Time and Data are arrays.
  explicit SignalRecords(pybind11::type seriesType) : seriesType_(std::move(seriesType)) {}

  // Adds a record as getSignal of the store returns it, with its samples if fewer than `mostBytes`
  // are held so far. Returns false, and adds nothing, unless factsIn() and seriesIn() take it.
  bool add(const pybind11::dict& record, std::ptrdiff_t mostBytes);

  // Adds the records that `read` returns of `numbers`, from the place after the last one up to
  // `end`. Stops at one that `add` does not take, and returns it; None at the end. Raises what
  // `read` raises; the records before stay.
  pybind11::object readTo(const pybind11::object& read, const pybind11::list& numbers,
                          std::size_t end, std::ptrdiff_t mostBytes);

  // Adds a signal that `add` did not take: its place has no names and no samples.
  void addNothing() { entries_.emplace_back(); }

  std::size_t size() const { return entries_.size(); }

  // A name or number of the signals from place `first` to before `end` under the name that the
  // package's Facts have; None for a signal without names. Fails with std::invalid_argument for
  // another field, with std::out_of_range for places that are not there.
  pybind11::list column(const std::string& field, std::size_t first, std::size_t end) const;

  // The fields of Facts in their order. Fails with std::out_of_range.
  pybind11::tuple facts(std::size_t place) const;

  // Whether the samples of a signal are held. Fails with std::out_of_range.
  bool holds(std::size_t place) const { return entries_.at(place).hasSeries; }

  // The bytes of all samples that are held.
  std::size_t bytes() const { return bytes_; }

  // Lets go of the samples of a signal, if they are held. Fails with std::out_of_range.
  void drop(std::size_t place);

  // Lets go of all samples.
  void dropSeries();

  // The samples of a signal. Fails with std::out_of_range.
  const HeldSeries& series(std::size_t place) const;

 private:
  struct Entry {
    Facts facts;
    HeldSeries held;
    bool hasSeries = false;
  };

  pybind11::type seriesType_;
  std::vector<Entry> entries_;
  std::size_t bytes_ = 0;
};

void defineSignalRecords(pybind11::module_& module);

}  // namespace kvr::python
