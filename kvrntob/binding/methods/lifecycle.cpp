// The constructor, clean, and the switch of file mode.
#include "kvrntob/binding/methods.h"

namespace kvr {

// The host has made the object by now, and with it the store.
void SignalRepositoryConstructor::run(const Call&) {}

void SignalRepositoryDestructor::run(const Call& call) {
  {
    const ntob::TOBInterfacePtr object = tbGetArrayElement(call.in[0].array, 0);
    if (object && !object->isInvalid()) {
      call.store();
      object->destroyInterface(call.context);
    }
  }
  SignalRepository::drop();  // also through a handle whose object is gone
}

void SignalRepositoryWriteToFile::run(const Call& call) { call.store().writeToFile(); }

void SignalRepositoryStopWritingToFile::run(const Call& call) { call.store().stopWritingToFile(); }

}  // namespace kvr
