/// getpar: the loader of the sensitivity file.
///
/// What     reads the file from the first record to the last and leaves everything in `mesh` and `store`; hands the
///          filter to SET_WTN_FILTER and sets the stack size of the worker threads. Returns with the whole store
///          filled, or the program ends inside it
/// Forms    compressed (nfilter >= 1): one sparse row for each datum in Gs; dense: Gfull, with a warning
/// Memory   the bytes of G and a small constant: rows are read to where they stay
/// Errors   file-not-found report "sensitivity"; "ERROR reading sensitivity file NAME"; allocation reports "getpar",
///          "getpar Gs", "getpar Gfull", "getpar gdiag". Contents are not tested here, except what would overrun
///          while loading: "nnz > ncube", "ncube beyond 32 bits"
/// Threads  the main thread, before the first parallel region
/// See      docs/formats/sensitivity_file.md
#pragma once

#include <string_view>

namespace velko {

void getpar(std::string_view file_name);

}  // namespace velko
