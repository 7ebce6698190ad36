// Products over rows that stand in the sensitivity file itself, and what becomes of them when the file changes.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "products/full_rows.h"
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

constexpr i4 edge = 16, ncells = edge * edge * edge, ncube = ncells, nrows = 40;

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

/// Rows of four pages each.
sensitivity_file many_dense_rows() {
  sensitivity_file file(edge, edge, edge);
  for (i4 i = 0; i < nrows; ++i) {
    std::vector<r4> row;
    for (i4 at = 1; at <= ncells; ++at) row.push_back(static_cast<r4>(at % 7) - static_cast<r4>(i));
    file.dense_row(row);
  }
  return file;
}

values data_of(void (*product)(std::span<const r8>, std::span<r8>)) {
  values d(nrows, test::untouched);
  product(test::random_values(ncells), d);
  return d;
}
values model_of(void (*product)(std::span<const r8>, std::span<r8>), std::size_t from) {
  values m(ncells, test::untouched);
  product(test::random_values(from), m);
  return m;
}

/// The loops on the rows of a form, and what they are tried on.
struct row_form {
  std::string name;
  sensitivity_file (*file)();
  std::vector<std::function<values()>> products;  // data, or a model or cube
};

const row_form sparse_form{"Sparse",
                           many_rows,
                           {[] { return data_of([](auto v, auto y) { CALC_GV(v, y); }); },
                            [] { return model_of([](auto v, auto y) { CALC_GTV(v, y); }, nrows); },
                            [] { return model_of([](auto v, auto y) { CALC_GTGV_1LOOP(v, y); }, ncells); }}};
const row_form dense_form{
    "Dense",
    many_dense_rows,
    {[] { return data_of(CALC_FULL_GV); }, [] { return model_of(CALC_FULL_GTV, nrows); },
     [] { return model_of(CALC_FULL_GTGV, ncells); }}};

class RowsInPlace : public test::products_test, public testing::WithParamInterface<row_form> {
 protected:
  static sensitivity_file file() { return GetParam().file(); }
  static const std::vector<std::function<values()>>& products() { return GetParam().products; }
  static values product() { return products().front()(); }
  static std::vector<values> results() {
    std::vector<values> all;
    for (const auto& of_rows : products()) all.push_back(of_rows());
    return all;
  }

  void load(const std::string& bytes) {
    reset_state();
    name_ = folder_.write("velkosta.mtx", bytes);
    load_name(name_);
  }
  static void load_name(const std::string& name) {
    const capture warning(console());
    getpar(name);
    survey.ndata = store.ndata_mtx;
  }

  static bool in_the_file(const void* elements) {
    const auto* at = static_cast<const std::byte*>(elements);
    const auto file = store.Gs_file.bytes();
    return !file.empty() && file.data() <= at && at < file.data() + file.size();
  }
  static i4 rows_in_the_file() {
    i4 count = 0;
    for (i4 i = 1; i <= nrows; ++i)
      count += in_the_file((store.compressed ? store.Gs(i).val : store.Gfull.row(i)).data());
    return count;
  }

  static std::size_t first_value_in_the_file() {
    const r4* value = store.compressed ? &store.Gs(1).val(1) : &store.Gfull(1, 1);
    return static_cast<std::size_t>(reinterpret_cast<const std::byte*>(value) - store.Gs_file.bytes().data());
  }

