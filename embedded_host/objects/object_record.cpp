#include "embedded_host/objects/object_record.h"

#include <utility>

#include "embedded_host/arrays/host_entry.h"
#include "embedded_host/messages/host_exception.h"

namespace vormel {

using ntob::TOBInterfacePtr;

namespace {

std::size_t liveObjects = 0;

}  // namespace

std::size_t liveObjectCount() noexcept { return liveObjects; }

ObjectRecord::ObjectRecord(ClassRecord& cls) noexcept : cls_(cls) { ++liveObjects; }

ObjectRecord::~ObjectRecord() { --liveObjects; }

TOBInterfacePtr ObjectRecord::create(ClassRecord& cls) {
  auto* record = new ObjectRecord(cls);
  TOBInterfacePtr object(record);
  record->native_ = cls.descriptor().createNativeInstance();
  if (record->native_ == nullptr) throw ntob::TOBOutOfMemoryException();
  return object;
}

ObjectRecord* ObjectRecord::behind(const vrArray* handle, std::size_t index) noexcept {
  if (handle == nullptr) return nullptr;
  return static_cast<ObjectRecord*>(handleTarget(handle, index));
}

void ObjectRecord::end() noexcept {
  if (isEnded_) return;
  const TOBInterfacePtr self(this);  // the native instance may hold the last handle to this object
  isEnded_ = true;
  if (runningCount_ == 0) destroyNative();
}

void ObjectRecord::destroyNative() noexcept {
  void* native = std::exchange(native_, nullptr);
  if (native == nullptr) return;
  try {
    cls_.descriptor().destroyNativeInstance(native);
  } catch (...) {  // NOLINT(bugprone-empty-catch): the object has ended in any case
  }
}

void ObjectRecord::destroyChain() noexcept {
  static ObjectRecord* queue = nullptr;
  static bool isDestroying = false;
  nextToDestroy_ = std::exchange(queue, this);
  if (std::exchange(isDestroying, true)) return;  // the loop below is running further up the stack
  while (queue != nullptr) {
    ObjectRecord* object = std::exchange(queue, queue->nextToDestroy_);
    object->isEnded_ = true;
    object->destroyNative();
    delete object;
  }
  isDestroying = false;
}

vrArray* newHandle(const TOBInterfacePtr& object) {
  return makeHandle(static_cast<ObjectRecord*>(object.operator->()));
}

void endObject(const vrArray* handle) {
  ObjectRecord* object = ObjectRecord::behind(handle);
  if (object == nullptr) throw CallRefused("InvalidInput", "Only a host object can be ended.");
  const HostEntry entry;
  object->end();
}

namespace {

ObjectRecord* recordOf(ntob::TOBInterface* object) noexcept {
  return static_cast<ObjectRecord*>(object);
}

const ObjectRecord& livingRecordOf(const ntob::TOBInterface* object) {
  const auto& record = *static_cast<const ObjectRecord*>(object);
  if (!record.isInvalid()) return record;
  throw CallRefused("DeadObject",
                    "The object of class " + record.cls().fullName() + " has been deleted.");
}

}  // namespace
}  // namespace vormel

namespace ntob {

bool TOBInterface::isInvalid() const noexcept {
  return static_cast<const vormel::ObjectRecord*>(this)->isInvalid();
}

const TOBClass* TOBInterface::getClass() const { return &vormel::livingRecordOf(this).cls(); }

// The border passes names by value. NOLINTNEXTLINE(performance-unnecessary-value-param)
void* TOBInterface::getNativeInstance(TOBNameID className) const {
  const vormel::ObjectRecord& record = vormel::livingRecordOf(this);
  return record.cls().nameID() == className ? record.nativeInstance() : nullptr;
}

void TOBInterface::destroyInterface(void*) { vormel::recordOf(this)->end(); }

TOBInterfacePtr::TOBInterfacePtr(TOBInterface* object) noexcept : object_(object) {
  if (object_ != nullptr) vormel::recordOf(object_)->retain();
}

TOBInterfacePtr::TOBInterfacePtr(const TOBInterfacePtr& other) noexcept
    : TOBInterfacePtr(other.object_) {}

TOBInterfacePtr& TOBInterfacePtr::operator=(TOBInterfacePtr other) noexcept {
  std::swap(object_, other.object_);
  return *this;
}

TOBInterfacePtr::~TOBInterfacePtr() {
  if (object_ != nullptr) vormel::recordOf(object_)->release();
}

}  // namespace ntob

ntob::TOBInterfacePtr tbGetArrayElement(const vrArray* handle, std::size_t index) {
  return ntob::TOBInterfacePtr(vormel::ObjectRecord::behind(handle, index));
}
