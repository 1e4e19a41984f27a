#include "kvrntob/binding/methods.h"

namespace kvr {

namespace {

constexpr const char* NONE = "";  // the one entry of a list that declares nothing
constexpr const char* HANDLE = "Dravik.kvr.SignalRepository";
constexpr const char* ANY = "any";
constexpr const char* INT32 = "int32 scalar";
constexpr const char* DOUBLE = "double scalar";
constexpr const char* STRING = "string";

template <class Descriptor>
ntob::TOBMethodInfo* make() {
  return new Descriptor;
}

}  // namespace

#define IN(...) \
  { __VA_ARGS__ }
#define OUT(...) \
  { __VA_ARGS__ }

#define METHOD(Class, hostName, inputs, outputs) \
  Class::Class() : KVRTOBMethodInfo(hostName) { declare(inputs, outputs); }
#define REPEAT(Class)
#include "kvrntob/binding/methods.def"

void KVRTOBMethodInfo::declare(TypeNames inputs, TypeNames outputs) {
  std::unique_ptr<ntob::TOBMethodSignature> made(ntob::TOBMethodSignature::createMethodSignature());
  for (const char* type : inputs)
    if (*type != '\0') made->addInput(ntob::TOBNameID(type));
  for (const char* type : outputs)
    if (*type != '\0') made->addOutput(ntob::TOBNameID(type));
  signature = std::move(made);
}

void registerMethods(ntob::TOBClass* cls) {
  using Maker = ntob::TOBMethodInfo* (*)();
  static constexpr Maker makers[] = {
#define METHOD(Class, hostName, inputs, outputs) make<Class>,
#define REPEAT(Class) make<Class>,
#include "kvrntob/binding/methods.def"
  };
  for (const Maker maker : makers) cls->addMethod(maker());
}

}  // namespace kvr
