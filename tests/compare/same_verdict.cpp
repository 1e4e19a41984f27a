#include "tests/compare/same_verdict.h"

#include <cmath>
#include <cstdio>
#include <sstream>

namespace kvr::compare::test {
namespace {

std::string hex(double value) {
  if (std::isnan(value)) return "nan";
  char text[64];
  std::snprintf(text, sizeof text, "%a", value);
  return text;
}

std::string hex(const std::optional<double>& time) { return time ? hex(*time + 0.0) : "none"; }

std::string hex(const std::optional<ValueOut>& value) {
  if (!value) return "none";
  const auto part = [](const std::complex<double>& x) {
    return std::isnan(x.real()) || std::isnan(x.imag()) ? "nan"
                                                        : hex(x.real()) + " " + hex(x.imag());
  };
  return hex(value->time + 0.0) + ": " + part(value->baseline) + " | " + part(value->other) +
         ", d " + hex(value->difference) + ", tol " + hex(value->tolerance) + ", c " +
         std::to_string(value->component);
}

}  // namespace

std::string dump(const Verdict& v) {
  std::ostringstream text;
  text << "status " << nameOf(v.status) << "\nreason " << nameOf(v.reason) << "\ninstants "
       << v.instants << "\ninstantsOut " << v.instantsOut << "\njudged " << v.judged << "\nout "
       << v.out << "\nlost " << v.lost << "\ngained " << v.gained << "\ngaps " << v.gaps
       << "\noutside " << v.outside << "\nuncovered " << v.uncovered << "\nbeyond " << v.beyond
       << "\nfirstOut " << hex(v.firstOut) << "\nlastOut " << hex(v.lastOut) << "\nfirst "
       << hex(v.first) << "\nworst " << hex(v.worst) << "\nmaxDifference " << hex(v.maxDifference)
       << " at " << hex(v.maxDifferenceTime) << "\nmaxRelative " << hex(v.maxRelative) << " at "
       << hex(v.maxRelativeTime) << "\nrms " << hex(v.rms) << "\nintervals";
  for (const Interval& interval : v.intervals) {
    text << " [" << hex(interval.first + 0.0) << " " << hex(interval.last + 0.0) << " "
         << interval.count << "]";
  }
  text << "\nintervalsTotal " << v.intervalsTotal << "\ncomplex " << v.complexBaseline << " "
       << v.complexOther << "\n";
  return text.str();
}

std::string differenceOf(const Verdict& expected, const Verdict& found) {
  std::istringstream left(dump(expected));
  std::istringstream right(dump(found));
  std::string was;
  std::string is;
  while (std::getline(left, was) && std::getline(right, is)) {
    if (was != is) return "expected " + was + "\n   found " + is;
  }
  return {};
}

}  // namespace kvr::compare::test
