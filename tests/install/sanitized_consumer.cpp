#include <velko/files/mesh_file.h>
#include <velko/reports/program_stop.h>
#include <velko/store/state.h>

#include <fstream>

/// A mesh whose edges are a large block: the library acquires it, and this program's return from main releases it.
int main() {
  std::ofstream("large.mesh") << "600000 1 1\n0 0 0\n600000*1.0\n1.0\n1.0\n";
  const velko::stop_or_done end = velko::run_until_stop([] { velko::read_mesh_file("large.mesh"); });
  velko::write_end(end);
  return end == velko::stop_or_done{} && velko::mesh.xnode.size() == 600001 ? 0 : 1;
}
