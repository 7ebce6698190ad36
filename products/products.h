/// The products with G, in either form of G.
///
/// What     compressed: d = Gs (W P m), P = MODEL_TO_CUBE with zero fill and W = WTN forward; the model is
///          transformed once, not once per datum, and no inverse transform takes place.
///          dense: d = Gfull m, with m compacted to the cells below the surface where it is a full mesh
/// Scale    none: neither wtz nor gdiag enters; the model comes weighted by wtz
/// Asks     the store loaded, the filter set where G is compressed, get_active_cells done, ndata set
/// Threads  mapping and transform run on the calling thread, the rows on all; same bits for every number of them
/// See      products/sparse_rows.h, products/full_rows.h, products/model_mapping.h, wavelet/wtn_mod.h
#pragma once

#include <span>

#include "arrays/numbers.h"

namespace velko {

/// Predicted data d = G m; d has an element for each row of G and is overwritten.
///
/// Lengths of m  compressed: ncell (active) or ntotal (full mesh), else the stop "size(x) /= # of cells".
///               dense: ncol (taken as it is; tested first), or nz * nx * ny (full mesh, compacted; stops with
///               "idx1 /= size(amodel)" unless that gives ncol values), else the stop "problem in gprod"
/// Errors        the allocation report "gprod" for the cube; the stop "idx outside the cube" where a row of a
///               file points there
void GPROD(std::span<const r8> m, std::span<r8> d);

}  // namespace velko
