// Signatures as the host keeps them: the types of a method's inputs and outputs, looked up by name
// once, when the module adds them.
#pragma once

#include <cstdint>
#include <vector>

#include "kvrntob/host/ntob.h"

namespace vormel {

// What an argument cell holds; see ArgumentCell in ntob.h.
enum class CellType : std::uint8_t {
  Any,
  Int32Scalar,
  DoubleScalar,
  LogicalScalar,
  String,
  Object  // every other type name: the full name of a class
};

struct SignatureType {
  CellType type;
  ntob::TOBNameID name;  // as the module gave it, such as "int32 scalar"
};

// The cell type of a type name.
CellType cellTypeOf(const ntob::TOBNameID& name);

// The one implementation of TOBMethodSignature.
class VORMEL_HOST_API Signature final : public ntob::TOBMethodSignature {
 public:
  ~Signature() override;
  void addInput(ntob::TOBNameID type) override;
  void addOutput(ntob::TOBNameID type) override;

  const std::vector<SignatureType>& inputs() const noexcept { return inputs_; }
  const std::vector<SignatureType>& outputs() const noexcept { return outputs_; }

 private:
  std::vector<SignatureType> inputs_;
  std::vector<SignatureType> outputs_;
};

}  // namespace vormel
