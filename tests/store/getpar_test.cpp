#include "store/getpar.h"

#include <gmock/gmock.h>
#include <omp.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <limits>

#include "arrays/memory_limit.h"
#include "reports/reports.h"
#include "store/state.h"
#include "tests/support/dense_values.h"
#include "tests/support/fresh_problem.h"
#include "tests/support/little_memory.h"
#include "tests/support/sensitivity_file.h"
#include "tests/support/temporary_folder.h"
#include "wavelet/wtn_mod.h"

extern "C" std::size_t kmp_get_stacksize_s();

namespace velko {
namespace {

using test::bytes_of;
using test::dense_values;
using test::framed;
using test::sensitivity_file;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr i4 most = std::numeric_limits<i4>::max();

class Getpar : public testing::Test {
 protected:
  stop_or_done load(const sensitivity_file& file) { return load_bytes(file.bytes()); }
  stop_or_done load_bytes(const std::string& bytes) {
    name_ = folder_.write("velkosta.mtx", bytes);
    return load_name(name_);
  }
  stop_or_done load_name(const std::string& name) {
    reset_state();
    const capture console_capture(console());
    const capture log_capture(log_file());
    const stop_or_done end = run_until_stop([&] { getpar(name); });
    said_ = console_capture.text;
    logged_ = log_capture.text;
    return end;
  }

  void expect_read_error(const std::string& bytes, const std::string& where = "") {
    EXPECT_EQ(load_bytes(bytes), (stop_or_done{stop_or_done::stopped, ""})) << where;
    EXPECT_THAT(said_, testing::EndsWith("\nERROR reading sensitivity file " + name_ + "\n")) << where;
    EXPECT_EQ(said_, logged_) << where;
  }
  void expect_read_error(const sensitivity_file& file, const std::string& where = "") {
    expect_read_error(file.bytes(), where);
  }

