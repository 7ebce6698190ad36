/// Whole file: how the subcommands write what they make.
#pragma once

#include <functional>
#include <string>

#include "files/output_file.h"
#include "velkmtx/progress.h"

namespace velko {

/// Has `write` fill the file of that name, which is replaced when it is whole. Gives the exit status: 0, or that of a signal
/// which came in between; `write` looks for one now and then. Nothing that comes once the file stands makes it a failure.
int write_whole_file(const std::string& name,
                     const std::function<void(output_file&, const interruption&)>& write);

/// What there is to tell of a file that stands. Where the standard output takes no words, that is told and is no failure.
void print_summary_of(const std::string& name, const std::string& lines);

}  // namespace velko
