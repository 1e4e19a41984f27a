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

  // Adds a signal that `add` did not take: its place has no names and no samples.
  void addNothing() { entries_.emplace_back(); }

  std::size_t size() const { return entries_.size(); }

  // A name or number of all signals under the name that the package's Facts have; None for a signal
  // without names. Fails with std::invalid_argument for another field.
  pybind11::list column(const std::string& field) const;

  // The fields of Facts in their order. Fails with std::out_of_range.
  pybind11::tuple facts(std::size_t place) const;

  // How many samples are held of each signal; -1 for none that `series` returns.
  pybind11::list samples() const;

  // The bytes of all samples that are held.
  std::size_t bytes() const { return bytes_; }

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