  test::fresh_problem problem_;
  test::temporary_folder folder_;
  std::string name_, said_, logged_;
};

const std::string dense_warning =
    "\n"
    "WARNING: no compression is used for the sensitivity matrix.\n"
    "The program will run longer and need a lot more memory.\n"
    "\n";

sensitivity_file compressed_file() {
  return sensitivity_file(2, 2, 2).haar().row({{1, 0.5F}, {8, -2.0F}}).row({}).row({{3, 4.0F}});
}
sensitivity_file dense_file() {
  return sensitivity_file(1, 2, 2).dense_row({1, 2, 3, 4}).dense_row({5, 6, 7, 8});
}

TEST_F(Getpar, FillsTheWholeStoreFromACompressedFile) {
  ASSERT_EQ(load(compressed_file()
                     .itop({1, 0, 0, 2})
                     .cube(2, 4, 8)
                     .filter({0.1, 0.2, 0.3})
                     .ztop(44.5)
                     .wtz({1, 2, 3, 4, 5})
                     .gdiag({5, 4, 3, 2, 1})),
            stop_or_done{});
  EXPECT_EQ(store.ndata_mtx, 3);
  EXPECT_EQ(store.ncol, 5);
  EXPECT_EQ(mesh.ny, 2);
  EXPECT_EQ(mesh.ztop, 44.5);
  EXPECT_THAT(mesh.dz.elements(), ElementsAre(10, 10));
  EXPECT_THAT(mesh.itop.elements(), ElementsAre(1, 0, 0, 2));
  EXPECT_EQ(store.nfilter, 3);
  EXPECT_TRUE(store.compressed);
  EXPECT_THAT(store.wfilter.elements(), ElementsAre(0.1, 0.2, 0.3));
  EXPECT_EQ(store.ncube_y, 2);
  EXPECT_EQ(store.ncube_x, 4);
  EXPECT_EQ(store.ncube_z, 8);
  EXPECT_EQ(store.ncube, 64);
  EXPECT_EQ(store.wtz_kind, 1);
  EXPECT_THAT(store.wtz.elements(), ElementsAre(1, 2, 3, 4, 5));
  EXPECT_THAT(store.gdiag.elements(), ElementsAre(5, 4, 3, 2, 1));
  EXPECT_EQ(store.Gfull.size(), 0);
  EXPECT_EQ(said_, "");
  EXPECT_EQ(logged_, "");
}

TEST_F(Getpar, RowsHaveExactlyTheirEntries) {
  ASSERT_EQ(load(compressed_file()), stop_or_done{});
  ASSERT_EQ(store.Gs.size(), 3);
  EXPECT_THAT(store.Gs(1).idx.elements(), ElementsAre(1, 8));
  EXPECT_THAT(store.Gs(1).val.elements(), ElementsAre(0.5F, -2.0F));
  EXPECT_THAT(store.Gs(3).idx.elements(), ElementsAre(3));
  EXPECT_THAT(store.Gs(3).val.elements(), ElementsAre(4.0F));
}

TEST_F(Getpar, RowWithNoEntriesKeepsBothArraysEmpty) {
  ASSERT_EQ(load(compressed_file()), stop_or_done{});
  EXPECT_THAT(store.Gs(2).idx.elements(), IsEmpty());
  EXPECT_THAT(store.Gs(2).val.elements(), IsEmpty());
}

TEST_F(Getpar, SetsTheFilterOfACompressedFile) {
  ASSERT_EQ(load(compressed_file().filter({0.1, 0.2})), stop_or_done{});
  EXPECT_EQ(wavelet.filter_len, 2);
  EXPECT_THAT(wavelet.lo_filter.elements(), ElementsAre(0.1, 0.2));
}

TEST_F(Getpar, FillsGfullFromADenseFileAndWarns) {
  ASSERT_EQ(load(dense_file()), stop_or_done{});
  EXPECT_FALSE(store.compressed);
  EXPECT_EQ(store.Gfull.extent(1), 4);
  EXPECT_EQ(store.Gfull.extent(2), 2);
  EXPECT_THAT(dense_values(), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
  EXPECT_EQ(store.Gs.size(), 0);
  EXPECT_EQ(wavelet.filter_len, 0);
  EXPECT_EQ(said_, dense_warning);
  EXPECT_EQ(logged_, dense_warning);
}

TEST_F(Getpar, DenseRowsStandInTheFileWithTheLengthWordsBetweenThem) {
  ASSERT_EQ(load(dense_file()), stop_or_done{});
  EXPECT_EQ(store.Gfull.leading_dimension(), 6);
  EXPECT_EQ(store.Gfull(2, 2), 6);
  EXPECT_THAT(store.Gfull.row(2).elements(), ElementsAre(5, 6, 7, 8));
  const auto* first = reinterpret_cast<const std::byte*>(store.Gfull.first());
  EXPECT_TRUE(store.Gs_file.bytes().data() < first && first < &store.Gs_file.bytes().back());
}

TEST_F(Getpar, DenseRowsOfRecordsThatAreNotAllAlikeAreCopied) {
  for (const std::size_t longer : {7U, 8U}) {
    sensitivity_file file = dense_file();
    ASSERT_EQ(load(file.payload(longer, file.payloads()[longer - 1] + "more")), stop_or_done{});
    EXPECT_EQ(store.Gfull.leading_dimension(), 4);
    EXPECT_TRUE(store.Gs_file.bytes().empty());
    EXPECT_THAT(dense_values(), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
  }
}

TEST_F(Getpar, DenseRowsWithoutColumnsAreEmpty) {
  ASSERT_EQ(load(sensitivity_file(1, 1, 1).ncol(0).wtz({}).gdiag({}).dense_row({}).dense_row({})),
            stop_or_done{});
  EXPECT_EQ(store.Gfull.extent(1), 0);
  EXPECT_EQ(store.Gfull.extent(2), 2);
}

TEST_F(Getpar, NegativeFilterLengthMeansDense) {
  ASSERT_EQ(load(dense_file().nfilter(-3)), stop_or_done{});
  EXPECT_EQ(store.nfilter, -3);
  EXPECT_FALSE(store.compressed);
  EXPECT_EQ(store.wfilter.size(), 0);
  EXPECT_EQ(said_, dense_warning);
}

TEST_F(Getpar, CubeSizeOfADenseFileIsReadAndHasNoInfluence) {
  ASSERT_EQ(load(dense_file().cube(1 << 20, 1 << 20, 1 << 20)), stop_or_done{});
  EXPECT_EQ(store.ncube_y, 1 << 20);
  EXPECT_EQ(store.ncube, 0);
}

TEST_F(Getpar, NoRowsLetTheDiagonalFollowTheWeights) {
  ASSERT_EQ(load(sensitivity_file(1, 1, 2).haar().gdiag({8, 9})), stop_or_done{});
  EXPECT_EQ(store.Gs.size(), 0);
  EXPECT_THAT(store.gdiag.elements(), ElementsAre(8, 9));
  ASSERT_EQ(load(sensitivity_file(1, 1, 2).gdiag({8, 9})), stop_or_done{});
  EXPECT_EQ(store.Gfull.size(), 0);
}

TEST_F(Getpar, NegativeCountOfRowsIsNone) {
  ASSERT_EQ(load(sensitivity_file(1, 1, 2).haar().ndata(-4)), stop_or_done{});
  EXPECT_EQ(store.ndata_mtx, -4);
  EXPECT_EQ(store.Gs.size(), 0);
}

TEST_F(Getpar, RecordsLongerThanTheirItemsAreAccepted) {
  for (std::size_t n = 1; n <= compressed_file().payloads().size(); ++n) {
    sensitivity_file file = compressed_file();
    file.payload(n, file.payloads()[n - 1] + "and more");
    EXPECT_EQ(load(file), stop_or_done{}) << "record " << n;
  }
  EXPECT_THAT(store.Gs(3).idx.elements(), ElementsAre(3));
}

TEST_F(Getpar, RecordsBehindTheDiagonalAreIgnored) {
  EXPECT_EQ(load(compressed_file().append(framed("another record"))), stop_or_done{});
  EXPECT_EQ(load(compressed_file().append("no record at all")), stop_or_done{});
}

TEST_F(Getpar, NegativeRowLengthCountsAsNoEntries) {
  ASSERT_EQ(load(compressed_file().row_bytes(bytes_of(i4{-5}))), stop_or_done{});
  EXPECT_THAT(store.Gs(4).idx.elements(), IsEmpty());
}

TEST_F(Getpar, ReadsSegmentedRecords) {
  for (const std::size_t segment : {1U, 3U, 4U, 7U, 8U, 24U}) {
    ASSERT_EQ(load(compressed_file().segments_of(segment)), stop_or_done{}) << segment;
    EXPECT_THAT(store.Gs(1).idx.elements(), ElementsAre(1, 8));
    EXPECT_THAT(store.Gs(1).val.elements(), ElementsAre(0.5F, -2.0F));
    ASSERT_EQ(load(dense_file().segments_of(segment)), stop_or_done{}) << segment;
    EXPECT_THAT(dense_values(), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
  }
}

TEST_F(Getpar, ReadsTheRecordsOfTheFortranRunTime) {
  const std::string name = folder_.path("fortran.mtx");
  ASSERT_EQ(std::system((std::string(JUDGE_RECORDS) + " " + name).c_str()), 0);
  ASSERT_EQ(load_name(name), stop_or_done{});
  EXPECT_EQ(mesh.nx, 3);
  EXPECT_EQ(mesh.ztop, 123.5);
  EXPECT_THAT(mesh.dx.elements(), Each(20));
  EXPECT_EQ(store.ncube, 32);
  EXPECT_THAT(store.wtz.elements(), SizeIs(24));
  EXPECT_EQ(store.wtz(24), 12);
  EXPECT_THAT(store.Gs(1).idx.elements(), ElementsAre(1, 8, 9, 31, 32));
  EXPECT_THAT(store.Gs(1).val.elements(), ElementsAre(0.25F, 0.5F, 0.75F, 1.0F, 1.25F));
  EXPECT_EQ(store.Gs(2).idx.size(), 0);
  EXPECT_EQ(store.gdiag(24), -24);
}

TEST_F(Getpar, TakesAPipeAsWellAsAFile) {
  folder_.write("velkosta.mtx", compressed_file().bytes());
  const std::string fifo = folder_.path("fifo");
  ASSERT_EQ(
      std::system(
          ("mkfifo " + fifo + " && (cat " + folder_.path("velkosta.mtx") + " > " + fifo + " &)").c_str()),
      0);
  ASSERT_EQ(load_name(fifo), stop_or_done{});
  EXPECT_THAT(store.Gs(1).idx.elements(), ElementsAre(1, 8));
}

/// A stream whose every write calls a function.
class calling_stream {
 public:
  explicit calling_stream(std::function<void()> call) : call_(std::move(call)) {}
  calling_stream(const calling_stream&) = delete;
  ~calling_stream() { std::fclose(file_); }
  std::FILE* file() { return file_; }

 private:
  static ssize_t write(void* self, const char*, std::size_t size) {
    static_cast<calling_stream*>(self)->call_();
    return static_cast<ssize_t>(size);
  }
  std::function<void()> call_;
  std::FILE* file_ = fopencookie(this, "w", {nullptr, write, nullptr, nullptr});
};

/// Something happens to the file while it is read: when the loader flushes the channels between header and weights.
class FileChangesDuringTheLoad : public Getpar {
 protected:
  ~FileChangesDuringTheLoad() override {
    console().send_to(stdout);
    log_file().close();
  }
  stop_or_done load_and_meanwhile(const sensitivity_file& file, const std::function<void()>& change) {
    name_ = folder_.write("velkosta.mtx", file.bytes());
    calling_stream stream([&] {
      if (loading_) change();
    });
    console().send_to(stream.file());
    console().write_line("words on the way");
    loading_ = true;
    const stop_or_done end = run_until_stop([&] { getpar(name_); });
    loading_ = false;
    console().send_to(stdout);
    return end;
  }
  void overwrite(const sensitivity_file& file) {
    folder_.write("velkosta.mtx", file.bytes());
    touch();
  }
  void touch() {
    using namespace std::filesystem;
    last_write_time(name_, file_time_type(std::chrono::seconds(++seconds_)));
  }

  bool loading_ = false;

 private:
  int seconds_ = 1000;
};

sensitivity_file other_dense_file() {
  return sensitivity_file(1, 2, 2).ztop(7).wtz({9, 9, 9, 9}).dense_row({0, 0, 0, 1}).dense_row({2, 2, 2, 2});
}

TEST_F(FileChangesDuringTheLoad, DenseFileThatIsOverwrittenIsReadAgain) {
  ASSERT_EQ(load_and_meanwhile(dense_file(), [&] { overwrite(other_dense_file()); }), stop_or_done{});
  EXPECT_EQ(mesh.ztop, 7);
  EXPECT_THAT(store.wtz.elements(), Each(9));
  EXPECT_THAT(dense_values(), ElementsAre(0, 0, 0, 1, 2, 2, 2, 2));
}

TEST_F(FileChangesDuringTheLoad, CompressedFileThatAnotherIsCopiedOverIsReadAgain) {
  const auto other = sensitivity_file(2, 2, 2).ztop(7).filter({0.25, 0.5}).row({{2, 1.0F}});
  ASSERT_EQ(load_and_meanwhile(compressed_file(), [&] { overwrite(other); }), stop_or_done{});
  EXPECT_EQ(mesh.ztop, 7);
  EXPECT_EQ(wavelet.lo_filter(1), 0.25);
  ASSERT_EQ(store.Gs.size(), 1);
  EXPECT_THAT(store.Gs(1).idx.elements(), ElementsAre(2));
  EXPECT_TRUE(store.Gs_file.unchanged());
}

TEST_F(FileChangesDuringTheLoad, CompressedFileThatADenseOneIsCopiedOverBecomesThat) {
  ASSERT_EQ(load_and_meanwhile(compressed_file(), [&] { overwrite(other_dense_file()); }), stop_or_done{});
  EXPECT_FALSE(store.compressed);
  EXPECT_EQ(wavelet.filter_len, 0);
  EXPECT_EQ(store.Gs.size(), 0);
}

TEST_F(FileChangesDuringTheLoad, TouchedFileIsNoLoss) {
  ASSERT_EQ(load_and_meanwhile(dense_file(), [&] { touch(); }), stop_or_done{});
  EXPECT_THAT(dense_values(), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
}

TEST_F(FileChangesDuringTheLoad, WarningOfTheDenseFormIsSaidOnce) {
  calling_stream stream([&] { touch(); });
  name_ = folder_.write("velkosta.mtx", dense_file().bytes());
  log_file().send_to(stream.file());
  log_file().write_line("words on the way");
  const capture said(console());
  EXPECT_EQ(run_until_stop([&] { getpar(name_); }), stop_or_done{});
  EXPECT_EQ(said.text, dense_warning);
}

TEST_F(FileChangesDuringTheLoad, FileThatChangesAtEveryAttemptCannotBeRead) {
  int attempts = 0;
  // Each channel's flush leaves words for the next flush of the other.
  calling_stream log_stream([&] {
    if (loading_) console().write_line("again");
  });
  log_file().send_to(log_stream.file());
  const stop_or_done end = load_and_meanwhile(compressed_file(), [&] {
    ++attempts;
    touch();
    log_file().write_line("again");
  });
  EXPECT_EQ(end, (stop_or_done{stop_or_done::stopped, ""}));
  EXPECT_EQ(attempts, 3);
}

/// What has reached the file behind a channel when a load ends at the weights, its own message still on the way.
std::string out_before_the_weights(channel& tested, const test::temporary_folder& folder) {
  const std::string mtx = folder.write("velkosta.mtx", compressed_file().payload(6, "").bytes());
  std::FILE* file = std::fopen(folder.path("said").c_str(), "w");
  tested.send_to(file);
  tested.write_line("said before");
  EXPECT_EQ(run_until_stop([&] { getpar(mtx); }).kind, stop_or_done::stopped);
  const std::string out = folder.read("said");
  tested.send_to(&tested == &console() ? stdout : nullptr);
  std::fclose(file);
  return out;
}

TEST_F(Getpar, WhatWasSaidIsOutBeforeTheLongReads) {
  EXPECT_EQ(out_before_the_weights(console(), folder_), "said before\n");
  reset_state();
  const capture console_capture(console());
  EXPECT_EQ(out_before_the_weights(log_file(), folder_), "said before\n");
}

TEST_F(Getpar, WorkerStacksHoldTwoCubesWhenCompressed) {
  ASSERT_EQ(load(compressed_file().cube(128, 128, 64)), stop_or_done{});
  EXPECT_EQ(kmp_get_stacksize_s(), std::size_t{16} * 128 * 128 * 64);
}

TEST_F(Getpar, WorkerStacksHoldTwoRowsWhenDense) {
  sensitivity_file file(1, 1024, 1024);
  ASSERT_EQ(load(file.cube(1, 1, 1)), stop_or_done{});
  EXPECT_EQ(kmp_get_stacksize_s(), std::size_t{16} * 1024 * 1024);
}

/// The run-time takes whole pages, and the last one too.
TEST_F(Getpar, WorkerStacksOfTheWholeTeamStayBelowAQuarterOfTheMemory) {
  ASSERT_EQ(load(compressed_file().cube(most, 1, 1)).text, "");
  EXPECT_LE(static_cast<i8>(kmp_get_stacksize_s()) * (omp_get_max_threads() - 1), memory_limit() / 4);
}

TEST_F(Getpar, WorkerStacksAreLeftAloneWhenTheCubeIsEmpty) {
  ASSERT_EQ(load(compressed_file().cube(128, 128, 32)), stop_or_done{});
  const std::size_t before = kmp_get_stacksize_s();
  load(compressed_file().cube(0, 8, 8));
  EXPECT_EQ(kmp_get_stacksize_s(), before);
  load(compressed_file().cube(-8, 8, 8));
  EXPECT_EQ(kmp_get_stacksize_s(), before);
}

TEST_F(Getpar, FileThatCannotBeOpenedIsReportedAsNotFound) {
  for (const std::string& name : {folder_.path("missing.mtx"), folder_.path()}) {
    EXPECT_EQ(load_name(name + "   "), (stop_or_done{stop_or_done::stopped, ""}));
    EXPECT_EQ(said_, "\n ERROR: sensitivity file not found: " + name + "\n");
    EXPECT_EQ(logged_, said_);
  }
}

TEST_F(Getpar, EveryPrefixOfACompressedFileStopsWithTheReadError) {
  const std::string whole = compressed_file().bytes();
  for (std::size_t length = 0; length < whole.size(); ++length)
    expect_read_error(whole.substr(0, length), std::to_string(length));
}

TEST_F(Getpar, EveryPrefixOfADenseFileStopsWithTheReadError) {
  const std::string whole = dense_file().bytes();
  for (std::size_t length = 0; length < whole.size(); ++length)
    expect_read_error(whole.substr(0, length), std::to_string(length));
}

TEST_F(Getpar, ReadErrorIsAllThatIsSaid) {
  expect_read_error(compressed_file().cut_bytes(3));
  EXPECT_EQ(said_, "\nERROR reading sensitivity file " + name_ + "\n");
}

TEST_F(Getpar, RecordShorterThanItsItemsStopsWithTheReadError) {
  for (const sensitivity_file& whole : {compressed_file(), dense_file()})
    for (std::size_t n = 1; n <= whole.payloads().size(); ++n) {
      sensitivity_file file = whole;
      std::string payload = file.payloads()[n - 1];
      payload.pop_back();
      expect_read_error(file.payload(n, payload), "record " + std::to_string(n));
    }
}

TEST_F(Getpar, RowThatPromisesMoreThanItsRecordHoldsStopsWithTheReadError) {
  expect_read_error(compressed_file().row_bytes(bytes_of(i4{8}) + bytes_of(i4{1})));
  expect_read_error(compressed_file().row_bytes(bytes_of(most)));
}

TEST_F(Getpar, RowLongerThanTheCubeStopsBeforeItOverrunsAnything) {
  const std::vector<test::entry> nine(9, {1, 1.0F});
  EXPECT_EQ(load(compressed_file().row(nine)), (stop_or_done{stop_or_done::stopped, "nnz > ncube"}));
  EXPECT_EQ(said_, "");
  EXPECT_EQ(load(compressed_file().row(std::vector<test::entry>(8, {1, 1.0F}))), stop_or_done{});
}

TEST_F(Getpar, RowInSegmentsThatIsTooShortStopsWithTheReadErrorWhateverItsCount) {
  const std::string nine_promised_one_there = bytes_of(i4{9}) + bytes_of(i4{1}) + bytes_of(1.0F);
  for (const std::size_t segment : {5U, 7U, 8U})
    expect_read_error(compressed_file().row_bytes(nine_promised_one_there).segments_of(segment),
                      "segments of " + std::to_string(segment));
  const std::vector<test::entry> nine(9, {1, 1.0F});
  EXPECT_EQ(load(compressed_file().row(nine).segments_of(7)),
            (stop_or_done{stop_or_done::stopped, "nnz > ncube"}));
}

TEST_F(Getpar, CubeWhoseProductWrapsStopsBeforeTheRows) {
  EXPECT_EQ(load(compressed_file().cube(1 << 16, 1 << 16, 1)),
            (stop_or_done{stop_or_done::stopped, "ncube beyond 32 bits"}));
}

TEST_F(Getpar, HugeCountsInATinyFileFailAtOnce) {
  const auto header = [](i4 ndata, i4 ncol, i4 ny, i4 nx, i4 nz) {
    return framed(bytes_of(std::vector<i4>{ndata, ncol, ny, nx, nz}));
  };
  expect_read_error(header(1, 1, 200000000, 1, 1));
  expect_read_error(header(1, 1, 1, 1, 200000000));
  expect_read_error(compressed_file().payload(4, bytes_of(most)), "filter");
  expect_read_error(compressed_file().payload(4, bytes_of(most)).segments_of(2), "filter in segments");
}

TEST_F(Getpar, CountsThatTheMachineCannotHoldEndWithTheirOwnReport) {
  const sensitivity_file many_rows = compressed_file().ndata(most);  // 64 GiB for the list of rows alone
  const sensitivity_file many_columns = compressed_file().ncol(most).wtz({1}).gdiag({1});
  for (const sensitivity_file& file : {many_rows, many_columns}) {
    const stop_or_done end = load(file);
    EXPECT_TRUE(end ==
                    (stop_or_done{stop_or_done::failed, "velko: out of memory: 68719476704 bytes refused"}) ||
                said_ == "\nERROR reading sensitivity file " + name_ + "\n");
  }
}

TEST_F(Getpar, DenseMatrixThatTheMachineCannotHoldIsReported) {
  // ncol x ndata_mtx x 4 bytes = 2^60.
  const std::string weights = bytes_of(i4{1}) + std::string(std::size_t{8} << 17, '\0');
  const stop_or_done end = load(dense_file().wtz({}).ncol(1 << 17).ndata(most).gdiag({}).payload(6, weights));
  EXPECT_EQ(end, (stop_or_done{stop_or_done::stopped, ""}));
  EXPECT_EQ(said_, dense_warning + "\nMemory allocation error in: getpar Gfull\n\n");
  EXPECT_EQ(logged_, said_);
}

#if !defined(VELKO_SANITIZED)
class GetparWithLittleMemory : public Getpar {
 protected:
  /// Loads with so many bytes beyond what the process has.
  void load_within(i8 bytes, const sensitivity_file& file) {
    name_ = folder_.write("velkosta.mtx", file.bytes());
    const test::little_memory limit(bytes);
    EXPECT_EQ(load_name(name_), (stop_or_done{stop_or_done::stopped, ""}));
  }
};

TEST_F(GetparWithLittleMemory, NoRoomForAFullRowIsReported) {
  load_within(i8{100} << 20, compressed_file().cube(1 << 26, 1, 1));
  EXPECT_EQ(said_, "\nMemory allocation error in: getpar\n\n");
  EXPECT_EQ(logged_, said_);
}

TEST_F(GetparWithLittleMemory, NoRoomForTheRowsIsReported) {
  const std::string not_aligned = bytes_of(i4{1}) + bytes_of(1.0) + "x";  // so that the rows are copied
  load_within(i8{20} << 20, compressed_file().payload(4, not_aligned));
  EXPECT_EQ(said_, "\nMemory allocation error in: getpar Gs\n\n");
  EXPECT_EQ(logged_, said_);
}

TEST_F(GetparWithLittleMemory, NoRoomForTheDiagonalIsReported) {
  constexpr i4 ncol = 1 << 24;  // weights of 128 MiB fit, a diagonal of the same size doesn't
  load_within(i8{200} << 20, sensitivity_file(1, 4096, 4096).ncol(ncol).gdiag({}));
  EXPECT_EQ(said_, dense_warning + "\nMemory allocation error in: getpar gdiag\n\n");
  EXPECT_EQ(logged_, said_);
}
#endif

TEST_F(Getpar, ReportsReachTheConsoleEvenWhileTheLogIsClosed) {
  const capture console_capture(console());
  run_until_stop([&] { getpar(folder_.path("missing")); });
  EXPECT_THAT(console_capture.text, testing::HasSubstr("ERROR: sensitivity file not found"));
}

}  // namespace
}  // namespace velko
