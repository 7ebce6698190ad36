/// Row scaling: G and the data in units of the data's standard deviations, as a least-squares inversion needs them.
///
/// What     row i of G, in either form, is divided by derr(i). The one writer of the store after its load
/// When     once, after loading and before any product. A second call divides again
/// Errors   the stop "size(derr) /= # of rows" where derr has not one element for each row of G; the read message of getpar
///          where the file under the rows has been changed
/// Threads  the rows are shared out; the result is the same for every number of threads
/// See      tests/products/row_scaling_test.cpp
#pragma once

#include <span>

#include "arrays/numbers.h"

namespace velko {

/// Each value of row i becomes its quotient by derr(i), formed in r8 and rounded to r4.
void scale_rows(std::span<const r8> derr);

}  // namespace velko
