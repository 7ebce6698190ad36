/// The products with G, with its transpose and with the two together, in either form of G.
///
/// What     compressed: GPROD d = Gs W P m, GTPROD m = P' W' Gs' d, GTGPROD y = P' W' Gs' Gs W P x, with P = MODEL_TO_CUBE
///          with zero fill, P' = CUBE_TO_MODEL, W = WTN forward and W' = WTN inverse. The transform is taken once per
///          product, not once per datum.
///          dense: the same with Gfull, and with the models on the cells below the surface
/// Scale    none: neither wtz nor gdiag enters; a model comes weighted by wtz
/// Adjoint  WTN's two directions are transposes of each other, so GTPROD is, on active models and up to rounding, the
///          transpose of GPROD, and GTGPROD the one behind the other
/// Asks     the store loaded, the filter set where G is compressed, get_active_cells done, ndata set
/// Errors   the allocation report with the name of the product, in lower case, for a work vector; memory_refused for one
///          of GTPROD's or GPROD's dense form. "idx outside the cube" where a row of a file points
///          there. The read message of getpar where the file under the rows has been changed
/// Threads  mapping and transform run on the calling thread, the rows on all
/// Bits     the same for every number of threads; GTGPROD gives those of GPROD and GTPROD, one after the other
/// Memory   the work vectors alone, whatever the number of threads: a cube, two for GTGPROD
/// See      products/model_block.h for several models at once, products/sparse_rows.h, products/full_rows.h, products/model_mapping.h, wavelet/wtn_mod.h
#pragma once

#include <span>

#include "arrays/numbers.h"

namespace velko {

/// Predicted data d = G m; d has an element for each row of G and is overwritten.
///
/// Lengths of m  compressed: ncell (active) or ntotal (full mesh), else the stop "size(x) /= # of cells".
///               dense: ncol (taken as it is; tested first), or nz * nx * ny (full mesh, compacted; stops with
///               "idx1 /= size(amodel)" unless that gives ncol values), else the stop "problem in gprod"
void GPROD(std::span<const r8> m, std::span<r8> d);

/// Model m = G' d; d has an element for each row of G. m is not cleared: elements that belong to no active cell keep
/// what they held, unless m is the compact vector.
///
/// Lengths of m  compressed: at least ncell (active), else the stop "size(m) < ncell".
///               dense: ncol (the compact vector; tested first), or ncell (active), else the stop "size(m2) /= ncell".
///               "idx1 /= size(m1)" where the cells below the surface are not ncol
void GTPROD(std::span<r8> m, std::span<const r8> d);

/// y = G' G x, in one pass over the rows of G, without a vector of data. y is written as the m of GTPROD is, and is
/// another vector than x.
///
/// Lengths of x  compressed: ncell (active) or ntotal (full mesh), else the stop "size(x) /= # of cells"; y is active in
///               both cases.
///               dense: ncol (the compact vector, and so is y; tested first), or ncell (active), else the stop
///               "size(m2) /= ncell", which tests y as well; "idx1 /= size(m1)" as in GTPROD
void GTGPROD(std::span<const r8> x, std::span<r8> y);

}  // namespace velko
