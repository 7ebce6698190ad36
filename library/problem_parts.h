/// Problems from memory, and from files: consistent, or refused.
///
/// What     make_problem copies a mesh, a surface, G in one of its forms, and, where they are given, weights and the survey's
///          positions into a problem; load_problem reads a sensitivity file and a location file. In both all cells below
///          the surface are active
/// Shapes   as in docs/notation.md. An empty span stands for what its comment says
/// Errors   call_failed (library/call.h). Of make_problem, with the names of what does not fit: "xnode does not ascend",
///          "ny x nx x nz beyond 32 bits", "size(itop) /= ny x nx", "itop outside 0..nz", "size(wtz) /= ncol",
///          "size(gdiag) /= ncol", "a dense G and sparse rows", "size(Gfull) /= ncol x ndata", "size(wfilter) < 1",
///          "ncube is no power of two", "the cube is smaller than the mesh", "ncube beyond 32 bits", "row_start does not fit
///          the rows", "size(val) /= size(idx)", "idx outside the cube", "size(xobs) /= ndata"; "ERROR: all cells are
///          inactive." where no cell is below the surface
/// See      examples/predict_from_memory.cpp
#pragma once

#include <array>
#include <span>
#include <string_view>

#include "arrays/numbers.h"
#include "store/problem.h"

namespace velko {

/// Rows of a compressed G, one behind another. Row i, from 0, has the elements row_start[i] to row_start[i + 1] - 1.
struct sparse_parts {
  std::span<const r8> wfilter;    // the filter that G was transformed with
  std::array<i4, 3> ncube{};      // ncube_y, ncube_x, ncube_z; 0: the least power of two that holds the mesh
  std::span<const i8> row_start;  // (ndata + 1)
  std::span<const i4> idx;        // positions in the transformed cube, from 1, ncube_z fastest
  std::span<const r4> val;        // as many
};

struct problem_parts {
  std::span<const r8> ynode, xnode;  // (ny + 1), (nx + 1) edges, ascending
  std::span<const r8> znode;         // (nz + 1) depths of edges below ztop, ascending
  r8 ztop = 0;                       // elevation of the top of the mesh
  std::span<const i4> itop;          // (ny, nx), y fastest; empty: no cell is above the surface
  std::span<const r8> wtz;           // (ncol); empty: 1
  std::span<const r8> gdiag;         // (ncol); empty: 0
  i4 ndata = 0;
  std::span<const r4> Gfull;             // (ncol, ndata) a dense G, row behind row, in surface order
  sparse_parts Gs;                       // or a compressed one
  std::span<const r8> xobs, yobs, zobs;  // (ndata) positions; empty: 0
};

problem make_problem(const problem_parts& parts);

/// Without a location file the survey is empty: it takes no products, until the caller fills it.
problem load_problem(std::string_view sensitivity_file, std::string_view location_file = {});

}  // namespace velko
