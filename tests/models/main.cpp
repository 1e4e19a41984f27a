// Random steps against the models and the real thing:
//
//   models_test [--steps=N] [--seed=S] [--by-method=1]
//
// The steps fall into episodes, each from an empty store and with a theme and a seed of its own. At
// each step the results are compared, at intervals everything that can be seen. When something
// differs, the steps of the episode are cut down to a few and printed as calls. --by-method=1
// prints how often each method succeeded and failed, and with what.
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <iomanip>
#include <iostream>
#include <set>
#include <string>
#include <string_view>

#include "tests/models/episode.h"
#include "tests/models/steps.h"

namespace kvr::models {
namespace {

struct Options {
  std::uint64_t steps = KVR_MODEL_STEPS;
  std::uint64_t seed = 20240614;
  std::uint64_t byMethod = 0;
};

constexpr std::uint64_t kStepsPerEpisode = 2000;
constexpr std::uint64_t kStepsPerComparison = 500;
constexpr std::uint64_t kStepsThatReachAll = 100000;

// Every theme in turn; the file comes seldom, as each of its steps opens it.
Theme themeOf(std::uint64_t episode) {
  constexpr Theme themes[] = {Theme::Signals,  Theme::Settings, Theme::Columns,   Theme::Runs,
                              Theme::Cleaning, Theme::Maps,     Theme::Everything};
  return episode % 20 == 7 ? Theme::File : themes[episode % std::size(themes)];
}

// ---- Running ----

void explain(const std::vector<Step>& steps, const std::string& difference) {
  std::cout << "step " << steps.size() << " of the episode:\n  " << difference << "\n";
  const std::vector<Step> few =
      shrink(steps, [](const std::vector<Step>& fewer) { return replay(fewer).has_value(); });
  std::cout << "cut down to " << few.size() << " steps:\n";
  for (const Step& step : few) std::cout << "  " << describe(step) << "\n";
  std::cout << "  " << replay(few).value_or("(no difference when it is run again)") << "\n";
}

// Returns false if something differs.
bool runEpisode(std::uint64_t seed, Theme theme, std::uint64_t length, Counts& counts) {
  Random random(seed);
  Episode episode;
  StepMaker maker(random, episode.world(), theme);
  std::vector<Step> steps;
  Difference difference;
  while (!difference && steps.size() < length) {
    steps.push_back(maker.next());
    difference = episode.take(steps.back(), counts);
    const bool whole = steps.size() % kStepsPerComparison == 0 || steps.size() == length;
    if (!difference && whole) difference = episode.compareAll(counts);
  }
  const Difference atEnd = episode.finish();
  if (!difference) difference = atEnd;
  if (difference) explain(steps, *difference);
  return !difference;
}

// ---- Reporting ----

struct Summary {
  std::uint64_t failed = 0;
  std::set<std::string> waysToFail;
  std::size_t methods = 0;  // that succeeded
};

bool isMethod(StepKind kind) { return kind == StepKind::Call || kind == StepKind::Construct; }

Summary summarize(const Counts& counts) {
  Summary summary;
  for (const auto& [kind, tally] : counts.tally) {
    if (isMethod(std::get<StepKind>(kind)) && tally.succeeded != 0) ++summary.methods;
    for (const auto& [failure, times] : tally.failed) {
      summary.failed += times;
      summary.waysToFail.insert(failure);
    }
  }
  return summary;
}

void printByMethod(const Counts& counts) {
  for (const auto& [kind, tally] : counts.tally) {
    const auto& [step, cls, place] = kind;
    std::cout << std::left << std::setw(28)
              << (isMethod(step) ? signatureAt(cls, place).name : "other step") << std::right
              << std::setw(8) << tally.succeeded << "\n";
    for (const auto& [failure, times] : tally.failed)
      std::cout << std::setw(36) << times << "  " << failure << "\n";
  }
}

// Returns false if the steps reached less than they should.
bool report(const Options& options, const Counts& counts) {
  if (options.byMethod != 0) printByMethod(counts);
  const Summary summary = summarize(counts);
  std::cout << "models: seed " << options.seed << ": " << counts.steps << " steps, "
            << summary.failed << " of them failed as predicted, in " << summary.waysToFail.size()
            << " ways; " << summary.methods << " methods succeeded; " << counts.comparisons
            << " whole-state comparisons of " << counts.reads << " reads: no difference\n"
            << "tally: random steps against the models: " << counts.steps << "\n"
            << "tally: random steps that failed as predicted: " << summary.failed << "\n"
            << "tally: whole-state comparisons with the models: " << counts.comparisons << "\n";
  const auto isModelled = [](const Signature& method) { return method.body != nullptr; };
  const auto all = static_cast<std::size_t>(
      std::count_if(repositoryMethods().begin(), repositoryMethods().end(), isModelled) +
      std::count_if(mapMethods().begin(), mapMethods().end(), isModelled));
  if (counts.steps < kStepsThatReachAll || summary.methods == all) return true;
  std::cout << "models: only " << summary.methods << " of " << all << " methods succeeded\n";
  return false;
}

int run(const Options& options) {
  Counts counts;
  Random seeds(options.seed);
  const bool progress = isatty(STDERR_FILENO) != 0;
  for (std::uint64_t episode = 0; counts.steps < options.steps; ++episode) {
    const std::uint64_t length = std::min(kStepsPerEpisode, options.steps - counts.steps);
    if (!runEpisode(seeds.next(), themeOf(episode), length, counts)) {
      std::cout << "models: seed " << options.seed << ", episode " << episode << ": a difference\n";
      return EXIT_FAILURE;
    }
    if (progress) std::cerr << "\r" << 100 * counts.steps / options.steps << " %" << std::flush;
  }
  if (progress) std::cerr << "\r";
  return report(options, counts) ? EXIT_SUCCESS : EXIT_FAILURE;
}

// Reads "--name=number" into `value` if `argument` is that.
bool readOption(std::string_view argument, std::string_view name, std::uint64_t& value) {
  if (argument.substr(0, name.size()) != name) return false;
  const std::string digits(argument.substr(name.size()));
  char* end = nullptr;
  value = std::strtoull(digits.c_str(), &end, 10);
  return !digits.empty() && *end == '\0';
}

bool readOptions(int count, char** arguments, Options& options) {
  return std::all_of(arguments + 1, arguments + count, [&](const char* argument) {
    return readOption(argument, "--steps=", options.steps) ||
           readOption(argument, "--seed=", options.seed) ||
           readOption(argument, "--by-method=", options.byMethod);
  });
}

}  // namespace
}  // namespace kvr::models

int main(int argc, char** argv) try {
  kvr::models::Options options;
  if (kvr::models::readOptions(argc, argv, options)) return kvr::models::run(options);
  std::cerr << "usage: " << argv[0] << " [--steps=N] [--seed=S] [--by-method=1]\n";
  return 2;
} catch (const std::exception& failure) {
  std::cerr << "models: " << failure.what() << "\n";
  return EXIT_FAILURE;
}
