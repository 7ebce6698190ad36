/// Runs a program in a folder as a shell would, and gives back what it said.
#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace velko::test {

struct program_run {
  int status = -1;  // exit status, or -1 after a signal
  std::string out, err;
};

inline std::string quoted(const std::string& word) {
  std::string text = "'";
  for (char c : word) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return text + "'";
}

/// `settings` stand in front of the program's name, such as "OMP_NUM_THREADS=3".
inline program_run run_program(const temporary_folder& folder, const std::string& program,
                               const std::vector<std::string>& arguments, const std::string& settings = "") {
  const temporary_folder streams;
  std::string command = "cd " + quoted(folder.path()) + " && env " + settings + " " + quoted(program);
  for (const std::string& argument : arguments) command.append(" ").append(quoted(argument));
  command += " >" + streams.path("out") + " 2>" + streams.path("err") + " </dev/null";
  const int ended = std::system(command.c_str());
  return {WIFEXITED(ended) ? WEXITSTATUS(ended) : -1, streams.read("out"), streams.read("err")};
}

}  // namespace velko::test
