#include "embedded_host/objects/signature.h"

#include <array>
#include <utility>

namespace vormel {

CellType cellTypeOf(const ntob::TOBNameID& name) {
  static const std::array<std::pair<ntob::TOBNameID, CellType>, 5> plainTypes = {{
      {ntob::TOBNameID("any"), CellType::Any},
      {ntob::TOBNameID("int32 scalar"), CellType::Int32Scalar},
      {ntob::TOBNameID("double scalar"), CellType::DoubleScalar},
      {ntob::TOBNameID("logical scalar"), CellType::LogicalScalar},
      {ntob::TOBNameID("string"), CellType::String},
  }};
  for (const auto& [plainName, type] : plainTypes) {
    if (name == plainName) return type;
  }
  return CellType::Object;
}

Signature::~Signature() = default;

void Signature::addInput(ntob::TOBNameID type) { inputs_.push_back({cellTypeOf(type), type}); }

void Signature::addOutput(ntob::TOBNameID type) { outputs_.push_back({cellTypeOf(type), type}); }

}  // namespace vormel

namespace ntob {

TOBMethodSignature::~TOBMethodSignature() = default;

TOBMethodSignature* TOBMethodSignature::createMethodSignature() { return new vormel::Signature; }

}  // namespace ntob
