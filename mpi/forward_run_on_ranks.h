/// The forward run on the ranks of an MPI job: velkrund with its matrix spread over them.
///
/// What     the steps of velkrund (velkrund/forward_run.h), its words and the bytes of its velkrund.vlk. Rank 0 reads the text files,
///          tells the others what they held, speaks and writes
/// Errors   as velkrund, on all ranks alike; "ERROR: the ranks see different files: NAME"
/// See      mpi/spread_matrix.h
#pragma once

#include <span>
#include <string_view>

#include "mpi/ranks.h"

namespace velko {

/// `arguments` are those of the command line behind the program's name.
void velkrund(const ranks& all, std::span<const std::string_view> arguments);

}  // namespace velko
