/// Command line of velkmtx.
#pragma once

#include <optional>
#include <string>

#include "builder/sensitivity_builder.h"

namespace velko {

struct command_line {
  std::string mesh_file, location_file, output_file;
  matrix_form form;
  int threads = 0;  // 0: what OpenMP gives
};

/// Fills `into`. An exit status comes back when the program is to end at once: 0 after --help and --version, which
/// print to the standard output, another one after an error, which is told on the standard error stream.
std::optional<int> parse_command_line(int argc, const char* const* argv, command_line& into);

}  // namespace velko
