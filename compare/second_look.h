// The time tolerance: values out of tolerance are looked at again. Such a value is forgiven if the
// baseline comes near enough to it within the time tolerance of its instant.
//
//        r0      r1 | l2      r3         the baseline's samples in the window are the candidates,
//        and
//     [--o--------o | o-------o--]       its values at the window's ends. Interpolated values cut
//   t - w       event          t + w     them into pieces at events; held ones make each a piece.
//
// A piece reaches from the least to the greatest value that is within tolerance of a candidate. The
// value is forgiven if a piece reaches it.
#pragma once

#include <cstddef>
#include <unordered_map>
#include <vector>

#include "compare/numbers.h"
#include "compare/reaches.h"
#include "compare/times.h"
#include "compare/tolerance_rule.h"

namespace kvr::compare {

// The candidates of one component in a window that moves on. Its front may be cut out of a piece,
// its back too; pieces that lie in it whole are kept as reaches.
struct MovingWindow {
  std::size_t begin = 0;  // samples from `begin` to `end` were taken in
  std::size_t middle = 0;
  std::size_t end = 0;
  std::vector<Reach> toPieceEnd;  // of sample begin + i up to the end of its piece, or to `middle`
  std::size_t openFrom = 0;       // samples from here to `middle` are of a piece that goes on there
  Reach head;                     // from `middle` to the end of that piece
  bool headIsOpen = false;
  Reach tail;  // the newest piece
  std::size_t tailBegin = 0;
  Reaches whole;
  // 1 + the newest candidate that is infinite; 0 if there is none.
  std::size_t newestPositive = 0, newestNegative = 0;
};

class SecondLook {
 public:
  // Windows of at most `mostScanned` samples are scanned, larger ones kept as `MovingWindow`.
  SecondLook(const Series& baseline, const Times& times, const ToleranceRule& rule, bool isLinear,
             bool isComplex, double timeTolerance, std::size_t mostScanned);

  // Whether a value that is not within tolerance is forgiven. Times never fall from call to call.
  // `given` is the tolerance of the value, used if a function gives it.
  bool forgives(double t, double value, std::size_t component, double given);

 private:
  // The window of the instant at hand.
  struct Window {
    double t, start, end;
    std::size_t first, past;          // the samples in it: `past` is one beyond the last
    std::size_t next;                 // the first sample after t
    bool startsBetween, endsBetween;  // the ends are no times of samples
  };
  // A value and what is allowed beside the tolerance that reaches hold already.
  struct Sought {
    double value, given;
  };

  void moveTo(double t);
  double valueOf(std::size_t sample, std::size_t component) const;
  double valueBetween(double s, std::size_t after, std::size_t component) const;
  double valueAtStart(std::size_t component) const;
  double valueAtEnd(std::size_t component) const;
  bool isCandidate(std::size_t sample) const;
  bool endsPiece(std::size_t sample) const;
  Reach reachOf(double s, double value) const;
  static bool holds(const Reach& reach, const Sought& sought);

  bool scan(std::size_t component, const Sought& sought) const;
  bool meetsNear(std::size_t component, const Sought& sought);
  bool scanInfinite(std::size_t component, double value) const;
  bool search(MovingWindow& window, std::size_t component, const Sought& sought) const;
  bool meetsWhole(MovingWindow& window, const Sought& sought) const;
  void advance(MovingWindow& window, std::size_t component) const;
  void take(MovingWindow& window, std::size_t sample, std::size_t component) const;
  void turnOver(MovingWindow& window, std::size_t component) const;
  static Reach front(const MovingWindow& window, std::size_t sample);

  Numbers numbers_;
  const double* data_;  // null unless the values lie as in a C array of double
  std::size_t components_;
  const Times& times_;
  const ToleranceRule& rule_;
  bool isLinear_;
  bool looks_;
  double timeTolerance_;
  std::size_t mostScanned_;
  Window window_{};
  bool hasWindow_ = false;
  std::size_t credit_ = 0;  // samples that may be looked at near an instant
  std::unordered_map<std::size_t, MovingWindow> moving_;  // by component
};

}  // namespace kvr::compare
