// The descriptors of the repository's methods, one class a row of methods.def.
#pragma once

#include <vector>

#include "kvrntob/binding/call.h"
#include "kvrntob/binding/method_info.h"

namespace kvr {

// A descriptor adds nothing to its base but the body, run(), which stands in the file of its family
// in methods/.
#define METHOD(Class, hostName, inputs, outputs)                                         \
  class Class final : public KVRTOBMethodInfo {                                          \
   public:                                                                               \
    Class();                                                                             \
    ~Class() override = default;                                                         \
    void execute(void* context, int32* outputCount, ArgumentCell* out, int32 inputCount, \
                 ArgumentCell* in) override {                                            \
      run(Call{context, outputCount, out, inputCount, in});                              \
    }                                                                                    \
    static void run(const Call& call);                                                   \
  };
#define REPEAT(Class)
#include "kvrntob/binding/methods.def"

// Makes every descriptor in order of registration and hands it to the class, which owns it then.
// Throws TOBOutOfMemoryException when memory is exhausted; earlier ones stay registered.
void registerMethods(ntob::TOBClass* cls);

}  // namespace kvr
