// The method descriptors of Dravik.kvr.Map, made from map_methods.def.
#pragma once

#include <cstdint>
#include <memory>

#include "kvrntob/host/ntob.h"

// Adds a descriptor of each method to the class, in the order of the table. Where host memory is
// exhausted it adds null, which leaves the class without that method.
void addMapMethods(ntob::TOBClass* cls);

struct MapCall;

// Each class keeps nothing but its signature. execute bundles its arguments and runs the body.
#define METHOD(family, Class, name, inputs, outputs, ...)                                     \
  class Class final : public ntob::TOBMethodInfo {                                            \
   public:                                                                                    \
    Class();                                                                                  \
    const char* getName() const override { return name; }                                     \
    const ntob::TOBMethodSignature* getSignature() const override { return signature.get(); } \
    void execute(void* context, std::int32_t* outputCount, ntob::ArgumentCell* outputCells,   \
                 std::int32_t inputCount, ntob::ArgumentCell* inputCells) override;           \
                                                                                              \
   private:                                                                                   \
    static void run(const MapCall& call);                                                     \
    std::unique_ptr<ntob::TOBMethodSignature> signature;                                      \
  };
#include "kvrntob/typedmap/map_methods.def"
