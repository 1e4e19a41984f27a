// Random steps against a plain store: adding and removing leave the same tables, also where the
// store does in one pass what the plain one does step by step, and where ids and run numbers are
// given out twice.
#include <functional>
#include <random>
#include <set>

#include "kvrntob/columns/columns.h"
#include "tests/store/plain_store.h"
#include "tests/support/store_test.h"

namespace kvr::test {
namespace {

// Steps pick from these numbers.
constexpr int kRuns = 8;
constexpr int kSignals = 40;
constexpr int kInstances = 2;
const std::string kTexts[] = {"a", "b", ""};

// What a store shows, a line each: "run 2" -> "1 7 Index".
using Picture = std::map<std::string, std::string>;

// The text, or the word of the failure.
std::string shown(const std::function<std::string()>& text) {
  try {
    return text();
  } catch (const PlainStore::Failure& failure) {
    return failure.what();
  } catch (const vormel::HostException& failure) {
    return failure.word().value_or("no word");
  }
}

template <class List>
std::string joined(const List& list) {
  std::string text;
  for (const auto& element : list) {
    if constexpr (std::is_same_v<std::decay_t<decltype(element)>, std::string>)
      text += "'" + element + "' ";
    else
      text += std::to_string(element) + " ";
  }
  return text;
}

// ---- What the store shows ----

std::string groupOf(const SignalRepository& store, const std::string& group, Column column) {
  std::vector<int32> ids;
  const int32 count = store.groupIDCount(group, column);
  for (int32 index = 1; index <= count; ++index)
    ids.push_back(store.groupIDAt(index, group, column));
  return joined(ids);
}

std::string runOf(const SignalRepository& store, int32 run) {
  std::string tags;
  for (int32 index = 1;; ++index) {
    const std::string next =
        shown([&] { return "#" + store.copyRecordByRunIndex(run, index).getRootSource(); });
    tags += next + " ";
    if (next[0] != '#') return tags;
  }
}

// Runs worth a look: those that steps pick from, and those that the plain store has.
std::set<int> runsOf(const PlainStore& plain) {
  std::set<int> numbers;
  for (int run = 0; run <= kRuns; ++run) numbers.insert(run);
  for (const auto& entry : plain.runs) numbers.insert(entry.first);
  return numbers;
}

// Signals and runs are those of the plain store; that there are no others shows in their numbers.
Picture pictureOf(const SignalRepository& store, const PlainStore& plain) {
  Picture picture;
  picture["numbers"] = joined(std::vector<int32>{store.signalCount(), store.runCount()});
  for (const auto& entry : plain.signals) {
    const int32 id = entry.first;
    picture["signal " + std::to_string(id)] = shown([&] {
      const Data record = store.copyRecordByID(id);
      return "#" + record.getRootSource() + " in " + std::to_string(record.getRunID()) + " under " +
             std::to_string(record.getParentID()) + " over " + joined(store.childIDs(id));
    });
  }
  for (const int32 run : runsOf(plain)) {
    picture["run " + std::to_string(run)] = runOf(store, run);
    picture["valid " + std::to_string(run)] = std::to_string(store.isValidRunID(run));
  }
  for (const std::string& text : kTexts) {
    picture["source " + text] =
        shown([&] { return "#" + store.copyRecordBySource(text).getRootSource(); });
    picture["block " + text] = shown([&] { return groupOf(store, text, Column::BlockPath); });
    picture["data source " + text] =
        shown([&] { return groupOf(store, text, Column::DataSource); });
    picture["label " + text] = shown([&] { return groupOf(store, text, Column::SignalName); });
    picture["model " + text] = shown([&] { return groupOf(store, text, Column::Model); });
  }
  std::vector<std::string> blocks;
  for (int32 index = 1; index <= store.groupCount(Column::BlockPath); ++index)
    blocks.push_back(store.blockSourceAt(index));
  picture["block names"] = joined(blocks);
  for (const Column column : {Column::DataSource, Column::SignalName, Column::Model})
    picture["names " + std::to_string(static_cast<int>(column))] =
        std::to_string(store.groupCount(column));
  std::vector<int32> runs;
  for (int32 position = 1; position <= store.groupCount(Column::RunName); ++position)
    runs.push_back(store.runIDAt(position));
  picture["runs"] = joined(runs);
  for (int32 instance = 0; instance <= kInstances; ++instance)
    picture["instance " + std::to_string(instance)] = joined(store.runIDsOfInstance(instance));
  picture["counters"] = joined(std::vector<int32>{lastSignalID, lastRunID});
  return picture;
}

// ---- What the plain store shows ----

std::string groupOf(const PlainStore::Column& column, const std::string& group) {
  const auto entry = column.groups.find(group);
  return entry != column.groups.end() ? joined(entry->second) : "group name";
}

std::string runOf(const PlainStore& store, int run) {
  const auto entry = store.byRun.find(run);
  if (entry == store.byRun.end()) return "Run ID ";
  std::string tags;
  for (const auto& record : entry->second) tags += "#" + record->tag + " ";
  return tags + "Index ";
}

Picture pictureOf(const PlainStore& store) {
  Picture picture;
  picture["numbers"] = joined(std::vector<std::size_t>{store.signals.size(), store.runs.size()});
  for (const auto& [id, record] : store.signals)
    picture["signal " + std::to_string(id)] =
        "#" + record->tag + " in " + std::to_string(record->run) + " under " +
        std::to_string(record->parent) + " over " + joined(record->children);
  for (const int run : runsOf(store)) {
    picture["run " + std::to_string(run)] = runOf(store, run);
    picture["valid " + std::to_string(run)] = std::to_string(store.runs.count(run) != 0);
  }
  for (const std::string& text : kTexts) {
    const auto entry = store.bySource.find(text);
    picture["source " + text] =
        entry != store.bySource.end() ? "#" + entry->second->tag : "Signal source";
    picture["block " + text] = groupOf(store.blocks, text);
    picture["data source " + text] = groupOf(store.sources, text);
    picture["label " + text] = groupOf(store.labels, text);
    picture["model " + text] = groupOf(store.models, text);
  }
  picture["block names"] = joined(store.blocks.names);
  picture["names 2"] = std::to_string(store.sources.names.size());
  picture["names 3"] = std::to_string(store.labels.names.size());
  picture["names 4"] = std::to_string(store.models.names.size());
  picture["runs"] = joined(store.runIDs);
  for (int instance = 0; instance <= kInstances; ++instance) {
    const auto entry = store.byInstance.find(instance);
    picture["instance " + std::to_string(instance)] =
        entry != store.byInstance.end() ? joined(entry->second) : "";
  }
  picture["counters"] = joined(std::vector<int>{store.lastSignalID, store.lastRunID});
  return picture;
}

// ---- The steps ----

class RemovalModelTest : public StoreTest {
 protected:
  // One random step on both stores; it gives the same, or fails with the same word.
  void step();
  // The same, of those alone that make and remove runs.
  void stepOfRuns();

