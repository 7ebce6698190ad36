/// Runs a program on ranks of this machine, as many as are asked for, however few processors there are.
#pragma once

#include <string>
#include <vector>

#include "tests/support/run_program.h"

namespace velko::test {

/// As root, with more ranks than processors, threads where they like and asleep while they wait, through memory. MPICH needs none of
/// Open MPI's settings.
inline const std::string on_one_machine =
    "OMP_WAIT_POLICY=passive OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 "
    "OMPI_MCA_rmaps_base_oversubscribe=1 "
    "OMPI_MCA_hwloc_base_binding_policy=none OMPI_MCA_btl=self,vader "
    "OMPI_MCA_btl_vader_single_copy_mechanism=none OMPI_MCA_shmem=mmap ";

inline program_run run_on_ranks(const temporary_folder& folder, int ranks, const std::string& program,
                                std::vector<std::string> arguments,
                                const std::string& settings = "OMP_NUM_THREADS=1") {
  arguments.insert(arguments.begin(), {"-n", std::to_string(ranks), program});
  return run_program(folder, MPIEXEC, arguments, on_one_machine + settings);
}

}  // namespace velko::test
