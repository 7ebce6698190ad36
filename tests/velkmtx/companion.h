/// velkmtx run in a folder of the test's own, with what its subcommands' tests ask of every run.
#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/run_program.h"
#include "tests/support/temporary_folder.h"

namespace velko::test {

class companion : public testing::Test {
 protected:
  /// Words are separated by blanks; the quotes of a shell group them.
  program_run velkmtx(const std::string& arguments) const {
    const temporary_folder streams;
    const std::string command = "cd " + quoted(folder.path()) + " && " VELKMTX " " + arguments + " >" +
                                streams.path("out") + " 2>" + streams.path("err") + " </dev/null";
    const int ended = std::system(command.c_str());
    return {WIFEXITED(ended) ? WEXITSTATUS(ended) : -1, streams.read("out"), streams.read("err")};
  }

  std::string output_of(const std::string& arguments) const {
    const program_run run = velkmtx(arguments);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    return run.out;
  }

  /// The run ends with the status and says one line, on the standard error stream; nothing is made.
  void expect_error(const std::string& arguments, int status, const std::string& words) const {
    const auto files_before = files();
    const program_run run = velkmtx(arguments);
    EXPECT_EQ(run.status, status) << arguments;
    EXPECT_EQ(run.out, "") << arguments;
    EXPECT_THAT(run.err, testing::HasSubstr(words)) << arguments;
    EXPECT_THAT(run.err, testing::StartsWith("velkmtx")) << arguments;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    EXPECT_EQ(files(), files_before) << arguments;
  }

  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
      names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }

  temporary_folder folder;
};

}  // namespace velko::test