  // A store that the process has let go of, so that the counters can be restarted under it.
  SignalRepository& store_ = drop();
  PlainStore plain_;
  std::mt19937 random_;

 private:
  int upTo(int bound) { return static_cast<int>(random_() % static_cast<unsigned>(bound + 1)); }
  const std::string& anyText() { return kTexts[upTo(2)]; }

  void addSignal();
  void restartCounters();

  // Compares what two actions give.
  template <class Real, class Plain>
  void both(Real real, Plain plain) {
    EXPECT_EQ(shown([&] { return std::to_string(real()); }),
              shown([&] { return std::to_string(plain()); }));
  }

  int tag_ = 0;
};

void RemovalModelTest::addSignal() {
  PlainStore::Signal signal;
  signal.tag = std::to_string(++tag_);
  signal.run = upTo(kRuns);
  signal.parent = upTo(2) == 0 ? upTo(kSignals) : 0;
  signal.source = anyText();
  signal.root = upTo(2) == 0 ? anyText() : signal.source;
  signal.block = anyText();
  signal.label = anyText();
  signal.model = anyText();
  SignalBuilder builder;
  builder.withRootSource(signal.tag).inRun(signal.run).under(signal.parent);
  builder.withSource(signal.source).withRootDataSource(signal.root);
  builder.inBlock(signal.block).withLabel(signal.label).inModel(signal.model);
  both([&] { return builder.addTo(store_); }, [&] { return plain_.add(signal); });
}

// From here on both give out numbers that they hold already.
void RemovalModelTest::restartCounters() {
  SignalRepository::drop();
  plain_.lastSignalID = 0;
  plain_.lastRunID = 0;
}

void RemovalModelTest::step() {
  const int chance = upTo(99);
  const int run = upTo(kRuns);
  const int id = upTo(kSignals);
  const int instance = upTo(kInstances);
  if (chance < 50)
    addSignal();
  else if (chance < 62)
    both([&] { return store_.createEmptyRun("run", instance); },
         [&] { return plain_.createRun(instance); });
  else if (chance < 80)
    both([&] { return store_.removeSignal(id), 0; }, [&] { return plain_.remove(id), 0; });
  else if (chance < 87)
    both([&] { return store_.removeRun(run), 0; }, [&] { return plain_.removeRun(run), 0; });
  else if (chance < 91)
    both([&] { return store_.removeEmptyRun(run), 0; },
         [&] { return plain_.removeEmptyRun(run), 0; });
  else if (chance < 92)
    both([&] { return store_.deleteInstanceID(instance), 0; },
         [&] { return plain_.deleteInstance(instance), 0; });
  else if (chance < 94)
    both([&] { return store_.setDateCreated(run, 1), 0; },
         [&] { return plain_.makeRunByDate(run), 0; });
  else if (chance < 98)
    both([&] { return store_.signalCount(run); }, [&] { return plain_.count(run); });
  else
    restartCounters();
}

void RemovalModelTest::stepOfRuns() {
  const int chance = upTo(99);
  const int run = upTo(2 * kRuns);
  const int instance = upTo(kInstances);
  if (chance < 60)
    both([&] { return store_.createEmptyRun("run", instance); },
         [&] { return plain_.createRun(instance); });
  else if (chance < 70)
    both([&] { return store_.setDateCreated(run, 1), 0; },
         [&] { return plain_.makeRunByDate(run), 0; });
  else if (chance < 78)
    both([&] { return store_.removeEmptyRun(run), 0; },
         [&] { return plain_.removeEmptyRun(run), 0; });
  else if (chance < 86)
    addSignal();
  else if (chance < 96)
    both([&] { return store_.deleteInstanceID(instance), 0; },
         [&] { return plain_.deleteInstance(instance), 0; });
  else
    restartCounters();
}

TEST_F(RemovalModelTest, random_deletions_of_instances_leave_the_tables_that_plain_steps_leave) {
  for (unsigned seed = 1; seed <= 12; ++seed) {
    random_.seed(seed);
    for (int i = 0; i < 100 && !HasFailure(); ++i) {
      stepOfRuns();
      EXPECT_EQ(pictureOf(store_, plain_), pictureOf(plain_)) << "seed " << seed << ", step " << i;
    }
  }
}

TEST_F(RemovalModelTest, random_steps_leave_the_tables_that_plain_steps_leave) {
  for (unsigned seed = 1; seed <= 5; ++seed) {
    random_.seed(seed);
    for (int i = 0; i < 300 && !HasFailure(); ++i) {
      step();
      EXPECT_EQ(pictureOf(store_, plain_), pictureOf(plain_)) << "seed " << seed << ", step " << i;
    }
  }
}

}  // namespace
}  // namespace kvr::test
