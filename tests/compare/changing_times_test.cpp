// Times that the caller changes while they are compared. The verdict then means nothing, but no
// number outside the arrays is read: they end, or begin, where the memory does.
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <functional>
#include <stdexcept>
#include <string>

#include "tests/compare/compare_test.h"
#include "tests/models/random.h"

namespace kvr::compare::test {
namespace {

enum class Against {
  kBegin,
  kEnd
};

// Doubles that begin or end beside memory that cannot be read.
class FencedNumbers {
 public:
  FencedNumbers(std::size_t count, Against side) : count_(count) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t inside = (count * sizeof(double) + page - 1) / page * page;
    length_ = inside + 2 * page;
    memory_ = mmap(nullptr, length_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory_ == MAP_FAILED) throw std::runtime_error("no memory");
    auto* const begin = static_cast<std::byte*>(memory_) + page;
    if (mprotect(begin, inside, PROT_READ | PROT_WRITE) != 0) throw std::runtime_error("no memory");
    numbers_ = reinterpret_cast<double*>(
        side == Against::kBegin ? begin : begin + inside - count * sizeof(double));
  }
  FencedNumbers(const FencedNumbers&) = delete;
  FencedNumbers& operator=(const FencedNumbers&) = delete;
  ~FencedNumbers() { munmap(memory_, length_); }

  std::span<double> all() { return {numbers_, count_}; }

 private:
  std::size_t count_;
  std::size_t length_ = 0;
  void* memory_ = nullptr;
  double* numbers_ = nullptr;
};

struct FencedSeries {
  FencedSeries(std::size_t count, double step, std::size_t components, Against side)
      : times(count, side), values(count * components, side), shape{components} {
    for (std::size_t i = 0; i < count; ++i) times.all()[i] = step * static_cast<double>(i);
    for (std::size_t i = 0; i < values.all().size(); ++i) {
      values.all()[i] = static_cast<double>(i % 7);
    }
  }
  Series view() {
    Series series = seriesOf(times.all(), values.all());
    series.samples = times.all().size();
    series.values.sampleStride = static_cast<std::ptrdiff_t>(shape[0] * sizeof(double));
    series.shape = shape;
    return series;
  }

  FencedNumbers times, values;
  std::array<std::size_t, 1> shape;
};

std::vector<Given> everyMethod() {
  std::vector<Given> all;
  for (Given given : {Given(), Given().intersection(), Given().uniform(0.75), Given().uniform(9)}) {
    all.push_back(given);
    all.push_back(given.linear());
  }
  return all;
}

// Compares while `change` is called between the blocks; what is found may be anything.
void compareWhile(FencedSeries& baseline, FencedSeries& other, Given given,
                  const std::function<void()>& change) {
  int calls = 0;
  given.options.stop = [&] {
    change();
    return ++calls > 1000;
  };
  try {
    const Verdict verdict = compare(baseline.view(), other.view(), given.settings, given.options);
    EXPECT_LE(verdict.out, verdict.judged);
  } catch (const Stopped&) {
    ADD_FAILURE() << "no end";
  }
  EXPECT_GT(calls, 0);
}

TEST(ChangingTimes, of_the_first_sample_do_not_lead_before_it) {
  for (const Given& given : everyMethod()) {
    for (const std::size_t components : {1U, 3U}) {
      for (const bool changesBaseline : {false, true}) {
        FencedSeries baseline(100, 1, components, Against::kBegin);
        FencedSeries other(100, 1, components, Against::kBegin);
        FencedSeries& changed = changesBaseline ? baseline : other;
        compareWhile(baseline, other, given, [&] { changed.times.all()[0] = 0.875; });
      }
    }
  }
}

TEST(ChangingTimes, of_the_last_sample_do_not_lead_behind_it) {
  for (const Given& given : everyMethod()) {
    for (const std::size_t components : {1U, 3U}) {
      for (const bool changesBaseline : {false, true}) {
        FencedSeries baseline(100, 1, components, Against::kEnd);
        FencedSeries other(100, 1, components, Against::kEnd);
        FencedSeries& changed = changesBaseline ? baseline : other;
        compareWhile(baseline, other, given, [&] { changed.times.all()[99] = 98.125; });
      }
    }
  }
}

// Times of the baseline stand twice, so that all are looked at one by one.
TEST(ChangingTimes, to_NaN_do_not_keep_the_comparison_going) {
  for (const Given& given : everyMethod()) {
    for (const std::size_t place : {40U, 300U, 1000U}) {
      for (int when = 1; when <= 8; ++when) {
        FencedSeries baseline(1030, 1, 1, Against::kEnd);
        FencedSeries other(1030, 1.25, 1, Against::kEnd);
        for (std::size_t i = 1; i < 1030; i += 3) {
          baseline.times.all()[i] = baseline.times.all()[i - 1];
        }
        compareWhile(baseline, other, given, [&, calls = 0]() mutable {
          if (++calls == when) baseline.times.all()[place] = other.times.all()[place] = kNaN;
        });
      }
    }
  }
}

TEST(ChangingTimes, anywhere_and_to_anything_stay_within_the_arrays) {
  models::Random random(9);
  for (const Against side : {Against::kBegin, Against::kEnd}) {
    for (const std::size_t count : {1U, 2U, 30U, 1024U, 1030U, 2500U}) {
      for (const Given& given : everyMethod()) {
        const std::size_t components = 1 + 2 * (random.next() % 2);
        FencedSeries baseline(count, 1, components, side);
        FencedSeries other(count, 1.25, components, side);
        compareWhile(baseline, other, given, [&] {
          for (FencedSeries* series : {&baseline, &other}) {
            const auto place = random.next() % count;
            double& time = series->times.all()[place];
            time = random.oneOf<double>({kNaN, kInfinity, -kInfinity, -1, time - 1, time + 1, 1e9});
          }
        });
      }
    }
  }
}

}  // namespace
}  // namespace kvr::compare::test
