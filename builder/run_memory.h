/// Run memory: what a forward run takes for a sensitivity file, told from what the file holds.
///
/// What     the sum of the arrays that velkrund fills. G is read where the file lies in memory, and counts for nothing
/// Units    bytes; a real number, since counts of a hostile file add up to more than 64 bits hold
/// See      tests/velkmtx/info_command_test.cpp, which measures a run
#pragma once

#include "arrays/numbers.h"
#include "builder/sensitivity_scan.h"

namespace velko {

r8 bytes_of_a_run(const sensitivity_contents& c);

}  // namespace velko
