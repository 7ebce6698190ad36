/// getpar: the loader of the sensitivity file.
///
/// What     reads the file from the first record to the last and leaves everything in `mesh` and `store`; hands the
///          filter to SET_WTN_FILTER and sets the stack size of the worker threads. Returns with the whole store
///          filled, or the program ends inside it
/// Forms    compressed (nfilter >= 1): one sparse row for each datum in Gs; dense: Gfull, with a warning
/// Memory   the bytes of G and a small constant. Sparse rows stand where the file lies in memory, so that they cost
///          no copy (docs/rows_in_place.md); where it can't be mapped, or a row is in segments or not aligned, they
///          are read to where they stay, like dense rows
/// Errors   file-not-found report "sensitivity"; "ERROR reading sensitivity file NAME"; allocation reports "getpar",
///          "getpar Gs", "getpar Gfull", "getpar gdiag". Contents are not tested here, except what would overrun
///          while loading: "nnz > ncube", "ncube beyond 32 bits"
/// Threads  the main thread, before the first parallel region
/// See      docs/formats/sensitivity_file.md
#pragma once

#include <string_view>

namespace velko {

void getpar(std::string_view file_name);

/// Ends the program with the read message of getpar if the file under the rows is no longer what was loaded: cut short,
/// written to, or not readable any more. Every product asks after its pass over the rows and before its result is used.
void check_rows_in_place();

}  // namespace velko
