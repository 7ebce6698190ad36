/// Bounds on memory for the fuzz targets. A count of billions, with a repeat form that fills as many values,
/// is to end in the report of a failed allocation, not in minutes of filling memory and at last in the hands
/// of the system's memory killer.
#include <sys/resource.h>
#include <unistd.h>

#include <fstream>

namespace {

/// Bytes of data that the process has mapped; under the address sanitizer these are terabytes that nobody
/// touches.
rlim_t mapped_data() {
  std::ifstream in("/proc/self/statm");
  rlim_t total = 0, resident = 0, shared = 0, text = 0, unused = 0, data = 0;
  in >> total >> resident >> shared >> text >> unused >> data;
  return data * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

/// Before main, so that each target has it without asking.
__attribute__((constructor)) void limit_memory() {
  constexpr rlim_t more = rlim_t{1} << 30;
  rlimit limit{};
  getrlimit(RLIMIT_DATA, &limit);
  limit.rlim_cur = mapped_data() + more;
  setrlimit(RLIMIT_DATA, &limit);
}

}  // namespace

/// The same for each block of the sanitizer's own heap. It asks for its options by this name; in other builds
/// nobody does.
extern "C" const char* __asan_default_options();

extern "C" const char* __asan_default_options() {
  return "max_allocation_size_mb=64:allocator_may_return_null=1";
}
