#include <csignal>
#include <string_view>
#include <vector>

#include "arrays/floating_point_mode.h"
#include "reports/program_stop.h"
#include "velkrund/forward_run.h"

/// The exit status is 0 always, after an error too: a script tells a failed run by its words and by the missing file.
int main(int argc, char** argv) {
  // A closed console and a file that may not grow are failures with words, like all others, not signals.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  velko::set_flush_to_zero();
  const std::vector<std::string_view> words(argv, argv + argc);
  const std::span arguments = std::span(words).subspan(words.empty() ? 0 : 1);
  velko::write_end(velko::run_until_stop([&] { velko::velkrund(arguments); }));
  return 0;
}
