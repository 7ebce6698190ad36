#include <velko/files/active_cells.h>
#include <velko/mpi/spread_matrix.h>
#include <velko/reports/channel.h>
#include <velko/reports/program_stop.h>
#include <velko/store/state.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <vector>

namespace {

using namespace velko;

void write_record(std::ofstream& file, const std::vector<char>& payload) {
  const auto length = static_cast<std::int32_t>(payload.size());
  file.write(reinterpret_cast<const char*>(&length), sizeof length);
  file.write(payload.data(), length);
  file.write(reinterpret_cast<const char*>(&length), sizeof length);
}

template <class... T>
std::vector<char> bytes(T... values) {
  std::vector<char> all;
  const auto add = [&](const auto& value) {
    const char* const from = reinterpret_cast<const char*>(&value);
    all.insert(all.end(), from, from + sizeof value);
  };
  (add(values), ...);
  return all;
}

/// Two cells, one above the other, and four data: a dense G whose row i is (i, -1).
void write_matrix(const char* name) {
  std::ofstream file(name, std::ios::binary);
  write_record(file, bytes(4, 2, 1, 1, 2));
  write_record(file, bytes(0.0, 1.0, 0.0, 1.0, 0.0, 1.0, 2.0, 0.0));
  write_record(file, bytes(0));
  write_record(file, bytes(0));
  write_record(file, bytes(1, 1, 2));
  write_record(file, bytes(1, 1.0, 1.0));
  for (int i = 1; i <= 4; ++i) write_record(file, bytes(static_cast<float>(i), -1.0F));
  write_record(file, bytes(1.0, 1.0));
}

bool are_right(const ranks& all, const char* name) {
  all.first_alone([&] { write_matrix(name); });
  spread_matrix G(all, name);
  all.together([] { get_active_cells("null", mesh.itop); });
  std::vector<r8> d(4), m(2);
  G.forward(std::vector<r8>{2, 3}, d);
  G.adjoint(m, d);
  return d == std::vector<r8>{-1, 1, 3, 5} && m == std::vector<r8>{30, -8};
}

}  // namespace

int main(int argc, char** argv) {
  const mpi_session mpi(argc, argv);
  const ranks all;
  bool right = false;
  if (argc == 2) write_end(run_until_stop([&] { right = are_right(all, argv[1]); }));
  return right ? 0 : 1;
}
