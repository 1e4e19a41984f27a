#include "kvrntob/typedmap/make_wrapper.h"

#include <cstdint>
#include <string>

#include "kvrntob/base/failure.h"

AbstractVrWrapperDataMap* makeWrapperForKeyClass(int keyClass, int valueClass) {
  switch (keyClass) {
#define KEY(hostClass, typeName, Native) \
  case hostClass:                        \
    return makeWrapperForValueClass<Native>(valueClass, typeName);
#include "kvrntob/typedmap/wrapper_types.def"
  }
  kvr::raiseFromMessage(KVR::kvr::UNSUPPORTED_KEY());
}
