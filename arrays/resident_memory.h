/// Resident memory: what this process has of the machine's memory, as the system counts it.
///
/// Units    bytes, in whole pages
/// Errors   0 where the system does not tell
/// Threads  any
#pragma once

#include "arrays/numbers.h"

namespace velko {

i8 resident_memory();

/// The most since the process began.
i8 most_resident_memory();

}  // namespace velko
