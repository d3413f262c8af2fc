// How the client's allocator keeps memory. The client reads a batch, hands its records on and
// drops them, over and over: one arena and a quick return of freed pages keep its peak near
// the size of one batch instead of several (about 55 MB instead of 90 MB over a 100,000-message
// search, for 5% more CPU). jemalloc reads this symbol at start-up; other allocators ignore it.
extern "C" {
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): the allocator's interface
const char* malloc_conf = "narenas:1,dirty_decay_ms:1000,muzzy_decay_ms:0";
}
