// Products over rows that stand in the sensitivity file itself, and what becomes of them when the file changes.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "products/row_scaling.h"
#include "products/sparse_rows.h"
#include "store/getpar.h"
#include "tests/products/problem.h"
#include "tests/support/sensitivity_file.h"
#include "tests/support/temporary_folder.h"

namespace velko {
namespace {

using test::sensitivity_file;
using test::values;

constexpr i4 edge = 16, ncube = edge * edge * edge, nrows = 40;

/// Rows of more than a page each, every 25th with few entries.
sensitivity_file many_rows() {
  sensitivity_file file(edge, edge, edge);
  file.haar();
  for (i4 i = 0; i < nrows; ++i) {
    std::vector<test::entry> row;
    for (i4 at = 1 + i; at <= ncube; at += i % 25 == 0 ? 1000 : 3)
      row.push_back({at, static_cast<r4>(at % 7) - static_cast<r4>(i)});
    file.row(row);
  }
  return file;
}

class RowsInPlace : public test::products_test {
 protected:
  void load(const std::string& bytes) {
    reset_state();
    name_ = folder_.write("velkosta.mtx", bytes);
    getpar(name_);
    survey.ndata = store.ndata_mtx;
  }

  static bool in_the_file(const sparse_row& row) {
    const auto* at = reinterpret_cast<const std::byte*>(row.idx.data());
    const auto file = store.Gs_file.bytes();
    return !file.empty() && file.data() <= at && at < file.data() + file.size();
  }
  static i4 rows_in_the_file() {
    return static_cast<i4>(std::count_if(store.Gs.begin(), store.Gs.end(), in_the_file));
  }

  static values product() {
    values d(nrows, test::untouched);
    CALC_GV(test::random_values(ncube), d);
    return d;
  }

  /// Each product of the rows ends with the read message of the loader.
  void expect_read_error() {
    const values v = test::random_values(ncube), d(nrows, 1.0);
    values cube(ncube), data(nrows);
    for (const std::function<void()>& of :
         {std::function<void()>([&] { CALC_GV(v, data); }), std::function<void()>([&] { CALC_GTV(d, cube); }),
          std::function<void()>([&] { CALC_GTGV_1LOOP(v, cube); })}) {
      const capture said(console()), logged(log_file());
      EXPECT_EQ(run_until_stop(of), (stop_or_done{stop_or_done::stopped, ""}));
      EXPECT_EQ(said.text, "\nERROR reading sensitivity file " + name_ + "\n");
      EXPECT_EQ(logged.text, said.text);
    }
  }

  /// Bytes written over a part of the file by somebody else, at another time than the file was made.
  void overwrite(std::streamoff at, const std::string& bytes) {
    {
      std::fstream out(name_, std::ios::in | std::ios::out | std::ios::binary);
      out.seekp(at);
      out << bytes;
    }
    std::filesystem::last_write_time(name_,
                                     std::filesystem::file_time_type::clock::now() + std::chrono::hours(1));
  }

  /// A new time of the last write, and nothing else.
  void touch(int hours) const {
    const auto now = std::filesystem::file_time_type::clock::now();
    std::filesystem::last_write_time(
        name_, now - now.time_since_epoch() % std::chrono::hours(1) + std::chrono::hours(hours));
  }

