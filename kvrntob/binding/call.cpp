#include "kvrntob/binding/call.h"

#include "kvrntob/base/failure.h"
#include "kvrntob/host/ntob.h"

namespace kvr {

SignalRepository* resolveHandle(const vrArray* handle) {
  const ntob::TOBInterfacePtr object = tbGetArrayElement(handle, 0);
  if (!object || object->isInvalid()) raiseFromMessage(KVR::kvr::INVALID_OBJ());
  ntob::TOBNameID className;
  object->getClass()->getClassNameID(className);
  return static_cast<SignalRepository*>(object->getNativeInstance(className));
}

}  // namespace kvr
