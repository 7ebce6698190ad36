/// Command line of recover.
#pragma once

#include <velko/arrays/numbers.h>

#include <array>
#include <optional>
#include <string>

#include "recover/model_norm.h"
#include "recover/observations.h"

namespace recover {

struct command_line {
  std::string sensitivity_file, observed_file;
  std::string base_name = "recover";  // of the files that the run writes
  // Each a model file, or "VALUE number", as read_cube takes them.
  std::string active_file = "null";      // as get_active_cells takes it
  std::string fixed_values = "VALUE 0";  // of the cells that are not active
  std::string reference = "VALUE 0", lower = "VALUE 0", upper = "VALUE 1";
  noise_model noise;
  velko::i4 every = 1;
  velko::i4 regional = -1;  // order of the polynomial; -1 for none
  velko::r8 robust = 0;     // threshold of Huber's misfit, in deviations; 0 for chi-squared
  weighting kind = weighting::sensitivity;
  std::optional<std::array<velko::r8, 3>> lengths;  // absent: the smallest cells along each axis
  std::optional<velko::r8> target = 1;  // misfit to reach; absent: the corner of the trade-off curve
  velko::i4 iterations = 30;            // dampings to try at most
  velko::r8 tolerance = 0.02;           // of the gradient at the end, against the pull of the noise
  bool resume = false;
};

/// Fills `into`. An exit status comes back when the program is to end at once: 0 after --help, which prints to the
/// standard output, another one after an error, which is told on the standard error stream.
std::optional<int> parse_command_line(int argc, const char* const* argv, command_line& into);

}  // namespace recover
