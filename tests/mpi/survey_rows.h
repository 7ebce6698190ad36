/// Sensitivity files with enough rows to share out.
#pragma once

#include <random>
#include <vector>

#include "tests/support/sensitivity_file.h"

namespace velko::test {

/// Rows of uneven lengths over a mesh of 6 x 5 x 4 in a cube of 8 x 8 x 4.
inline sensitivity_file many_rows(int rows) {
  std::mt19937 generator(5);
  sensitivity_file file(6, 5, 4);
  file.haar().cube(8, 8, 4);
  for (int i = 0; i < rows; ++i) {
    std::vector<entry> entries;
    for (i4 idx = 1; idx <= 256; ++idx)
      if (generator() % 256 < static_cast<unsigned>(i * 37 % 200))
        entries.push_back({idx, static_cast<r4>(generator()) / 4e9F});
    file.row(entries);
  }
  return file;
}

inline sensitivity_file many_dense_rows(int rows) {
  std::mt19937 generator(6);
  sensitivity_file file(6, 5, 4);
  for (int i = 0; i < rows; ++i) {
    std::vector<r4> row(120);
    for (r4& g : row) g = static_cast<r4>(generator()) / 4e9F;
    file.dense_row(row);
  }
  return file;
}

}  // namespace velko::test