  /// Each product of the rows ends with the read message of the loader.
  void expect_read_error() {
    for (const auto& of_rows : products()) {
      const capture said(console()), logged(log_file());
      EXPECT_EQ(run_until_stop([&] { of_rows(); }), (stop_or_done{stop_or_done::stopped, ""}));
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

TEST_P(RowsInPlace, RowsStandInTheFile) {
  load(file().bytes());
  EXPECT_EQ(rows_in_the_file(), nrows);
}

TEST_P(RowsInPlace, RowsThatAreNotAlignedAreCopied) {
  const std::string one_byte_more = file().payloads()[3] + "x";
  load(file().bytes());
  const std::vector<values> expected = results();
  load(file().payload(4, one_byte_more).bytes());
  EXPECT_EQ(rows_in_the_file(), 0);
  EXPECT_EQ(results(), expected);
}

TEST_P(RowsInPlace, RowsInSegmentsAreCopied) {
  load(file().bytes());
  const std::vector<values> expected = results();
  load(file().segments_of(1 << 12).bytes());
  EXPECT_LT(rows_in_the_file(), nrows);
  EXPECT_EQ(rows_in_the_file() > 0,
            store.compressed);  // short rows are in one piece; dense ones are all alike
  EXPECT_EQ(results(), expected);
}

TEST_P(RowsInPlace, RowsFromAPipeAreCopied) {
  const std::string bytes = file().bytes();
  load(bytes);
  const values expected = product();
  reset_state();
  const std::string pipe = folder_.path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  std::thread writer([&] { std::ofstream(pipe, std::ios::binary) << bytes; });
  load_name(pipe);
  writer.join();
  EXPECT_EQ(rows_in_the_file(), 0);
  EXPECT_EQ(product(), expected);
}

TEST_P(RowsInPlace, ProductAfterTheFileWasCutShortIsRefused) {
  const std::string bytes = file().bytes();
  for (const std::size_t left : {std::size_t{0}, bytes.size() / 2, bytes.size() - 1}) {
    load(bytes);
    std::filesystem::resize_file(name_, left);
    expect_read_error();
  }
}

TEST_P(RowsInPlace, ProductAfterTheFileWasWrittenToIsRefused) {
  const std::string bytes = file().bytes();
  load(bytes);
  overwrite(static_cast<std::streamoff>(bytes.size() - 100), "x");
  expect_read_error();
}

TEST_P(RowsInPlace, FileThatWasTouchedBeforeTheFirstProductIsNoLoss) {
  const std::string bytes = file().bytes();
  for (const auto& of_rows : products()) {
    load(bytes);
    const values expected = of_rows();
    load(bytes);
    touch(1);
    EXPECT_EQ(of_rows(), expected);
    EXPECT_EQ(of_rows(), expected);
  }
}

TEST_P(RowsInPlace, FileThatWasTouchedOrRenamedOrReplacedBetweenLaterProductsIsNoLoss) {
  load(file().bytes());
  const values expected = product();
  EXPECT_EQ(product(), expected);
  touch(1);
  EXPECT_EQ(product(), expected);
  std::filesystem::rename(name_, folder_.path("renamed"));
  EXPECT_EQ(product(), expected);
  std::filesystem::rename(folder_.write("new", "another one"), folder_.path("renamed"));
  EXPECT_EQ(product(), expected);
}

TEST_P(RowsInPlace, FileThatWasTouchedDuringTheFirstProductIsPassedOverAgain) {
  load(file().bytes());
  touch(1);
  EXPECT_TRUE(rows_renewed());
  EXPECT_FALSE(rows_renewed());
  EXPECT_EQ(rows_in_the_file(), nrows);
}

TEST_P(RowsInPlace, RowsWrittenBeforeTheFirstProductAreThoseOfTheNewFile) {
  const std::string before = file().bytes();
  std::string after = before;
  load(before);
  after[first_value_in_the_file() + 3] ^= 1;
  for (const auto& of_rows : products()) {
    load(after);
    const values expected = of_rows();
    load(before);
    EXPECT_NE(of_rows(), expected);
    load(before);
    overwrite(0, after);
    EXPECT_EQ(of_rows(), expected);
  }
}

TEST_P(RowsInPlace, AnotherFileCopiedOverBeforeTheFirstProductIsRefused) {
  load(file().bytes());
  overwrite(0, file().ztop(12).bytes());
  expect_read_error();
}

TEST_P(RowsInPlace, RowsWrittenBetweenProductsAreRefusedAlsoIfTheTimeIsPutBack) {
  const std::string bytes = file().bytes();
  load(bytes);
  touch(0);
  product();
  product();
  overwrite(static_cast<std::streamoff>(bytes.size() / 2), "xxxx");
  touch(0);
  expect_read_error();
}

TEST_P(RowsInPlace, ScaledRowsAreNotTakenAgain) {
  load(file().bytes());
  scale_rows(values(nrows, 4.0));
  touch(1);
  expect_read_error();
}

TEST_P(RowsInPlace, WhatComesToLieInTheRowsTouchesNothingElse) {
  const std::string bytes = file().bytes();
  for (const char garbage : {'\xff', '\x7f', '\x80'}) {
    load(bytes);
    overwrite(static_cast<std::streamoff>(bytes.size() / 3), std::string(bytes.size() / 3, garbage));
    expect_read_error();
  }
}

TEST_P(RowsInPlace, FileReplacedByAnotherOfItsNameIsUsedToTheEnd) {
  load(file().bytes());
  const values expected = product();
  std::filesystem::rename(folder_.write("new", "another one"), name_);
  EXPECT_EQ(product(), expected);
}

TEST_P(RowsInPlace, ScaledRowsDoNotReachTheFile) {
  const std::string bytes = file().bytes();
  load(bytes);
  values expected = product();
  for (r8& d : expected) d /= 4;
  scale_rows(values(nrows, 4.0));
  EXPECT_EQ(product(), expected);
  std::ifstream in(name_, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), bytes);
}

TEST_P(RowsInPlace, SecondLoadTakesTheFileOfTheFirstOutOfMemory) {
  load(file().bytes());
  load(file().bytes());
  EXPECT_EQ(rows_in_the_file(), nrows);
}

TEST_P(RowsInPlace, EveryNumberOfThreadsGivesTheBitsOfOne) {
  load(file().bytes());
  omp_set_num_threads(1);
  const std::vector<values> expected = results();
  for (const int threads : {2, 3, 16}) {
    omp_set_num_threads(threads);
    EXPECT_EQ(results(), expected) << threads;
  }
}

#if !defined(VELKO_SANITIZED)
/// KiB of the process that belong to no file.
i8 kibibytes_of_its_own() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line))
    if (line.starts_with("RssAnon:")) return std::stoll(line.substr(8));
  return -1;
}

TEST_P(RowsInPlace, RowsTakeNoMemoryThatRunsSideBySideCannotShare) {
  load(file().bytes());
  results();
  reset_state();
  const i8 before = kibibytes_of_its_own();
  ASSERT_GT(before, 0);
  load_name(name_);
  results();
  const i8 rows = static_cast<i8>(store.Gs_file.bytes().size()) / 1024;
  EXPECT_LT(kibibytes_of_its_own() - before, rows / 2);
}
#endif

INSTANTIATE_TEST_SUITE_P(Forms, RowsInPlace, testing::Values(sparse_form, dense_form),
                         [](const auto& of) { return of.param.name; });

}  // namespace
}  // namespace velko
