#include "velkmtx/other_program.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace velko {

std::filesystem::path folder_of_programs() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

void become(const std::string& program, std::vector<std::string> words) {
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  execvp(program.c_str(), argv.data());
  throw std::system_error(errno, std::generic_category(), "cannot run " + program);
}

}  // namespace velko
