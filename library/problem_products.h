/// The products of a problem, for callers from outside: one call each, vectors in and out.
///
/// What     forward d = G m, adjoint m = G' d, normal y = G' G x as GPROD, GTPROD and GTGPROD form them; predicted_data is
///          what velkrund writes: G on a susceptibility times wtz
/// Shapes   models have ncell elements, one for each active cell; data have ndata
/// Errors   call_failed (library/call.h): "the problem holds no G", "the survey holds no data", "ndata /= # of rows",
///          "size(m) /= ncell", "size(d) /= ndata", "# of cells below the surface /= size(wtz)"; those of products/products.h
/// Threads  the rows on all threads of the run-time. Bits as products/products.h says
#pragma once

#include <span>
#include <vector>

#include "arrays/numbers.h"
#include "store/problem.h"

namespace velko {

std::vector<r8> forward(problem& p, std::span<const r8> m);
std::vector<r8> adjoint(problem& p, std::span<const r8> d);
std::vector<r8> normal(problem& p, std::span<const r8> x);

std::vector<r8> predicted_data(problem& p, std::span<const r8> susceptibility);

}  // namespace velko
