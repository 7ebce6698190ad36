/// An inversion over the nodes of a cluster with PETSc: least squares by KSPLSQR, on a MatShell over a spread matrix.
///
/// Use      mpirun -n 4 recover_over_ranks velkosta.mtx [-ksp_max_it 30] [options of PETSc]
/// What     data of a made-up model of two bodies are formed and 1 % of noise is added; LSQR, started from zero and stopped when the residual is
///          as large as the noise, recovers a model. Its iterations are told: norm of the residual, over that of the data
/// Spread   PETSc spreads models over ranks as it likes, and data as the matrix spreads its rows; the products take them whole, so
///          a model is gathered before each product, and each rank keeps its own piece of the result
/// Bits     those of the products do not depend on the number of ranks; the scalar products in PETSc do, in their last digits
#include <petscksp.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <span>
#include <vector>

#include "files/active_cells.h"
#include "mpi/spread_matrix.h"
#include "reports/program_stop.h"
#include "store/state.h"

namespace {

using namespace velko;
using values = std::vector<r8>;

/// What the products of the shell work on.
struct shell {
  spread_matrix G;
  values m, d;  // whole
  Vec whole_m = nullptr, whole_d = nullptr;
  VecScatter gather_m = nullptr, gather_d = nullptr;
};

void gather(VecScatter scatter, Vec from, Vec to, values& into) {
  VecScatterBegin(scatter, from, to, INSERT_VALUES, SCATTER_FORWARD);
  VecScatterEnd(scatter, from, to, INSERT_VALUES, SCATTER_FORWARD);
  const PetscScalar* elements = nullptr;
  VecGetArrayRead(to, &elements);
  std::copy_n(elements, into.size(), into.begin());
  VecRestoreArrayRead(to, &elements);
}

void keep_own_piece(const values& whole, Vec into) {
  PetscInt first = 0, end = 0;
  VecGetOwnershipRange(into, &first, &end);
  PetscScalar* elements = nullptr;
  VecGetArray(into, &elements);
  std::copy(whole.begin() + first, whole.begin() + end, elements);
  VecRestoreArray(into, &elements);
}

shell& shell_of(Mat matrix) {
  void* context = nullptr;
  MatShellGetContext(matrix, &context);
  return *static_cast<shell*>(context);
}

PetscErrorCode multiply(Mat matrix, Vec m, Vec d) {
  shell& s = shell_of(matrix);
  gather(s.gather_m, m, s.whole_m, s.m);
  s.G.forward(s.m, s.d);
  keep_own_piece(s.d, d);
  return 0;
}

PetscErrorCode multiply_transpose(Mat matrix, Vec d, Vec m) {
  shell& s = shell_of(matrix);
  gather(s.gather_d, d, s.whole_d, s.d);
  s.G.adjoint(s.m, s.d);
  keep_own_piece(s.m, m);
  return 0;
}

/// Two bodies: every fourth part of the cells in model order holds one in its middle.
values bodies() {
  values m(static_cast<std::size_t>(cells.ncell));
  for (const std::size_t part : {1U, 3U})
    for (std::size_t k = 0; k < m.size() / 40; ++k) m[m.size() * part / 4 + k] = 0.05;
  return m;
}

r8 norm(const values& v) {
  r8 sum = 0;
  for (const r8 x : v) sum += x * x;
  return std::sqrt(sum);
}

/// 1 % of the largest datum, the same on all ranks. Gives its norm.
r8 add_noise(values& d) {
  const auto larger = [](r8 a, r8 b) { return std::abs(a) < std::abs(b); };
  const r8 deviation = 0.01 * std::abs(*std::max_element(d.begin(), d.end(), larger));
  std::mt19937 generator(7);
  std::normal_distribution<r8> normal(0, deviation);
  values noise(d.size());
  for (r8& x : noise) x = normal(generator);
  for (std::size_t i = 0; i < d.size(); ++i) d[i] += noise[i];
  return norm(noise);
}

PetscErrorCode tell(KSP, PetscInt iteration, PetscReal residual, void* norm_of_data) {
  PetscPrintf(PETSC_COMM_WORLD, "%3d  %.6f\n", static_cast<int>(iteration),
              residual / *static_cast<r8*>(norm_of_data));
  return 0;
}

void recover(const ranks& all, const char* file) {
  shell s{spread_matrix(all, file), {}, {}};
  all.together([] {
    get_active_cells("null", mesh.itop);
    survey.ndata = store.ndata_mtx;
  });
  s.m = bodies();
  s.d.resize(static_cast<std::size_t>(store.ndata_mtx));
  s.G.forward(s.m, s.d);
  const r8 norm_of_noise = add_noise(s.d);
  r8 norm_of_data = norm(s.d);

  const auto rows_here = static_cast<PetscInt>(s.G.rows().last - s.G.rows().first + 1);
  Mat matrix = nullptr;
  MatCreateShell(PETSC_COMM_WORLD, rows_here, PETSC_DECIDE, store.ndata_mtx, cells.ncell, &s, &matrix);
  MatShellSetOperation(matrix, MATOP_MULT, reinterpret_cast<void (*)()>(multiply));
  MatShellSetOperation(matrix, MATOP_MULT_TRANSPOSE, reinterpret_cast<void (*)()>(multiply_transpose));
  Vec m = nullptr, d = nullptr;
  MatCreateVecs(matrix, &m, &d);
  VecScatterCreateToAll(m, &s.gather_m, &s.whole_m);
  VecScatterCreateToAll(d, &s.gather_d, &s.whole_d);
  keep_own_piece(s.d, d);

  KSP solver = nullptr;
  PC preconditioner = nullptr;
  KSPCreate(PETSC_COMM_WORLD, &solver);
  KSPSetType(solver, KSPLSQR);
  KSPSetOperators(solver, matrix, matrix);
  KSPGetPC(solver, &preconditioner);
  PCSetType(preconditioner, PCNONE);
  KSPSetTolerances(solver, norm_of_noise / norm_of_data, PETSC_DEFAULT, PETSC_DEFAULT, 100);
  KSPMonitorSet(solver, tell, &norm_of_data, nullptr);
  KSPSetFromOptions(solver);
  KSPSolve(solver, d, m);
  KSPConvergedReason reason = KSP_CONVERGED_ITERATING;
  KSPGetConvergedReason(solver, &reason);
  PetscPrintf(PETSC_COMM_WORLD, reason > 0 ? "recovered down to the noise\n" : "not recovered: reason %d\n",
              static_cast<int>(reason));

  KSPDestroy(&solver);
  MatDestroy(&matrix);
  for (Vec* v : {&m, &d, &s.whole_m, &s.whole_d}) VecDestroy(v);
  for (VecScatter* scatter : {&s.gather_m, &s.gather_d}) VecScatterDestroy(scatter);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  PetscInitialize(&argc, &argv, nullptr, nullptr);
  stop_or_done end;
  {
    const ranks all(PETSC_COMM_WORLD);
    end = run_until_stop([&] { recover(all, argv[1]); });
    if (all.first()) write_end(end);
  }
  PetscFinalize();
  return end.kind == stop_or_done::done ? 0 : 1;
}
