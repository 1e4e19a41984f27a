// The descriptors of the repository's methods: their base, and one class a row of methods.def.
#pragma once

#include <memory>

#include "kvrntob/base/descriptor_memory.h"
#include "kvrntob/base/method_rows.h"
#include "kvrntob/binding/call.h"

namespace kvr {

class KVRTOBMethodInfo : public ZeroedDescriptor<ntob::TOBMethodInfo> {
 public:
  const char* getName() const override { return name.characters(); }
  const ntob::TOBMethodSignature* getSignature() const override { return signature.get(); }

 protected:
  explicit KVRTOBMethodInfo(const char* hostName) : name(hostName) {}

  void declare(rows::Arguments inputs, rows::Arguments outputs) {
    signature = rows::makeSignature(inputs, outputs);
  }

 private:
  ntob::TOBString name;
  std::unique_ptr<ntob::TOBMethodSignature> signature;
};

// A descriptor adds nothing to its base but the body, run(), which stands in the file of its family
// in methods/.
#define METHOD(family, Class, hostName, inputs, outputs, ...)                            \
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
