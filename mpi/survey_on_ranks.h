/// The survey on all ranks: rank 0 reads it, the others get it.
#pragma once

#include "mpi/ranks.h"

namespace velko {

/// The shared survey of every rank becomes that of rank 0.
void broadcast_survey(const ranks& all);

}  // namespace velko
