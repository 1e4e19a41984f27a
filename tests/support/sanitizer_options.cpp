// Options of the address sanitizer for test programs. Null for memory that cannot be had: tests ask
// for more than there is.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}

// HDF5 keeps some of what it has read of a damaged file.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:libhdf5_serial\n";
}
