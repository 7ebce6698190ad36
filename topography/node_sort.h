/// Node sort: an ascending order of keys as an index, and the permutation of arrays by such an index.
///
/// What     quicksort on the index vector; only ind moves while sorting, keys are read through it. The order
///          of equal keys is one of many, and always the same one: the pivots are picked by a fixed sequence,
///          not by the data
/// Shapes   a, b, c, v (n) at least; ind (n) at least, one-based positions
/// Errors   none. n below 1 sets nothing. Keys that are not numbers end up somewhere: ind is a permutation
///          all the same
/// Threads  serial; works on its arguments only
/// Sources  R. Singleton, "An efficient algorithm for sorting with minimal storage", CACM 12 (1969) 185-187
///          (Algorithm 347), doi 10.1145/362875.362901
/// See      tests/topography/node_sort_test.cpp
#pragma once

#include "arrays/array.h"
#include "arrays/numbers.h"

namespace velko {

/// Sorts a into ascending order and carries arrays along: nvec below 1 moves none, not even a, so that only
/// ind is set; 1 moves a; 2 a and b; 3 or more a, b and c. ind(i) is the old position of the element now at
/// i. Arrays that are not moved may be empty.
void reorder_nodes(i4 n, i4 nvec, array1<r8> a, array1<r8> b, array1<r8> c, array1<i4> ind);

/// Fills ind so that a(ind(1)) <= a(ind(2)) <= ... <= a(ind(n)).
void sort_index(i4 n, array1<const r8> a, array1<i4> ind);

/// Replaces v by v(ind(1)), v(ind(2)), ..., v(ind(n)) without a second array. ind must be a permutation; its
/// signs mark the visited places meanwhile, and it has its old values again on return.
void permute_by_index(i4 n, array1<i4> ind, array1<r8> v);

}  // namespace velko
