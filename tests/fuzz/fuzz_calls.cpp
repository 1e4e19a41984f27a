// Bytes to method calls: each input is a sequence of steps, taken by the store, the maps and the
// host, and by the plain models of tests/models. What comes of every step must agree, and at the
// end all that can be seen, the arrays that are alive and the open files.
#include "tests/fuzz/any_array.h"
#include "tests/fuzz/trial.h"
#include "tests/fuzz/verdict.h"
#include "tests/models/random.h"
#include "tests/models/signatures.h"
#include "tests/models/steps.h"

namespace kvr::fuzz {
namespace {

using namespace models;

constexpr std::size_t kMostSteps = 16;

class StepReader {
 public:
  StepReader(Bytes& bytes, const World& world)
      : bytes_(bytes),
        world_(world),
        maker_(random_, world, static_cast<Theme>(bytes.below(8))),
        lastObject_(static_cast<int>(world.objects.size())) {}

  Step next() {
    Step step = any();
    if (step.kind == StepKind::Construct) step.object = ++lastObject_;
    return step;
  }

 private:
  Step any() {
    switch (bytes_.below(8)) {
      case 0:
      case 1:
      case 2:
        random_ = Random(bytes_.number<std::uint16_t>());
        return maker_.next();
      case 3:
        return other();
      case 4:
        return call(ClassKind::Map);
      default:
        return call(ClassKind::Repository);
    }
  }

  Step call(ClassKind cls) {
    Step step;
    step.cls = cls;
    const auto& methods = signaturesOf(cls);
    step.place = 1 + bytes_.below(static_cast<int>(methods.size()) - 1);
    if (methods[static_cast<std::size_t>(step.place)].body == nullptr) return maker_.next();
    const std::string_view types = methods[static_cast<std::size_t>(step.place)].inputs;
    step.nargout = bytes_.onceIn(8) ? bytes_.below(6) - 1 : 1;
    std::size_t count = types.size();
    if (bytes_.onceIn(8)) count = static_cast<std::size_t>(bytes_.below(26));
    for (std::size_t i = 0; i < count; ++i) {
      const char type = types[std::min(i, types.size() - 1)];
      step.inputs.push_back(i == 0 ? objectOf(cls) : fitting(bytes_, type, lastObject_));
    }
    return step;
  }

  // Mostly one of the class, dead or alive.
  PlainArray objectOf(ClassKind cls) {
    std::vector<int> numbers;
    for (const ObjectModel& object : world_.objects)
      if (object.cls == cls) numbers.push_back(object.number);
    if (bytes_.onceIn(16)) return anyArray(bytes_, lastObject_);
    return numbers.empty() ? handleOf(1) : handleOf(bytes_.oneOf(numbers));
  }

  Step other() {
    static const std::vector<std::string> functions = {"version", "now", "timeseries", "tempdir"};
    Step step;
    const int choice = bytes_.below(4);
    if (choice == 0) {
      step.kind = StepKind::HostFunction;
      step.function = bytes_.oneOf(functions);
      step.mood = static_cast<Mood>(bytes_.below(3));
      if (step.mood == Mood::Empty && step.function != "tempdir") step.mood = Mood::Fine;
      return step;
    }
    if (choice == 1) {
      step.kind = StepKind::End;
      step.object = 1 + bytes_.below(lastObject_ + 1);
      return step;
    }
    step.kind = StepKind::Construct;
    step.cls = choice == 2 ? ClassKind::Repository : ClassKind::Map;
    const int inputs = bytes_.onceIn(8) ? bytes_.below(26) : choice == 2 ? 0 : 2;
    for (int i = 0; i < inputs; ++i) step.inputs.push_back(anyArray(bytes_, lastObject_));
    return step;
  }

  Bytes& bytes_;
  const World& world_;
  Random random_{0};
  StepMaker maker_;
  int lastObject_;
};

}  // namespace
}  // namespace kvr::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kvr::fuzz;
  Bytes bytes(data, size);
  Trial trial;
  const bool lookEverywhere = bytes.onceIn(16);
  if (!bytes.onceIn(8)) trial.prepareStore();
  StepReader reader(bytes, trial.world());
  for (std::size_t count = 0; bytes.left() > 0 && count < kMostSteps; ++count)
    trial.take(reader.next());
  trial.finish(lookEverywhere ? Trial::Look::Everywhere : Trial::Look::AtLeftovers);
  return 0;
}
