#include "kvrntob/binding/methods.h"

namespace kvr {

namespace {

template <class Descriptor>
ntob::TOBMethodInfo* make() {
  return new Descriptor;
}

}  // namespace

// A missing body is a link error.
using namespace rows;
#define METHOD(family, Class, hostName, inputs, outputs, ...) \
  Class::Class() : KVRTOBMethodInfo(hostName) { declare(inputs, outputs); }
#define REPEAT(Class)
#include "kvrntob/binding/methods.def"

void registerMethods(ntob::TOBClass* cls) {
  using Maker = ntob::TOBMethodInfo* (*)();
  static constexpr Maker makers[] = {
#define METHOD(family, Class, ...) make<Class>,
#define REPEAT(Class) make<Class>,
#include "kvrntob/binding/methods.def"
  };
  for (const Maker maker : makers) cls->addMethod(maker());
}

}  // namespace kvr
