/// What the tests of the data file share: both its forms, and the words of its messages.
#pragma once

#include <string>
#include <string_view>

#include "files/data_file.h"
#include "tests/files/reader_fixture.h"

namespace velko::test {

class data_file_reader : public text_reader {
 protected:
  outcome read_with(void (&reader)(std::string_view, bool), std::string_view text, bool read_values) {
    return outcome_of([&, name = file(text) + "  "] { reader(name, read_values); });
  }

  std::string reading_error(std::string_view line) const {
    return "\nERROR reading data file " + name_ + "\n" + std::string(line) + "\n";
  }
  std::string end_error() const { return "\nERROR: end reached when reading data file " + name_ + "\n"; }
};

}  // namespace velko::test
