#include "tests/models/step.h"

namespace kvr::models {
namespace {

std::string inputList(const std::vector<PlainArray>& inputs) {
  std::string out;
  for (const PlainArray& input : inputs) {
    if (!out.empty()) out += ", ";
    out += describe(input);
  }
  return out;
}

const char* moodText(Mood mood) {
  switch (mood) {
    case Mood::Empty:
      return "answers an empty text";
    case Mood::Fails:
      return "fails";
    default:
      return "works";
  }
}

}  // namespace

std::string describe(const Step& step) {
  std::string out = "o";
  out += std::to_string(step.object);
  switch (step.kind) {
    case StepKind::Construct:
      out += step.cls == ClassKind::Map ? " = Map(" : " = SignalRepository(";
      out += inputList(step.inputs);
      return out += ')';
    case StepKind::End:
      return out += " ends";
    case StepKind::HostFunction:
      return step.function + " of the host " + moodText(step.mood);
    default:
      break;
  }
  out = signatureAt(step.cls, step.place).name;
  out += '(';
  out += inputList(step.inputs);
  out += ')';
  if (step.nargout != 1) out.append("   outputs asked for: ").append(std::to_string(step.nargout));
  return out;
}

std::string describe(const Outcome& outcome) {
  if (outcome.failure) {
    const auto& [identifier, word] = *outcome.failure;
    return word ? identifier + " with \"" + *word + "\"" : identifier + " without a word";
  }
  std::string out = "count " + std::to_string(outcome.outputCount) + ", cells (";
  for (std::size_t i = 0; i < outcome.cells.size(); ++i) {
    out += i == 0 ? "" : "; ";
    out += outcome.cells[i] ? describe(*outcome.cells[i]) : "-";
  }
  return out + ")";
}

}  // namespace kvr::models
