/// The team of a parallel loop: how many threads can be had, and with which stacks.
///
/// Why      when the system refuses a thread or a stack, the OpenMP run-time ends the process by a signal. So threads are
///          tried before the run-time asks for them, as many and with stacks as large, all at a time, and the team is
///          started at once. A limit on processes, on the address space or of a control group then makes teams smaller
/// Bits     those of the products and the transform do not depend on the size of the team
/// Threads  each thread that starts parallel loops has a team of its own
#pragma once

#include "arrays/numbers.h"

namespace velko {

/// Threads for the next parallel region, for its num_threads clause: omp_get_max_threads() of them, or as many as can be
/// had. Trying takes some ten microseconds for each thread, once. Signals from outside go to the threads that were there
/// before.
int team_size();

/// Stacks for the workers of this process, in bytes; without effect below 1, and once the first team has started. The whole
/// team gets no more than a quarter of the memory limit (arrays/memory_limit.h), and less where that can't be had: sums live on
/// the heap, so any stack will do.
void set_worker_stack(i8 bytes);

}  // namespace velko
