/// Memory limit: how many bytes this process can have at most, whoever sets the bound.
///
/// What     the least of the machine's memory, the limits of the process (RLIMIT_AS, RLIMIT_DATA), and those of its
///          control group and of all groups around it (memory.max, or memory.limit_in_bytes of the first version)
/// Why      who takes more is not told so when it asks: it is killed, without a word, when it touches the memory
/// Threads  any
#pragma once

#include <string>

#include "arrays/numbers.h"

namespace velko {

/// Physical memory of this machine, in bytes.
i8 machine_memory();

/// The least limit of the control groups that this process is in; the greatest number where there is none, or none that
/// can be read. `root` stands before every path that is looked at.
i8 control_group_limit(const std::string& root = "");

/// Machine and control groups are looked at once, the limits of the process at each call: it can change them.
i8 memory_limit();

}  // namespace velko
