/// The limit for a program that has to hold a file: reads it into fresh memory in huge pages, and ends.
/// Usage: read_and_keep FILE
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "arrays/memory.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const auto bytes = std::filesystem::file_size(argv[1]);
  auto* target = static_cast<char*>(velko::acquire_bytes(bytes, false));
  const int file = open(argv[1], O_RDONLY);
  std::size_t at = 0;
  for (ssize_t got = 1; got > 0 && at < bytes; at += static_cast<std::size_t>(got))
    got = read(file, target + at, bytes - at);
  std::printf("%d\n", target[bytes - 1]);
  return at == bytes ? 0 : 1;
}
