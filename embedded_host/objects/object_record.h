// One object of the host, and its end.
#pragma once

#include <cstdint>

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/objects/records.h"

namespace vormel {

// The object that handles refer to: the only kind of HandleTarget, and the only implementation of
// TOBInterface. Reference-counted by handle arrays and TOBInterfacePtrs.
//
// An object ends once: by end(), or with its last reference. It is invalid from then on, and its
// class destroys the native instance (destroyNativeInstance), exactly once. While a method runs on
// the object, that is postponed until the method has returned. Objects that lose their last
// reference while another one is being destroyed are queued and destroyed after it, so that a chain
// of any length needs no recursion.
class VORMEL_HOST_API ObjectRecord final : public ntob::TOBInterface, public HandleTarget {
 public:
  // A new object with a new native instance, referenced by the pointer returned. Throws
  // TOBOutOfMemoryException if the class has no native instance to give.
  static ntob::TOBInterfacePtr create(ClassRecord& cls);

  // The object that element `index` of a handle array refers to. Null for other arrays and indices.
  // Borrowed: it lives at least as long as the array.
  static ObjectRecord* behind(const vrArray* handle, std::size_t index = 0) noexcept;

  ClassRecord& cls() const noexcept { return cls_; }
  bool isInvalid() const noexcept { return isEnded_; }

  // Null once the object has ended.
  void* nativeInstance() const noexcept { return isEnded_ ? nullptr : native_; }

  // Ends the object. Does nothing if it has ended.
  void end() noexcept;

  void retain() noexcept override { ++references_; }
  void release() noexcept override {
    if (--references_ == 0) destroyChain();
  }

  // Exists while a method runs on the object, and keeps the object and its native instance alive.
  class Running {
   public:
    explicit Running(ObjectRecord& object) noexcept : object_(object) {
      object_.retain();
      ++object_.runningCount_;
    }
    ~Running() {
      if (--object_.runningCount_ == 0 && object_.isEnded_) object_.destroyNative();
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
  void destroyChain() noexcept;

  ClassRecord& cls_;
  void* native_ = nullptr;
  ObjectRecord* nextToDestroy_ = nullptr;
  std::uint32_t references_ = 0;
  std::uint32_t runningCount_ = 0;
  bool isEnded_ = false;
};

// Number of objects in the process, including ended ones that are still referred to.
VORMEL_HOST_API std::size_t liveObjectCount() noexcept;

// A new handle array that refers to the object, on the array list of the innermost call.
VORMEL_HOST_API vrArray* newHandle(const ntob::TOBInterfacePtr& object);

// Ends the object that a handle array refers to. Does nothing if it has ended. Throws
// CallRefused("InvalidInput") if the array is not a handle, and as HostEntry.
VORMEL_HOST_API void endObject(const vrArray* handle);

}  // namespace vormel
