/// Opening of input files, for all readers alike.
#pragma once

#include <string_view>

namespace velko {

/// A descriptor of an existing file, to be read from start to end; its name is used up to the last non-blank. Below 0 if
/// that fails for any reason, a directory included.
int open_input_file(std::string_view file_name);

}  // namespace velko
