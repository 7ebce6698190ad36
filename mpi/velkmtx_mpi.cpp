/// velkmtx-mpi: velkmtx make on the ranks of an MPI job.
///
/// Use      mpirun velkmtx-mpi make MESH TOPOGRAPHY LOCATIONS OUTPUT [OPTION ...], options as velkmtx make takes them, behind the files
/// What     every rank has velkmtx, which lies beside this program, make a part of the rows, OUTPUT.part-0, OUTPUT.part-1, ...; rank 0
///          has them joined. OUTPUT has the bytes that one process gives it. The folder must be one that all ranks see
/// Exit status  that of velkmtx; of the first rank where it failed, whose words are told once. The parts are then gone, and OUTPUT is
///          as it was
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "files/data_file.h"
#include "mpi/ranks.h"
#include "products/slabs.h"
#include "programs/standard_streams.h"
#include "store/state.h"

namespace {

using namespace velko;
using words = std::vector<std::string>;

constexpr int wrong_command_line = 2;

struct told_status {
  int status = 0;
  std::string said;  // on the standard error stream
};

std::string velkmtx_beside_this_program() {
  return std::filesystem::read_symlink("/proc/self/exe").replace_filename("velkmtx").string();
}

[[noreturn]] void become(const std::string& program, const words& arguments, int error_stream) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // a rank that is killed leaves nothing running
  if (error_stream >= 0) dup2(error_stream, STDERR_FILENO);
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const std::string& word : arguments) argv.push_back(const_cast<char*>(word.c_str()));
  argv.push_back(nullptr);
  execv(program.c_str(), argv.data());
  std::fprintf(stderr, "velkmtx-mpi: cannot start %s\n", program.c_str());
  _exit(1);
}

std::string contents_of(std::FILE* file) {
  std::string text;
  std::rewind(file);
  for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) text += static_cast<char>(c);
  return text;
}

told_status velkmtx(const words& arguments) {
  const std::string program = velkmtx_beside_this_program();
  std::FILE* const said = std::tmpfile();
  const pid_t child = fork();
  if (child == 0) become(program, arguments, said != nullptr ? fileno(said) : -1);
  int ended = 0;
  if (child < 0 || waitpid(child, &ended, 0) != child) return {1, "velkmtx-mpi: no process for velkmtx\n"};
  told_status told{WIFEXITED(ended) ? WEXITSTATUS(ended) : 128 + WTERMSIG(ended), ""};
  if (said != nullptr) {
    told.said = contents_of(said);
    std::fclose(said);
  }
  return told;
}

/// Below 0 where the file can't be read: velkmtx says why.
i4 count_data(const std::string& location_file) {
  const told_end end = run_and_tell([&] { read_data_file(location_file, false); });
  return end.end.kind == stop_or_done::done ? survey.ndata : -1;
}

/// As many rows for each rank; where these are many, from the first of a block of 1024 on, whose sums the parts then hold whole.
std::vector<i8> even_rows(i8 rows, int parts) {
  constexpr i8 block = 1024, many = 8 * block;
  const i8 unit = rows / parts >= many ? block : 1;
  std::vector<i8> first;
  for (i8 part = 0; part < parts; ++part) first.push_back(rows * part / parts / unit * unit);
  first.push_back(rows);
  return first;
}

std::string part_name(const std::string& output, int rank) {
  return output + ".part-" + std::to_string(rank);
}

/// All ranks get the status of the first where velkmtx failed, and rank 0 tells what it said; warnings are those of rank 0.
int told_once(const ranks& all, told_status mine) {
  int speaker = mine.status == 0 ? all.size() : all.rank();
  speaker = all.least(speaker);
  if (speaker != all.size()) {
    all.broadcast(mine.status, speaker);
    all.broadcast(mine.said, speaker);
  }
  if (all.first()) std::fputs(mine.said.c_str(), stderr);
  return mine.status;
}

told_status make_part(const ranks& all, words arguments, const row_range& rows) {
  if (rows.last < rows.first) return {};
  arguments[4] = part_name(arguments[4], all.rank());
  for (const std::string& word :
       {std::string("--rows"), std::to_string(rows.first) + ":" + std::to_string(rows.last),
        std::string("--quiet")})
    arguments.push_back(word);
  return velkmtx(arguments);
}

told_status join(const words& arguments, const words& parts) {
  words joining{"join", arguments[4]};
  joining.insert(joining.end(), parts.begin(), parts.end());
  if (std::find(arguments.begin(), arguments.end(), "--quiet") != arguments.end())
    joining.emplace_back("--quiet");
  return velkmtx(joining);
}

int make(const ranks& all, const words& arguments) {
  i4 ndata = all.first() ? count_data(arguments[3]) : 0;
  all.broadcast(ndata);
  // Too few data, or none that can be read, are one process's work.
  if (all.size() == 1 || ndata < all.size())
    return told_once(all, all.first() ? velkmtx(arguments) : told_status{});
  const std::vector<i8> first = even_rows(ndata, all.size());
  const auto rank = static_cast<std::size_t>(all.rank());
  int status = told_once(all, make_part(all, arguments, {first[rank] + 1, first[rank + 1]}));
  words parts;
  for (int r = 0; r < all.size(); ++r) parts.push_back(part_name(arguments[4], r));
  if (status == 0) status = told_once(all, all.first() ? join(arguments, parts) : told_status{});
  std::error_code never_made;
  std::filesystem::remove(parts[rank], never_made);
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  prepare_standard_streams();
  const mpi_session mpi(argc, argv);
  const ranks all;
  const words arguments(argv + 1, argv + argc);
  const bool files_come_first = arguments.size() >= 5 && arguments[0] == "make" &&
                                std::none_of(arguments.begin() + 1, arguments.begin() + 5,
                                             [](const std::string& word) { return word.starts_with("-"); });
  if (files_come_first) return make(all, arguments);
  if (all.first())
    std::fputs("velkmtx-mpi: use velkmtx-mpi make MESH TOPOGRAPHY LOCATIONS OUTPUT [OPTION ...]\n", stderr);
  return wrong_command_line;
}
