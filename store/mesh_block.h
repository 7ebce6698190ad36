/// Mesh and surface records of the sensitivity file.
///
/// What     read_mesh_block fills the mesh, read_itop its surface; each takes one record of the open file
/// Shapes   ynode(ny + 1), xnode(nx + 1), znode(nz + 1) downward from the top, ztop; itop(ny, nx), y fastest
/// Errors   false when the record could not be read: the caller reports. No content is tested: a decreasing znode
///          gives negative widths
#pragma once

#include "arrays/numbers.h"
#include "store/record_reader.h"

namespace velko {

/// Stores the counts; with no file that is all. Otherwise reads the edges and forms the widths from them.
bool read_mesh_block(record_reader* in, i4 ny, i4 nx, i4 nz);

/// Forms the widths of the mesh from its edges.
void set_widths();

bool read_itop(record_reader& in, i4 ny, i4 nx);

}  // namespace velko
