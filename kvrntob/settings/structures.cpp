#include "kvrntob/settings/structures.h"

#include "kvrntob/binding/failure.h"

namespace kvr {

void requireStructure(const vrArray* array) {
  const int classID = vrGetClassID(array);
  if ((classID != vrSTRUCT_CLASS && classID != vrOBJECT_CLASS) || vrIsEmpty(array))
    raiseFromMessage(KVR::kvr::INPUT_MISMATCH("struct"));
}

}  // namespace kvr
