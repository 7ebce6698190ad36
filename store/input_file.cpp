#include "store/input_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "text/number_layout.h"

namespace velko {

namespace {

bool is_directory(int file) {
  struct stat status {};
  return fstat(file, &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

int open_input_file(std::string_view file_name) {
  const std::string name(without_trailing_blanks(file_name));
  const int file = open(name.c_str(), O_RDONLY | O_CLOEXEC);
  if (file >= 0 && is_directory(file)) {
    close(file);
    return -1;
  }
  posix_fadvise(file, 0, 0, POSIX_FADV_SEQUENTIAL);  // advice: a refusal costs speed only
  return file;
}

}  // namespace velko
