/// A small survey on disk, and velkrund run on it.
#pragma once

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "tests/support/run_program.h"
#include "tests/support/sensitivity_file.h"
#include "tests/support/temporary_folder.h"

namespace velko::test {

inline const std::string banner =
    "\nParallelized with OpenMP.  # of threads:  1\n"
    "\nVELKO - Version 5.0 :  VELKRUND\n"
    "\nMagnetic forward modelling in three dimensions\nThe VELKO developers\n\n";
inline const std::string dense_warning =
    "\nWARNING: no compression is used for the sensitivity matrix.\n"
    "The program will run longer and need a lot more memory.\n\n";

/// Two columns of two cells, three data. The Haar filter leaves dimensions this short as they are, so that the rows
/// act on the cells themselves.
inline sensitivity_file small_compressed() {
  return sensitivity_file(1, 2, 2).haar().row({{1, 1.0F}}).row({}).row({{2, 0.5F}, {4, -2.0F}});
}
inline sensitivity_file small_dense() {
  return sensitivity_file(1, 2, 2)
      .dense_row({1, 0, 0, 0})
      .dense_row({0, 0, 0, 0})
      .dense_row({0, 0.5F, 0, -2});
}

inline std::string locations(int n) {
  std::string text = "65 -12.5 54321\n90 0 1\n" + std::to_string(n) + "\n";
  for (int i = 1; i <= n; ++i) text += std::to_string(i) + " " + std::to_string(10 * i) + " 2.5\n";
  return text;
}

class ForwardRun : public testing::Test {
 protected:
  void SetUp() override {
    write(small_compressed());
    folder_.write("loc", locations(3));
    folder_.write("model.sus", "1\n2\n3\n4\n");
  }
  void write(const sensitivity_file& file) { folder_.write("velkosta.mtx", file.bytes()); }

  program_run velkrund(const std::vector<std::string>& arguments,
                       const std::string& settings = "OMP_NUM_THREADS=1") {
    return run_program(folder_, VELKRUND, arguments, settings);
  }
  program_run velkrund() { return velkrund({"velkosta.mtx", "loc", "model.sus"}); }

  /// The usual run fails with these words on the console behind the banner, and leaves no result.
  void expect_failure(const std::string& on_console, const std::string& on_error_stream = "") {
    expect_failure(velkrund(), on_console, on_error_stream);
  }
  void expect_failure(const program_run& run, const std::string& on_console,
                      const std::string& on_error_stream = "") {
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, banner + on_console);
    EXPECT_EQ(run.err, on_error_stream);
    EXPECT_FALSE(folder_.holds("velkrund.vlk"));
  }

  temporary_folder folder_;
};

}  // namespace velko::test
