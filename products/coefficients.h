/// Models and their transform coefficients: what stands before and behind the row loops of a compressed G.
///
/// What     model_to_coefficients  cube = W P m, P = MODEL_TO_CUBE with zero fill, W = WTN forward
///          coefficients_to_model  m = P' W' cube, W' = WTN inverse, P' = CUBE_TO_MODEL
/// Shapes   a cube has ncube elements
/// Errors   the stops of the mappings; "size(m) < ncell" where the active cells do not fit the model
/// Threads  both run on the calling thread
/// See      products/products.cpp, products/model_block.cpp
#pragma once

#include <span>

#include "arrays/array.h"
#include "arrays/numbers.h"

namespace velko {

/// An uninitialised cube.
owned_array1<r8> new_cube();

void model_to_coefficients(std::span<const r8> m, std::span<r8> cube);

/// Elements of m that belong to no active cell keep what they held. cube is left transformed back.
void coefficients_to_model(std::span<r8> cube, std::span<r8> m);

}  // namespace velko
