#include "arrays/resident_memory.h"

#include <unistd.h>

#include <fstream>
#include <string>

namespace velko {

/// The second number is that of the pages in memory.
i8 resident_memory() {
  i8 all = 0, resident = 0;
  return std::ifstream("/proc/self/statm") >> all >> resident ? resident * sysconf(_SC_PAGESIZE) : 0;
}

/// Not that of getrusage, which counts the program that started this one too.
i8 most_resident_memory() {
  std::ifstream in("/proc/self/status");
  i8 kilobytes = 0;
  for (std::string word; in >> word;)
    if (word == "VmHWM:") return in >> kilobytes ? kilobytes << 10 : 0;
  return 0;
}

}  // namespace velko
