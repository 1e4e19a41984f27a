// The extension _kvr: the comparison, the recording files, the numbers of CSV files and the
// thinning of curves for the package kvr.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "compare/compare.h"
#include "python/kvr/src/csv_numbers.h"
#include "python/kvr/src/interruption.h"
#include "python/kvr/src/judging.h"
#include "python/kvr/src/pair_judging.h"
#include "python/kvr/src/recording_classes.h"
#include "python/kvr/src/rules.h"
#include "python/kvr/src/signal_records.h"
#include "python/kvr/src/thinned.h"

namespace kvr::python {
namespace {

namespace py = pybind11;

// The sentence for a signal without a partner.
std::string describeAlone(bool missing) {
  compare::Verdict verdict;
  verdict.status = missing ? compare::Status::kMissing : compare::Status::kExtra;
  return compare::describe(verdict, {}, compare::Source::kOwn);
}

// The columns of the text of a CSV file, as readNumbers tells: an array (n,) of int64 or double
// each, None for one of other things; None altogether if the rows are not `count` cells wide.
py::object readNumbersOf(const py::str& text, std::size_t count, char delimiter, char decimal) {
  Py_ssize_t size = 0;
  const char* const bytes = PyUnicode_AsUTF8AndSize(text.ptr(), &size);
  if (bytes == nullptr) throw py::error_already_set();
  const std::string_view body(bytes, static_cast<std::size_t>(size));
  if (count == 0) throw std::invalid_argument("a table has at least one column");
  // Every row takes a byte a cell at least, so that a few short rows cannot claim much memory.
  const auto lines = static_cast<std::size_t>(std::count(body.begin(), body.end(), '\n')) + 1;
  const std::size_t most = std::min(lines, (body.size() + 1) / count + 1);
  std::vector<py::array_t<std::int64_t>> arrays;
  std::vector<NumberColumn> columns(count);
  arrays.reserve(count);
  for (NumberColumn& column : columns) {
    arrays.emplace_back(static_cast<py::ssize_t>(most));
    column.cells = arrays.back().mutable_data();
  }
  std::optional<std::size_t> rows;
  const Stop stop;
  Interruption interruption(stop);
  {
    const py::gil_scoped_release release;
    rows = readNumbers(body, delimiter, decimal, columns, [&] { return interruption.check(); });
  }
  interruption.raise();
  if (!rows) return py::none();
  py::list result;
  for (std::size_t place = 0; place < count; ++place) {
    const NumberColumn::Kind kind = columns[place].kind;
    py::object cells = arrays[place][py::slice(0, static_cast<py::ssize_t>(*rows), 1)];
    if (kind == NumberColumn::Kind::kReals) cells = cells.attr("view")("float64");
    result.append(kind == NumberColumn::Kind::kOther ? py::none() : cells);
  }
  return result;
}

}  // namespace
}  // namespace kvr::python

PYBIND11_MODULE(_kvr, module) {
  namespace py = pybind11;
  using namespace kvr::python;

  module.attr("__version__") = KVR_VERSION;
  defineSignalRecords(module);
  defineRules(module);
  defineJudging(module);
  definePairJudging(module);
  module.def("date_text", &kvr::compare::dateText, py::arg("seconds"));
  module.def("describe_alone", &describeAlone, py::arg("missing"));
  defineRecordingClasses(module);
  defineThinned(module);
  module.def("read_numbers", &readNumbersOf, py::arg("text"), py::arg("columns"),
             py::arg("delimiter"), py::arg("decimal"));
}
