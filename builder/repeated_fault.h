/// Faults of one kind, of which the first speaks for all.
#pragma once

#include <fmt/format.h>

#include <string>
#include <utility>
#include <vector>

#include "arrays/numbers.h"

namespace velko {

struct repeated_fault {
  std::string first;
  i8 count = 0;

  template <class... values>
  void note(fmt::format_string<values...> words, values&&... v) {
    if (count++ == 0) first = fmt::format(words, std::forward<values>(v)...);
  }
  /// Adds no line, or one.
  void tell(std::vector<std::string>& lines) const {
    if (count == 1) lines.push_back(first);
    if (count > 1) lines.push_back(fmt::format("{}; {} more like it", first, count - 1));
  }
};

}  // namespace velko
