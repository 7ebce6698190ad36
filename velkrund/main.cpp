#include <string_view>
#include <vector>

#include "arrays/floating_point_mode.h"
#include "programs/run_time.h"
#include "programs/standard_streams.h"
#include "reports/program_stop.h"
#include "velkrund/forward_run.h"

/// The exit status is 0 always, after an error too: a script tells a failed run by its words and by the missing file.
int main(int argc, char** argv) {
  velko::prepare_standard_streams();
  velko::prepare_run_time();
  velko::set_flush_to_zero();
  const std::vector<std::string_view> words(argv, argv + argc);
  const std::span arguments = std::span(words).subspan(words.empty() ? 0 : 1);
  velko::write_end(velko::run_until_stop([&] { velko::velkrund(arguments); }));
  return 0;
}
