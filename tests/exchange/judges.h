/// GDAL's own programs, which make the inputs of these tests and judge what comes of them.
#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/velkmtx/companion.h"

namespace velko::test {

class exchange : public companion {
 protected:
  /// What a command of the shell prints in the test's folder.
  std::string shell(const std::string& command, const std::string& input = "") const {
    const temporary_folder streams;
    streams.write("in", input);
    const int ended =
        std::system(("cd " + quoted(folder.path()) + " && (" + command + ") <" + streams.path("in") + " >" +
                     streams.path("out") + " 2>" + streams.path("err"))
                        .c_str());
    EXPECT_EQ(ended, 0) << command << '\n' << streams.read("err");
    return streams.read("out");
  }

  static std::vector<double> numbers(const std::string& text) {
    std::istringstream in(text);
    return {std::istream_iterator<double>(in), {}};
  }

  /// The file without its first lines.
  std::string behind(int lines, const std::string& name) const {
    const std::string text = folder.read(name);
    std::size_t at = 0;
    while (lines-- > 0) at = text.find('\n', at) + 1;
    return text.substr(at);
  }
};

}  // namespace velko::test
