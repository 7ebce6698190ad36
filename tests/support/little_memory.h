/// While it lives, the process may take only so many bytes of address space more than it has. Not for sanitized builds:
/// the sanitizers' own memory is bound by the same limit.
#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <fstream>

#include "arrays/numbers.h"

namespace velko::test {

class little_memory {
 public:
  explicit little_memory(i8 more_bytes) {
    getrlimit(RLIMIT_AS, &before_);
    const rlimit less{static_cast<rlim_t>(address_space() + more_bytes), before_.rlim_max};
    setrlimit(RLIMIT_AS, &less);
  }
  little_memory(const little_memory&) = delete;
  little_memory& operator=(const little_memory&) = delete;
  ~little_memory() { setrlimit(RLIMIT_AS, &before_); }

 private:
  static i8 address_space() {
    i8 pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * sysconf(_SC_PAGESIZE);
  }

  rlimit before_{};
};

}  // namespace velko::test
