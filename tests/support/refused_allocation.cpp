// Linked into tests of what happens when memory is out: there a refused allocation is a case, not a finding
// of the sanitizers.

extern "C" {
const char *asan_options() __asm__("__asan_default_options");
const char *asan_options() { return "allocator_may_return_null=1"; }
const char *tsan_options() __asm__("__tsan_default_options");
const char *tsan_options() { return "allocator_may_return_null=1"; }
}
