/// Runs a program on ranks of this machine, as many as are asked for, however few processors there are.
#pragma once

#include <string>
#include <vector>

#include "tests/support/run_program.h"

namespace velko::test {

/// As root, with more ranks than processors, threads where they like and asleep while they wait, through memory. MPICH needs none of
/// Open MPI's settings. A machine that doesn't know its own name asks for it in vain, for five seconds unless it is told less.
inline const std::string on_one_machine =
    "OMP_WAIT_POLICY=passive OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 "
    "OMPI_MCA_rmaps_base_oversubscribe=1 "
    "OMPI_MCA_hwloc_base_binding_policy=none OMPI_MCA_btl=self,vader "
    "OMPI_MCA_btl_vader_single_copy_mechanism=none RES_OPTIONS='timeout:1 attempts:1' ";

inline program_run run_on_ranks(const temporary_folder& folder, int ranks, const std::string& program,
                                std::vector<std::string> arguments,
                                const std::string& settings = "OMP_NUM_THREADS=1") {
  arguments.insert(arguments.begin(), {"-n", std::to_string(ranks), program});
  return run_program(folder, MPIEXEC, arguments, on_one_machine + settings);
}

/// The rank of this process, in a shell that mpiexec starts: Open MPI's variable or MPICH's.
inline const std::string rank_in_shell = "${OMPI_COMM_WORLD_RANK:-$PMI_RANK}";

/// The same where some ranks do something first: a line of shell each, such as "[ $rank = 1 ] && cd other".
inline program_run run_on_ranks_behind(const std::string& first, const temporary_folder& folder, int ranks,
                                       const std::string& program, std::vector<std::string> arguments) {
  folder.write("run", "rank=" + rank_in_shell + "\n" + first + "\nexec " + program + " \"$@\"\n");
  arguments.insert(arguments.begin(), "run");
  return run_on_ranks(folder, ranks, "/bin/sh", arguments);
}

}  // namespace velko::test
