/// Command line of recover.
#pragma once

#include <velko/arrays/numbers.h>

#include <optional>
#include <string>

namespace recover {

struct command_line {
  std::string sensitivity_file, observed_file;
  std::string base_name = "recover";     // of the files that the run writes
  std::string active_file = "null";      // as get_active_cells takes it
  std::string fixed_values = "VALUE 0";  // of the cells that are not active, as read_cube takes them
  // Exponent of the weights by sensitivity; absent: 0 where the sensitivity file has weights, else 1.
  std::optional<velko::r8> weighting;
  velko::i4 focus = 0;        // times that the model is made more compact
  velko::r8 target = 1;       // misfit to reach: chi-squared / number of data
  velko::i4 iterations = 60;  // dampings to try at most, in all
};

/// Fills `into`. An exit status comes back when the program is to end at once: 0 after --help, which prints to the
/// standard output, another one after an error, which is told on the standard error stream.
std::optional<int> parse_command_line(int argc, const char* const* argv, command_line& into);

}  // namespace recover
