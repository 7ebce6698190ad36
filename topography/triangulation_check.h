/// The invariants of a triangulation, tested in full: for tests, fuzz targets, and whoever doubts a table.
///
/// What     both give back what does not hold, by the number of the invariant in triangulation.h, or nothing
/// Errors   none: any numbers in the tables will do
/// Speed    O(n log n), with work arrays of the size of the table
#pragma once

#include <string>

#include "arrays/array.h"
#include "arrays/numbers.h"

namespace velko {

/// Invariants (1) to (5), those of the table.
std::string check_table(i4 n, array1<const i4> adj_list, array1<const i4> adj_end);

/// All invariants. (6) and (7) are asked without rounding: a table made in floats may miss them by a rounding
/// error where nodes lie on one line, or four on one circle, but for rounding.
std::string check_triangulation(i4 n, array1<const r8> x, array1<const r8> y, array1<const i4> adj_list,
                                array1<const i4> adj_end);

}  // namespace velko
