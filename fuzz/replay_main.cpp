/// Replays inputs through a fuzz target: each argument is a file, or a folder of files.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t n);

namespace {

int replayed = 0;

void replay_file(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(in), {}};
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  ++replayed;
}

void replay(const std::filesystem::path& path) {
  if (!std::filesystem::is_directory(path)) return replay_file(path);
  for (const auto& entry : std::filesystem::directory_iterator(path)) replay_file(entry.path());
}

}  // namespace

int main(int argc, char** argv) {
  for (int k = 1; k < argc; ++k) replay(argv[k]);
  std::printf("%d inputs replayed\n", replayed);
  return replayed > 0 ? 0 : 1;
}
