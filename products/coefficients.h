/// Models and their transform coefficients: what stands before and behind the row loops of a compressed G.
///
/// What     model_to_coefficients  cube = W P m, P = MODEL_TO_CUBE with zero fill, W = WTN forward
///          coefficients_to_model  m = P' W' cube, W' = WTN inverse, P' = CUBE_TO_MODEL
/// Shapes   a cube has ncube elements
/// Errors   the stops of the mappings; "size(m) < ncell" where the active cells do not fit the model
/// Threads  one model goes on the calling thread, several go on all
/// Memory   none but the transform's, for each thread: wavelet/transform_memory.h
/// See      products/products.cpp, products/model_block.cpp
#pragma once

#include <array>
#include <span>

#include "arrays/array.h"
#include "arrays/numbers.h"

namespace velko {

/// The cube's dimensions, fastest first.
std::array<i4, 3> cube_shape();

/// An uninitialised cube.
owned_array1<r8> new_cube();

void model_to_coefficients(std::span<const r8> m, std::span<r8> cube);

/// Elements of m that belong to no active cell keep what they held. cube is left transformed back.
void coefficients_to_model(std::span<r8> cube, std::span<r8> m);

/// The same for several models, m(:, l), and `width` cubes that lie interleaved: element i of cube l stands at width i + l, both
/// from 0. There may be more cubes than models: they are set to zero. Each model has the bits that it has alone.
void models_to_coefficients(array2<const r8> m, i8 width, std::span<r8> cubes);
void coefficients_to_models(i8 width, std::span<r8> cubes, array2<r8> m);

}  // namespace velko
