#include "embedded_host/arrays/call_scope.h"

#include "embedded_host/arrays/storage.h"

namespace vormel {

// The lists of a scope.
struct CallScopeAccess {
  static thread_local CallScope* innermost;

  static vrArray& linksOf(vrArray* array) noexcept { return *array; }
  static CallResource::Links& linksOf(CallResource* resource) noexcept { return resource->links_; }

  template <class Item>
  static void add(Item* item, Item*& first) noexcept {
    auto& links = linksOf(item);
    links.next = first;
    if (first != nullptr) linksOf(first).link = &links.next;
    links.link = &first;
    first = item;
  }

  template <class Item>
  static void remove(Item* item) noexcept {
    auto& links = linksOf(item);
    if (links.link == nullptr) return;
    *links.link = links.next;
    if (links.next != nullptr) linksOf(links.next).link = links.link;
    links.link = nullptr;
    links.next = nullptr;
  }
};

constinit thread_local CallScope* CallScopeAccess::innermost = nullptr;

CallResource::CallResource() noexcept {
  if (CallScope* scope = CallScope::current()) CallScopeAccess::add(this, scope->resources_);
}

CallResource::~CallResource() { CallScopeAccess::remove(this); }

CallScope::CallScope() noexcept : outer_(CallScopeAccess::innermost) {
  CallScopeAccess::innermost = this;
}

// Remains the innermost scope until the end: arrays that are made while others end are released
// too.
CallScope::~CallScope() {
  while (CallResource* resource = resources_) {
    CallScopeAccess::remove(resource);
    resource->reclaim();
  }
  while (arrays_ != nullptr) vrDestroyArray(arrays_);
  CallScopeAccess::innermost = outer_;
}

CallScope* CallScope::current() noexcept { return CallScopeAccess::innermost; }

void CallScope::detach(vrArray* array) noexcept {
  if (array != nullptr) CallScopeAccess::remove(array);
}

void CallScope::attach(vrArray* array) noexcept {
  CallScope* scope = current();
  if (array == nullptr || scope == nullptr || array->link != nullptr || array->isPart) return;
  CallScopeAccess::add(array, scope->arrays_);
}

}  // namespace vormel
