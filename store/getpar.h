/// getpar: the loader of the sensitivity file.
///
/// What     reads the file from the first record to the last and leaves everything in `mesh` and `store`; hands the
///          filter to SET_WTN_FILTER and sets the stack size of the worker threads. Returns with the whole store
///          filled, or the program ends inside it
/// Forms    compressed (nfilter >= 1): one sparse row for each datum in Gs; dense: Gfull, with a warning
/// Memory   the bytes of G and a small constant. Rows stand where the file lies in memory, so that they cost no copy
///          (docs/rows_in_place.md); where it can't be mapped, or a row is in segments or not aligned, they are read to
///          where they stay: sparse ones each, dense ones all or none
/// Changes  a file that is touched or written to while it is read is read again, three times in all; then it counts as one
///          that can't be read
/// Errors   file-not-found report "sensitivity"; "ERROR reading sensitivity file NAME"; allocation reports "getpar",
///          "getpar Gs", "getpar Gfull", "getpar gdiag". Contents are not tested here, except what would overrun
///          while loading: "nnz > ncube", "ncube beyond 32 bits"
/// Threads  the main thread, before the first parallel region
/// See      docs/formats/sensitivity_file.md
#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "arrays/numbers.h"

namespace velko {

void getpar(std::string_view file_name);

/// Fills `mesh` alone, with its surface; no more of the file is read.
void read_mesh_of_sensitivity_file(std::string_view file_name);

// The load in steps, for programs whose processes hold a part of the rows each. Errors and words are those of getpar.

/// All in front of the rows. Gives where in the file their first record begins.
i8 load_head(std::string_view file_name);

/// Behind load_head: where the record of each row begins, and where that of the last ends, found from length word to length
/// word. What the rows hold is not read. "nnz > ncube" as getpar.
std::vector<i8> find_rows(i8 begin);

/// Behind load_head: the rows whose records begin at `begin[0]`, begin[1], ... become the only ones of Gs, or Gfull, and the
/// diagonal, whose record begins at `diagonal`, is read. The last of `begin` is where the last of these rows ends. No other part of the file is
/// read or mapped. ndata_mtx stays that of the file. Rows loaded so are not taken again from a file that was touched.
void load_rows(std::span<const i8> begin, i8 diagonal);

// Rows that stand in the sensitivity file change when somebody writes there (docs/rows_in_place.md). Every product asks before
// its pass over the rows, and after it before its result is used.

/// Before a product: rows of a file that was touched or written to since the load are taken from it again, as long as nothing
/// was made of the old ones and all the rest of the file is what was loaded.
void prepare_rows();

/// After a product: true if the file was touched or written to and its rows were taken again, as prepare_rows does. The product
/// is then to be formed again. Otherwise as check_rows_in_place.
bool rows_renewed();

/// After a product: ends the program with the read message of getpar if the file under the rows is no longer what was loaded:
/// cut short, written to, or not readable any more. From the second product on a checksum of the file tells whether it was only
/// touched.
void check_rows_in_place();

}  // namespace velko
