/// The OpenMP run-time of a program: made to stand whatever environment the program is started in.
///
/// What     prepare_run_time comes first in main. What the run-time would end the process for is mended:
///          OMP_NUM_THREADS  blank counts as not set; more threads than most_threads() count as so many; what is no number is
///                           told on the standard error stream and not used. Of a list the first number counts
///          KMP_*, GOMP_*    settings of this run-time alone are not used, but those of placing and waiting: KMP_AFFINITY,
///                           KMP_BLOCKTIME, KMP_HW_SUBSET, KMP_LIBRARY, KMP_SETTINGS, KMP_VERSION, KMP_WARNINGS. Beside
///                           OMP_PLACES or OMP_PROC_BIND, KMP_AFFINITY is not used either
///          numbers          of ten digits and more, in any of its settings: these are not used
///          OMP_DISPLAY_AFFINITY, OMP_TOOL_VERBOSE_INIT  are not used: what they ask for goes to the standard output, among
///                           the program's own words; KMP_AFFINITY=verbose tells the same on the standard error stream
///          /dev/shm         the run-time enters itself in a file there, to find others in its process, and dies where the
///                           file can't be made or holds something else. Programs that call this have no such file
/// For      programs alone. A library leaves the environment of its process as it is; team_size (threads/team.h) is what it
///          does for itself
#pragma once

namespace velko {

/// A team of more threads than this, or than the machine has processors, is taken for a slip.
int most_threads();

void prepare_run_time();

}  // namespace velko
