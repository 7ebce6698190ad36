/// velkmtx make --resume: a run that was killed, and the one that goes on with it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/velkmtx/companion.h"

namespace velko {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

class Resume : public test::companion {
 protected:
  static constexpr auto make = "make mesh null loc g.mtx --tolerance 0.01 --resume --note-every 0.02 ";

  Resume() {
    folder.write("mesh", "16 16 16\n0 0 0\n16*10\n16*10\n16*5\n");
    std::string text = "62 -4 52000\n62 -4 1\n1500\n";
    for (int n = 0; n < 1500; ++n) text += std::to_string(n % 80) + " " + std::to_string(n % 71) + " 30\n";
    folder.write("loc", text);
  }

  /// What one run writes.
  std::string whole(const std::string& options = "") const {
    EXPECT_EQ(velkmtx("make mesh null loc one.mtx --quiet --tolerance 0.01 " + options).status, 0);
    return folder.read("one.mtx");
  }

  /// Starts a run and sends it a signal once it has noted a row; gives its status, as shells tell it.
  int run_until_signal(const std::string& arguments, const std::string& signal) const {
    const std::string script =
        "set -m; cd " + folder.path() + "; " VELKMTX " " + arguments +
        " >out 2>err & run=$!; until test -e g.mtx.notes; do sleep 0.01; done; kill -" + signal +
        " $run; wait $run";
    const int ended = std::system(("timeout -s KILL 100 bash -c '" + script + "' 2>/dev/null").c_str());
    return WIFEXITED(ended) ? WEXITSTATUS(ended) : -1;
  }
  /// A limit on the size of files ends a run half way, well behind the first note.
  void run_out_of_room(const std::string& options = "") const {
    const std::string command =
        "cd " + folder.path() + " && ulimit -f 16000 && " VELKMTX " " + make + options + " >out 2>err";
    EXPECT_NE(std::system(("trap '' XFSZ; " + command).c_str()), 0);
    EXPECT_THAT(folder.read("err"), HasSubstr("cannot write "));
  }
  void expect_only_the_file() const {
    EXPECT_EQ(files(), (std::vector<std::string>{"err", "g.mtx", "loc", "mesh", "one.mtx", "out"}));
  }
};

TEST_F(Resume, KilledRunGoesOnToTheBytesOfOneRun) {
  EXPECT_EQ(run_until_signal(make, "KILL"), 128 + 9);
  EXPECT_THAT(files(), Not(Contains("g.mtx")));
  EXPECT_EQ(run_until_signal(make, "KILL"), 128 + 9);
  EXPECT_THAT(output_of(make),
              HasSubstr(" of 1500 rows were there from a run before; what follows is of the others\n"));
  EXPECT_TRUE(folder.read("g.mtx") == whole());
  expect_only_the_file();
}

TEST_F(Resume, RunThatIsAskedToEndSaysHowToGoOn) {
  EXPECT_EQ(run_until_signal(make, "TERM"), 128 + 15);
  EXPECT_EQ(folder.read("err"),
            "velkmtx: interrupted; g.mtx is as it was, and the same command goes on where this run stood\n");
  output_of(make);
  EXPECT_TRUE(folder.read("g.mtx") == whole());
}

TEST_F(Resume, RunThatFoundNoRoomGoesOn) {
  run_out_of_room();
  EXPECT_THAT(output_of(make), HasSubstr(" rows were there from a run before"));
  EXPECT_TRUE(folder.read("g.mtx") == whole());
  whole();
  folder.write("out", "");
  expect_only_the_file();
}

TEST_F(Resume, PartsAndOtherThreadCountsGoOnToo) {
  run_out_of_room("--rows 100:1400 --threads 2 ");
  EXPECT_THAT(output_of(std::string(make) + "--rows 100:1400 --threads 3"),
              HasSubstr("of 1301 rows were there"));
  EXPECT_TRUE(folder.read("g.mtx") == whole("--rows 100:1400"));
}

TEST_F(Resume, WithoutARunBeforeTheFileIsThatOfAnyRun) {
  EXPECT_THAT(output_of(make), Not(HasSubstr("were there")));
  EXPECT_TRUE(folder.read("g.mtx") == whole());
}

TEST_F(Resume, RowsOrNotesThatHaveChangedAreMadeAnew) {
  const std::size_t in_the_first_row = 40000;
  for (const auto& [name, place] :
       {std::pair{"g.mtx.unfinished", in_the_first_row}, {"g.mtx.notes", std::size_t{500}}}) {
    run_out_of_room();
    std::string bytes = folder.read(name);
    bytes[place] ^= 1;
    folder.write(name, bytes);
    EXPECT_THAT(output_of(make), Not(HasSubstr("were there"))) << name;
    EXPECT_TRUE(folder.read("g.mtx") == whole()) << name;
  }
}

TEST_F(Resume, RunOverOtherInputsOrWithOtherOptionsIsRefused) {
  run_out_of_room();
  const auto expect_refused = [&](const std::string& arguments) {
    expect_error(arguments, 1,
                 "velkmtx: g.mtx.notes is of a run over other inputs or with other options; go on with "
                 "those, or remove "
                 "it\n");
  };
  expect_refused("make mesh null loc g.mtx --tolerance 0.02 --resume");
  expect_refused(std::string(make) + "--rows 1:1499");
  folder.write("mesh", "16 16 16\n0 0 0\n16*10\n16*10\n16*6\n");
  expect_refused(make);
}

TEST_F(Resume, TwoRunsAtOnceAreRefused) {
  const std::string command =
      "cd " + folder.path() + " && flock g.mtx.unfinished " VELKMTX " " + make + " >out 2>err";
  EXPECT_NE(std::system(command.c_str()), 0);
  EXPECT_THAT(folder.read("err"), MatchesRegex("velkmtx: another run is at work on .*g.mtx.unfinished\n"));
}

TEST_F(Resume, TargetThatIsNoFileIsRefused) {
  expect_error("make mesh null loc . --resume", 1, "cannot write .: not a regular file");
  expect_error("make mesh null loc missing/g.mtx --resume", 1, "No such file or directory");
}

}  // namespace
}  // namespace velko
