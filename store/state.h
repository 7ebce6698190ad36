/// The shared state of a run: plain structs, one global instance each, filled once and then only read.
///
/// Order    model order walks y outermost, then x, then z from the top of the mesh down; surface order is model
///          order without the cells above the surface; the cube is walked like the mesh
/// Letters  i along y, j along x, k down a column
/// Start    every count 0, every array empty; reset_state() brings all of it back there
/// Several  store/problem.h puts a problem of its own in the place of all this, and takes it out again
/// Threads  written by the main thread before the products run; shared read-only inside them
#pragma once

#include <string>

#include "arrays/array.h"
#include "arrays/numbers.h"
#include "store/dense_matrix.h"
#include "store/mapped_file.h"
#include "store/row_memory.h"

namespace velko {

/// The mesh and its surface, filled by getpar (or, in a sibling program, by read_mesh_file).
struct mesh_state {
  i4 ny = 0, nx = 0, nz = 0;  // cell counts; y is outermost in model order
  owned_array1<r8> ynode;     // (ny + 1) cell edges along y
  owned_array1<r8> xnode;     // (nx + 1) cell edges along x
  owned_array1<r8> znode;     // (nz + 1) cell edges downward from the top of the mesh
  owned_array1<r8> dy;        // (ny) cell widths along y
  owned_array1<r8> dx;        // (nx) cell widths along x
  owned_array1<r8> dz;        // (nz) cell widths along z
  r8 ztop = 0;                // elevation of the top of the mesh
  owned_array2<i4> itop;      // (ny, nx) number of cells of the column above the surface
};
inline mesh_state mesh;

/// One datum's row of G in the wavelet domain. (1) val and idx have the same length, the row's only count; it
/// may be 0. (2) 1 <= idx(k) <= ncube, one-based flat positions in the cube; each product tests them as it goes.
/// Written by getpar; after that only scale_rows changes val. The elements lie in Gs_file, where the file allows it,
/// otherwise in Gs_memory.
struct sparse_row {
  array1<r4> val;
  array1<i4> idx;
};

/// The sensitivity matrix in one of its two forms, filled by getpar.
struct store_state {
  i4 ndata_mtx = 0;                          // rows of G
  i4 ncol = 0;                               // columns of G: cells below the surface when G was built
  i4 nfilter = 0;                            // length of the stored filter; below 1 means that G is dense
  owned_array1<r8> wfilter;                  // (nfilter) the stored filter
  bool compressed = false;                   // nfilter >= 1
  i4 ncube_y = 0, ncube_x = 0, ncube_z = 0;  // the cube; ncube_z is fastest
  i4 ncube = 0;                              // their product in 32 bits
  i4 wtz_kind = 0;                           // kept, not used
  owned_array1<r8> wtz;                      // (ncol) weight of each cell below the surface, surface order
  owned_array1<r8> gdiag;                    // (ncol) last vector of the file; kept, not used
  std::string file_name;                     // of the sensitivity file, for reports
  mapped_file Gs_file;                       // the file, where rows of G stand in it
  bool Gs_used = false;                      // something was made of them
  i4 Gs_renewals = 0;                        // how often they were taken again before that
  row_memory Gs_memory;                      // holds the rows of Gs that were copied
  owned_array1<sparse_row> Gs;               // (ndata_mtx) compressed G; empty when dense
  // (ncol, ndata_mtx) dense G: the row of one datum is a column, in surface order; empty when compressed. It lies in
  // Gs_file, where the file allows it.
  dense_matrix Gfull;
};
inline store_state store;

/// The survey, filled by read_data_file. Angles in degrees, geomag in nT, positions in metres, unless the
/// user's files choose other units: the values pass through as they stand.
struct survey_state {
  r8 incl = 0, decl = 0, geomag = 0;  // inducing field
  r8 aincl = 0, adecl = 0;  // direction of the measured component, common to all data when idir is 1
  i4 idir = 0;              // 0: each datum has a direction of its own
  i4 ndata = 0;             // number of data
  owned_array1<r8> xobs, yobs, zobs;      // (ndata) positions
  owned_array1<r8> aincl_obs, adecl_obs;  // (ndata) directions; empty unless idir is 0
  owned_array1<r8> dobs;                  // (ndata) observed value / standard deviation; empty unless read
  owned_array1<r8> derr;                  // (ndata) standard deviation, above 0; empty unless read
};
inline survey_state survey;

/// Which cells are model parameters, filled by get_active_cells. ntotal = ncell + ninactive + ninactive_inf.
struct cell_state {
  owned_array3<i4> cell_map;  // (nz, nx, ny) > 0: position in amodel; 0: inactive; < 0: negated position in
                              // inactive_inf_values
  i4 ntotal = 0;              // cells of the mesh
  i4 nbelow = 0;              // cells below the surface
  i4 ncell = 0;               // active cells
  i4 ninactive = 0;           // cells with cell_map 0
  i4 ninactive_inf = 0;       // cells with a negative cell_map
  owned_array1<r8> inactive_values;      // (ninactive) fixed values of the cells with cell_map 0, model order
  owned_array1<r8> inactive_inf_values;  // (ninactive_inf) fixed values of the cells with a negative cell_map
};
inline cell_state cells;

/// What the forward run works on.
struct run_state {
  owned_array1<r8> dpred;   // (ndata) predicted data
  owned_array1<r8> amodel;  // (ncell) the active model, weighted by wtz
};
inline run_state run;

/// Brings all shared state of the library, that of WTN_MOD too, back to its start and frees its memory.
void reset_state();

}  // namespace velko
