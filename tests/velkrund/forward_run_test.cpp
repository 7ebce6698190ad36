#include "velkrund/forward_run.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>
#include <vector>

#include "reports/channel.h"
#include "reports/program_stop.h"
#include "store/state.h"
#include "tests/support/fresh_problem.h"
#include "tests/support/sensitivity_file.h"
#include "tests/support/temporary_folder.h"

namespace velko {
namespace {

using test::sensitivity_file;

/// The run inside this process, where its log can be seen.
class Log : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::current_path(folder_.path());
    folder_.write("velkosta.mtx", sensitivity_file(1, 2, 2).itop({1, 0}).haar().row({{1, 1.0F}}).bytes());
    folder_.write("loc", "65 -12.5 54321\n90 0 1\n1\n1 2 3\n");
    folder_.write("model.sus", "1\n2\n3\n4\n");
  }
  void TearDown() override {
    std::filesystem::current_path("/");
    log_file().close();
  }

  void velkrund(const std::vector<std::string_view>& arguments) {
    const capture console_capture(console());
    const capture log_capture(log_file());
    EXPECT_EQ(run_until_stop([&] { velko::velkrund(arguments); }), (stop_or_done{stop_or_done::stopped, ""}));
    said_ = console_capture.text;
    logged_ = log_capture.text;
  }

  test::fresh_problem problem_;
  test::temporary_folder folder_;
  std::string said_, logged_;
};

const std::string cell_report =
    "                   # of cells: 2 x 1 x 2\n"
    "             total # of cells:       4\n"
    "        # of cells below topo:       3\n"
    "          # of inactive cells:       1\n"
    "\n";

TEST_F(Log, HoldsTheCellCountsAndTheSourceOfTheModel) {
  velkrund({"velkosta.mtx", "loc", "model.sus"});
  EXPECT_EQ(logged_, cell_report + "              model was read from file: model.sus\n");
}

TEST_F(Log, HoldsTheConstantOfAModel) {
  velkrund({"velkosta.mtx", "loc", "VALUE 0.01"});
  EXPECT_EQ(logged_, cell_report + "             model was set to:  1.0000E-02\n");
}

TEST_F(Log, DoesNotHoldTheBannerOrTheUsage) {
  velkrund({});
  EXPECT_THAT(said_, testing::HasSubstr("Usage"));
  EXPECT_EQ(logged_, "");
}

TEST_F(Log, DoesNotHoldTheInconsistentNumberOfData) {
  folder_.write("loc", "65 -12.5 54321\n90 0 1\n2\n1 2 3\n4 5 6\n");
  velkrund({"velkosta.mtx", "loc", "model.sus"});
  EXPECT_THAT(said_, testing::EndsWith("\n\nERROR: Number of data is inconsistent in obs and mtx files.\n"));
  EXPECT_EQ(logged_, "");
}

TEST_F(Log, SensitivityFileThatIsTouchedOrRenamedWhileTheRunWaitsForItsLocationsIsNoLoss) {
  const std::string locations = folder_.read("loc");
  velkrund({"velkosta.mtx", "loc", "model.sus"});
  const std::string expected = folder_.read("velkrund.vlk");
  ASSERT_FALSE(expected.empty());
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  const auto touch = [] { std::filesystem::last_write_time("velkosta.mtx", {}); };
  const auto rename = [] { std::filesystem::rename("velkosta.mtx", "renamed"); };
  for (const std::function<void()>& change : {std::function<void()>(touch), std::function<void()>(rename)}) {
    std::filesystem::remove("velkrund.vlk");
    reset_state();
    std::thread waited_for([&] {
      std::ofstream pipe("pipe");  // once the run has opened it, behind the load
      change();
      pipe << locations;
    });
    velkrund({"velkosta.mtx", "pipe", "model.sus"});
    waited_for.join();
    EXPECT_EQ(folder_.read("velkrund.vlk"), expected);
  }
}

}  // namespace
}  // namespace velko