  test::temporary_folder folder_;
  std::string name_;
};

TEST_F(RowsInPlace, RowsStandInTheFile) {
  load(many_rows().bytes());
  EXPECT_EQ(rows_in_the_file(), nrows);
}

TEST_F(RowsInPlace, RowsThatAreNotAlignedAreCopied) {
  const std::string one_byte_more = test::bytes_of(i4{2}) + test::bytes_of(values{0.5, 0.5}) + "x";
  load(many_rows().bytes());
  const values expected = product();
  load(many_rows().payload(4, one_byte_more).bytes());
  EXPECT_EQ(rows_in_the_file(), 0);
  EXPECT_EQ(product(), expected);
}

TEST_F(RowsInPlace, RowsInSegmentsAreCopied) {
  load(many_rows().bytes());
  const values expected = product();
  load(many_rows().segments_of(1 << 12).bytes());
  EXPECT_GT(rows_in_the_file(), 0);  // the short rows are in one piece
  EXPECT_LT(rows_in_the_file(), nrows);
  EXPECT_EQ(product(), expected);
}

TEST_F(RowsInPlace, RowsFromAPipeAreCopied) {
  const std::string bytes = many_rows().bytes();
  load(bytes);
  const values expected = product();
  reset_state();
  const std::string pipe = folder_.path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  std::thread writer([&] { std::ofstream(pipe, std::ios::binary) << bytes; });
  getpar(pipe);
  writer.join();
  survey.ndata = store.ndata_mtx;
  EXPECT_EQ(rows_in_the_file(), 0);
  EXPECT_EQ(product(), expected);
}

TEST_F(RowsInPlace, ProductAfterTheFileWasCutShortIsRefused) {
  const std::string bytes = many_rows().bytes();
  for (const std::size_t left : {std::size_t{0}, bytes.size() / 2, bytes.size() - 1}) {
    load(bytes);
    std::filesystem::resize_file(name_, left);
    expect_read_error();
  }
}

TEST_F(RowsInPlace, ProductAfterTheFileWasWrittenToIsRefused) {
  const std::string bytes = many_rows().bytes();
  load(bytes);
  overwrite(static_cast<std::streamoff>(bytes.size() - 100), "x");
  expect_read_error();
}

// Every product, as the first of a load: its result, data or a cube.
const std::vector<std::function<values()>> all_products{[] {
                                                          values d(nrows);
                                                          CALC_GV(test::random_values(ncube), d);
                                                          return d;
                                                        },
                                                        [] {
                                                          values cube(ncube);
                                                          CALC_GTV(test::random_values(nrows), cube);
                                                          return cube;
                                                        },
                                                        [] {
                                                          values cube(ncube);
                                                          CALC_GTGV_1LOOP(test::random_values(ncube), cube);
                                                          return cube;
                                                        }};

TEST_F(RowsInPlace, FileThatWasTouchedBeforeTheFirstProductIsNoLoss) {
  const std::string bytes = many_rows().bytes();
  for (const auto& product_of_rows : all_products) {
    load(bytes);
    const values expected = product_of_rows();
    load(bytes);
    touch(1);
    EXPECT_EQ(product_of_rows(), expected);
    EXPECT_EQ(product_of_rows(), expected);
  }
}

TEST_F(RowsInPlace, FileThatWasTouchedOrRenamedOrReplacedBetweenLaterProductsIsNoLoss) {
  load(many_rows().bytes());
  const values expected = product();
  EXPECT_EQ(product(), expected);
  touch(1);
  EXPECT_EQ(product(), expected);
  std::filesystem::rename(name_, folder_.path("renamed"));
  EXPECT_EQ(product(), expected);
  std::filesystem::rename(folder_.write("new", "another one"), folder_.path("renamed"));
  EXPECT_EQ(product(), expected);
}

TEST_F(RowsInPlace, FileThatWasTouchedDuringTheFirstProductIsPassedOverAgain) {
  load(many_rows().bytes());
  touch(1);
  EXPECT_TRUE(rows_renewed());
  EXPECT_FALSE(rows_renewed());
  EXPECT_EQ(rows_in_the_file(), nrows);
}

TEST_F(RowsInPlace, RowsWrittenBeforeTheFirstProductAreThoseOfTheNewFile) {
  const std::string before = many_rows().bytes();
  std::string after = before;
  const std::size_t val_of_first_row = after.find(test::bytes_of(i4{1}) + test::bytes_of(i4{1001})) + 5 * 4;
  after[val_of_first_row + 3] ^= 1;
  for (const auto& product_of_rows : all_products) {
    load(after);
    const values expected = product_of_rows();
    load(before);
    EXPECT_NE(product_of_rows(), expected);
    load(before);
    overwrite(0, after);
    EXPECT_EQ(product_of_rows(), expected);
  }
}

TEST_F(RowsInPlace, AnotherFileCopiedOverBeforeTheFirstProductIsRefused) {
  load(many_rows().bytes());
  overwrite(0, many_rows().ztop(12).bytes());
  expect_read_error();
}

TEST_F(RowsInPlace, RowsWrittenBetweenProductsAreRefusedAlsoIfTheTimeIsPutBack) {
  const std::string bytes = many_rows().bytes();
  load(bytes);
  touch(0);
  product();
  product();
  overwrite(static_cast<std::streamoff>(bytes.size() / 2), "xxxx");
  touch(0);
  expect_read_error();
}

TEST_F(RowsInPlace, ScaledRowsAreNotTakenAgain) {
  load(many_rows().bytes());
  scale_rows(values(nrows, 4.0));
  touch(1);
  expect_read_error();
}

TEST_F(RowsInPlace, PositionsThatComeToLieOutsideTheCubeTouchNothing) {
  const std::string bytes = many_rows().bytes();
  for (const char garbage : {'\xff', '\x7f', '\x80'}) {
    load(bytes);
    overwrite(static_cast<std::streamoff>(bytes.size() / 3), std::string(bytes.size() / 3, garbage));
    expect_read_error();
  }
}

TEST_F(RowsInPlace, FileReplacedByAnotherOfItsNameIsUsedToTheEnd) {
  load(many_rows().bytes());
  const values expected = product();
  std::filesystem::rename(folder_.write("new", "another one"), name_);
  EXPECT_EQ(product(), expected);
}

TEST_F(RowsInPlace, ScaledRowsDoNotReachTheFile) {
  const std::string bytes = many_rows().bytes();
  load(bytes);
  values expected = product();
  for (r8& d : expected) d /= 4;
  scale_rows(values(nrows, 4.0));
  EXPECT_EQ(product(), expected);
  std::ifstream in(name_, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), bytes);
}

TEST_F(RowsInPlace, SecondLoadTakesTheFileOfTheFirstOutOfMemory) {
  load(many_rows().bytes());
  load(many_rows().bytes());
  EXPECT_EQ(rows_in_the_file(), nrows);
}

}  // namespace
}  // namespace velko
