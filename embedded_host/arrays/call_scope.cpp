#include "embedded_host/arrays/call_scope.h"

#include "embedded_host/arrays/array_layout.h"

namespace vormel {

// The lists of a scope. An item knows what points to it (link) and the item behind it (next).
struct CallScopeAccess {
  static thread_local CallScope* innermost;

  template <class Item>
  static void enter(Item* item, Item*& first) noexcept {
    item->next = first;
    if (first != nullptr) first->link = &item->next;
    item->link = &first;
    first = item;
  }

  template <class Item>
  static void leave(Item* item) noexcept {
    if (item->link == nullptr) return;
    *item->link = item->next;
    if (item->next != nullptr) item->next->link = item->link;
    item->link = nullptr;
    item->next = nullptr;
  }
};

constinit thread_local CallScope* CallScopeAccess::innermost = nullptr;

CallResource::CallResource() noexcept {
  if (CallScope* scope = CallScope::current()) CallScopeAccess::enter(this, scope->resources_);
}

CallResource::~CallResource() { CallScopeAccess::leave(this); }

CallScope::CallScope() noexcept : outer_(CallScopeAccess::innermost) {
  CallScopeAccess::innermost = this;
}

// Stays the innermost scope meanwhile: what is made while others end, ends here too.
CallScope::~CallScope() {
  while (CallResource* resource = resources_) {
    CallScopeAccess::leave(resource);
    resource->reclaim();
  }
  while (arrays_ != nullptr) vrDestroyArray(arrays_);
  CallScopeAccess::innermost = outer_;
}

CallScope* CallScope::current() noexcept { return CallScopeAccess::innermost; }

void CallScope::detach(vrArray* array) noexcept {
  if (array != nullptr) CallScopeAccess::leave(array);
}

void CallScope::attach(vrArray* array) noexcept {
  CallScope* scope = current();
  if (array == nullptr || scope == nullptr || array->link != nullptr || array->isPart) return;
  CallScopeAccess::enter(array, scope->arrays_);
}

}  // namespace vormel
