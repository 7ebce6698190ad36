#include "reports/reports.h"

#include <gmock/gmock.h>
#include <omp.h>

#include <new>
#include <regex>

namespace velko {
namespace {

const stop_or_done stop_without_text{stop_or_done::stopped, ""};

/// What a body says on both channels.
struct said {
  explicit said(const std::function<void()>& body) {
    const capture console_capture(velko::console());
    const capture log_capture(log_file());
    end = run_until_stop(body);
    console = console_capture.text;
    log = log_capture.text;
  }
  stop_or_done end;
  std::string console, log;
};

std::string banner(int threads, std::string_view title = "VELKRUND") {
  omp_set_num_threads(threads);
  const capture console_capture(console());
  print_banner(title);
  return console_capture.text;
}

std::string banner_text(const std::string& threads, const std::string& warning = "") {
  return "\nParallelized with OpenMP.  # of threads:" + threads + "\n" + warning +
         "\nVELKO - Version 5.0 :  VELKRUND\n"
         "\nMagnetic forward modelling in three dimensions\nThe VELKO developers\n\n";
}

const std::string warning = "\nWARNING: more threads started than processors available.\n\n";

TEST(Banner, OneThreadStandsBehindTwoBlanksWithoutWarning) {
  EXPECT_EQ(banner(1), banner_text("  1"));
}

TEST(Banner, WarnsOfMoreThreadsThanProcessorsBetweenThreadsAndTitle) {
  const int threads = omp_get_num_procs() + 1;
  const std::string digits = std::to_string(threads);
  EXPECT_EQ(banner(threads), banner_text(std::string(3 - digits.size(), ' ') + digits, warning));
}

TEST(Banner, AsManyThreadsAsProcessorsGiveNoWarning) {
  EXPECT_EQ(banner(omp_get_num_procs()).find("WARNING"), std::string::npos);
}

TEST(Banner, AThousandThreadsAreThreeAsterisks) {
  EXPECT_EQ(banner(1000), banner_text("***", warning));
}

TEST(Banner, GoesToTheGivenChannelAlone) {
  omp_set_num_threads(1);
  const said s([] { print_banner("VELKRUND  ", log_file()); });
  EXPECT_EQ(s.console, "");
  EXPECT_EQ(s.log, banner_text("  1"));
}

std::tm first_of_march() {
  std::tm when{};
  when.tm_year = 113;
  when.tm_mon = 2;
  when.tm_mday = 1;
  when.tm_hour = 9;
  when.tm_min = 5;
  when.tm_sec = 3;
  return when;
}

TEST(TimeStamp, MonthHasABlankDayAndHourAZero) {
  const said s([] { print_time_stamp("Start:", first_of_march(), console()); });
  EXPECT_EQ(s.console, "\nStart:  3/01/2013  09:05:03\n\n");
  EXPECT_EQ(s.log, "");
}

TEST(TimeStamp, SecondChannelTakesItAsAComment) {
  const said s([] { print_time_stamp("Start:  ", first_of_march(), console(), &log_file()); });
  EXPECT_EQ(s.console, "\nStart:  3/01/2013  09:05:03\n\n");
  EXPECT_EQ(s.log, "\n! Start:  3/01/2013  09:05:03\n\n");
}

TEST(TimeStamp, MonthIsOfTwoDigitsLateInTheYear) {
  std::tm when = first_of_march();
  when.tm_mon = 10;
  when.tm_mday = 21;
  const said s([&] { print_time_stamp("End:", when, console()); });
  EXPECT_EQ(s.console, "\nEnd: 11/21/2013  09:05:03\n\n");
}

TEST(TimeStamp, ReadsTheLocalClock) {
  const said s([] { print_time_stamp("Now:", console()); });
  EXPECT_TRUE(std::regex_match(
      s.console, std::regex("\nNow: [ 1][0-9]/[0-3][0-9]/[0-9]{4}  [0-2][0-9]:[0-5][0-9]:[0-6][0-9]\n\n")))
      << s.console;
}

TEST(Reports, GoToTheConsoleAndThenToTheLog) {
  const said s([] { report("a line"); });
  EXPECT_EQ(s.console, "a line\n");
  EXPECT_EQ(s.log, "a line\n");
}

TEST(Reports, FileNotFoundDropsTrailingBlanks) {
  const said s([] { report_file_not_found("sensitivity  ", "no such file.mtx   "); });
  EXPECT_EQ(s.console, "\n ERROR: sensitivity file not found: no such file.mtx\n");
  EXPECT_EQ(s.log, s.console);
  EXPECT_EQ(s.end, stop_without_text);
}

TEST(Reports, AllocationErrorNamesThePlace) {
  const said s([] { report_allocation_error("getpar Gs  "); });
  EXPECT_EQ(s.console, "\nMemory allocation error in: getpar Gs\n\n");
  EXPECT_EQ(s.log, s.console);
  EXPECT_EQ(s.end, stop_without_text);
}

TEST(Reports, FailedAllocationIsReportedUnderItsLabel) {
  const said s([] { allocate_or_report("gprod", [] { throw std::bad_alloc(); }); });
  EXPECT_EQ(s.console, "\nMemory allocation error in: gprod\n\n");
  EXPECT_EQ(s.end, stop_without_text);
}

TEST(Reports, AllocationThatSucceedsSaysNothing) {
  bool allocated = false;
  const said s([&] { allocate_or_report("gprod", [&] { allocated = true; }); });
  EXPECT_TRUE(allocated);
  EXPECT_EQ(s.console, "");
  EXPECT_EQ(s.end, stop_or_done{});
}

}  // namespace
}  // namespace velko
