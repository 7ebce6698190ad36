/// The allocation reports of the readers, provoked by a limit on the memory of the process.
#include "tests/support/little_memory.h"

#include <gtest/gtest.h>

#include <functional>

#include "files/active_cells.h"
#include "files/data_file.h"
#include "reports/channel.h"
#include "reports/program_stop.h"
#include "store/state.h"
#include "tests/support/fresh_problem.h"
#include "tests/support/temporary_folder.h"

#if !defined(VELKO_SANITIZED)
namespace velko {
namespace {

class LittleMemory : public testing::Test {
 protected:
  static void expect_report(i8 bytes, const std::function<void()>& reader, const std::string& label) {
    expect_end(bytes, reader, {stop_or_done::stopped, ""}, "\nMemory allocation error in: " + label + "\n\n");
  }
  /// Of an allocation of 512 MiB, without a word of the reader.
  static void expect_failure(i8 bytes, const std::function<void()>& reader) {
    expect_end(bytes, reader, {stop_or_done::failed, "velko: out of memory: 536870912 bytes refused"}, "");
  }
  static void expect_end(i8 bytes, const std::function<void()>& reader, const stop_or_done& expected,
                         const std::string& said) {
    const capture console_capture(console()), log_capture(log_file());
    stop_or_done end;
    {
      const test::little_memory limit(bytes);
      end = run_until_stop(reader);
    }
    EXPECT_EQ(end, expected);
    EXPECT_EQ(console_capture.text, said);
    EXPECT_EQ(log_capture.text, said);
  }

  test::fresh_problem problem_;
  test::temporary_folder folder_;
};

constexpr i8 mebibyte = i8{1} << 20;

TEST_F(LittleMemory, NoRoomForThePositionsIsReported) {
  const std::string name = folder_.write("loc", "0 0 0\n0 0 1\n67108864\n");  // three arrays of 512 MiB
  expect_report(
      800 * mebibyte, [&] { read_data_file(name, false); }, "read_data_file");
}

TEST_F(LittleMemory, NoRoomForTheDataIsReported) {
  const std::string name = folder_.write("obs", "0 0 0\n0 0 1\n67108864\n");
  store.ndata_mtx = 67108864;
  expect_report(
      1800 * mebibyte, [&] { read_data_file(name, true); }, "read_data_file");
}

TEST_F(LittleMemory, NoRoomForThePositionsOfAShortFileHasTheSameReport) {
  const std::string name = folder_.write("loc", "67108864\n");
  expect_report(
      800 * mebibyte, [&] { read_data_file_short(name, false); }, "read_data_file");
}

TEST_F(LittleMemory, NoRoomForTheDirectionsOfTheDataIsTheRunTimesOwnFailure) {
  const std::string name = folder_.write("loc", "0 0 0\n0 0 0\n67108864\n");
  expect_failure(1800 * mebibyte, [&] { read_data_file(name, false); });
}

TEST_F(LittleMemory, NoRoomForInactiveValuesIsTheRunTimesOwnFailure) {
  cells.ninactive = 67108864;
  expect_failure(300 * mebibyte, [] { store_inactive_values({}, {}); });
}

TEST_F(LittleMemory, NoRoomForTheCellMapIsReported) {
  mesh.ny = mesh.nx = 1024;
  mesh.nz = 256;
  mesh.itop = owned_array2<i4>(mesh.ny, mesh.nx);
  expect_report(
      800 * mebibyte, [] { get_active_cells("null", mesh.itop); }, "get_active_cells");
}

}  // namespace
}  // namespace velko
#endif
