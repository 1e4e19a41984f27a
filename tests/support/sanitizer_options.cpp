// Options of the address sanitizer for test programs. Null for memory that cannot be had: tests ask
// for more than there is.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
