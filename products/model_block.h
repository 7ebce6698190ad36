/// Products of a block of models: ensembles, several right-hand sides, randomised methods.
///
/// What     GPROD, GTPROD and GTGPROD for each model of a block, with one pass over G for several of them. A product that
///          waits for G to come from memory takes little longer for four models than for one
/// Shapes   models, and data, stand one behind another: m(:, l), d(:, l) are those of model l. In C order that is
///          (models, elements). The lengths of a model mean what they mean in products/products.h, the same for the block
/// Bits     each model has those that it has alone
/// Memory   compressed: the cubes of a pass lie interleaved, one for each model, two for GTGPROD; for 3, 5, 6 and 7 models those of
///          4 and 8. work_bytes tells. How many go in one pass is chosen here; where the system refuses the memory of a
///          pass, narrower ones are taken, down to one model at a time. Fresh memory is a good part of a product's time: a
///          block_work that the caller keeps serves all its calls
/// Errors   "size(m) /= size(d)" where the block has not as many models as data, "size(x) /= size(y)" likewise; those of
///          products/products.h for a single model
/// Threads  mapping, transform and rows of several models go on all threads. One product at a time
/// See      products/products.h; benchmarks/README.md, "products"
#pragma once

#include "arrays/array.h"
#include "arrays/numbers.h"

namespace velko {

/// d(:, l) = G m(:, l).
void GPROD_BLOCK(array2<const r8> m, array2<r8> d);

/// m(:, l) = G' d(:, l).
void GTPROD_BLOCK(array2<r8> m, array2<const r8> d);

/// y(:, l) = G' G x(:, l). x and y are two blocks.
void GTGPROD_BLOCK(array2<const r8> x, array2<r8> y);

/// What GPROD_BLOCK or GTPROD_BLOCK, or GTGPROD_BLOCK, of so many models asks for at most, in bytes, beside models and data, with
/// the G at hand; with what the threads of the transform keep.
struct block_memory {
  i8 single_products, normal_product;
};
block_memory work_bytes(i8 models);

/// The memory of block products with a compressed G. Empty at first, it grows with what a call needs, and holds it for the next, with
/// this G or another; where a call goes on with one model, or was refused memory, it is empty afterwards.
struct block_work {
  owned_array1<r8> cubes, cubesout, data;
};
void GPROD_BLOCK(array2<const r8> m, array2<r8> d, block_work& work);
void GTPROD_BLOCK(array2<r8> m, array2<const r8> d, block_work& work);
void GTGPROD_BLOCK(array2<const r8> x, array2<r8> y, block_work& work);

}  // namespace velko
