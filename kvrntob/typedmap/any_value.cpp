#include "kvrntob/typedmap/any_value.h"

#include <string_view>

#include "kvrntob/host/ntob.h"

namespace {

bool isHandle(const vrArray* array) {
  if (vrGetClassID(array) != vrOPAQUE_CLASS) return false;
  const char* subclass = vrGetSubclass(array);
  return subclass != nullptr && std::string_view(subclass) == "handle";
}

}  // namespace

AnyValue AnyValue::store(const vrArray* value) {
  return AnyValue(isHandle(value) ? vrCreateSharedCopyNotOnArrayList(value)
                                  : ntobConvertArrayToInternal(value));
}

AnyValue::~AnyValue() {
  if (stored_ == nullptr) return;
  if (!isHandle(stored_)) ntobConvertArrayToExternalInPlace(stored_);
  vrDestroyArray(stored_);
}
