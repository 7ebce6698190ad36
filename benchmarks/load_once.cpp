/// The load of a sensitivity file alone, as a process of its own: what whole runs begin with. Usage: load_once FILE
#include <cstdio>

#include "reports/program_stop.h"
#include "store/getpar.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const velko::stop_or_done end = velko::run_until_stop([&] { velko::getpar(argv[1]); });
  if (end != velko::stop_or_done{}) std::fputs("load_once: no such load\n", stderr);
  return end == velko::stop_or_done{} ? 0 : 1;
}
