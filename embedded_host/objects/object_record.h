// One object of the host, and what becomes of it when it ends.
#pragma once

#include <cstdint>

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/objects/records.h"

namespace vormel {

// The object behind handles: the one kind of HandleTarget, and the one implementation of
// TOBInterface. Counted by the handle arrays and TOBInterfacePtrs that refer to it.
//
// An object ends once: by end(), or when its last reference goes. Then it is invalid, and its
// native instance is handed to the class's destroyNativeInstance, exactly once. While a method runs
// on the object, that waits until the method has returned. Objects whose last reference goes while
// another one is being destroyed are destroyed after it, one by one, however long the chain.
class VORMEL_HOST_API ObjectRecord final : public ntob::TOBInterface, public HandleTarget {
 public:
  // A new object with a new native instance, referenced by the pointer returned. Throws
  // TOBOutOfMemoryException if the class has no native instance to give.
  static ntob::TOBInterfacePtr create(ClassRecord& cls);

  // The object behind element `index` of a handle array. Null for other arrays and elements; never
  // fails. Borrowed: it lives as long as the array.
  static ObjectRecord* behind(const vrArray* handle, std::size_t index = 0) noexcept;

  ClassRecord& cls() const noexcept { return cls_; }
  bool isInvalid() const noexcept { return ended_; }

  // Null once the object has ended.
  void* nativeInstance() const noexcept { return ended_ ? nullptr : native_; }

  // Ends the object; nothing if it has ended.
  void end() noexcept;

  void retain() noexcept override { ++references_; }
  void release() noexcept override {
    if (--references_ == 0) destroyUnreferenced();
  }

  // Around each method that runs on the object: keeps it, and its native instance, to the end.
  class Running {
   public:
    explicit Running(ObjectRecord& object) noexcept : object_(object) {
      object_.retain();
      ++object_.running_;
    }
    ~Running() {
      if (--object_.running_ == 0 && object_.ended_) object_.destroyNative();
      object_.release();
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

   private:
    ObjectRecord& object_;
  };

 private:
  explicit ObjectRecord(ClassRecord& cls) noexcept;
  ~ObjectRecord();
  void destroyNative() noexcept;
  void destroyUnreferenced() noexcept;

  ClassRecord& cls_;
  void* native_ = nullptr;
  ObjectRecord* nextToDestroy_ = nullptr;
  std::uint32_t references_ = 0;
  std::uint32_t running_ = 0;
  bool ended_ = false;
};

// Number of objects alive in the process, ended ones that are still referred to included.
VORMEL_HOST_API std::size_t liveObjectCount() noexcept;

// A new handle array to the object, on the innermost call's list.
VORMEL_HOST_API vrArray* newHandle(const ntob::TOBInterfacePtr& object);

// Ends the object that a handle array names, as host code does by hand. Nothing on an ended one.
// Throws CallRefused("InvalidInput") if the array is no handle, and as HostEntry.
VORMEL_HOST_API void endObject(const vrArray* handle);

}  // namespace vormel
