/// What the tests of the text readers share: a file of its own for each test, and what a reader said of it.
#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <string_view>

#include "reports/told_end.h"
#include "store/state.h"
#include "tests/support/fresh_problem.h"
#include "tests/support/temporary_folder.h"

namespace velko::test {

/// How a reader ended, and what it wrote to both channels.
struct outcome : told_end {};

inline outcome outcome_of(const std::function<void()>& body) {
  return {run_and_tell(body)};
}

/// Said nothing and came back.
MATCHER(Silent, "") {
  return arg.end == stop_or_done{} && arg.console.empty() && arg.log.empty();
}

/// Came back, with this text in the log alone.
MATCHER_P(Logs, text, "") {
  return arg.end == stop_or_done{} && arg.console.empty() && arg.log == text;
}

/// Wrote this to the console and the same to the log, and stopped without a text.
MATCHER_P(StopsAfter, text, "") {
  return arg.end == (stop_or_done{stop_or_done::stopped, ""}) && arg.console == text && arg.log == text;
}

/// Wrote nothing to the console and stopped with this text.
MATCHER_P(StopsWithText, text, "") {
  return arg.end == (stop_or_done{stop_or_done::stopped, text}) && arg.console.empty();
}

inline void PrintTo(const outcome& o, std::ostream* out) {
  constexpr const char* kinds[] = {"done", "stopped", "failed"};
  *out << kinds[o.end.kind] << " with text \"" << o.end.text << "\"\nconsole: \"" << o.console
       << "\"\nlog: \"" << o.log << '"';
}

class text_reader : public testing::Test {
 protected:
  /// Writes the file and gives its name.
  std::string file(std::string_view bytes) { return folder_.write("input.txt", bytes); }

  fresh_problem problem_;
  temporary_folder folder_;
  std::string name_ = folder_.path("input.txt");
};

/// The same on a mesh of ny x nx x nz cells without air.
class mesh_text_reader : public text_reader {
 protected:
  static void set_mesh(i4 ny, i4 nx, i4 nz) {
    mesh.ny = ny;
    mesh.nx = nx;
    mesh.nz = nz;
    mesh.itop = owned_array2<i4>(ny, nx);
  }
};

/// A file whose every read the system refuses with an input/output error.
inline const std::string unreadable_file = "/proc/self/mem";

}  // namespace velko::test
