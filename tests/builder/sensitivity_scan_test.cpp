/// What a sensitivity file holds, and every way in which its contents may not fit together.
#include "builder/sensitivity_scan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "builder/daubechies.h"
#include "fuzz/fuzz_input.h"
#include "reports/program_stop.h"
#include "reports/reports.h"
#include "tests/support/sensitivity_file.h"

namespace velko {
namespace {

using test::bytes_of;
using test::sensitivity_file;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr r8 nan8 = std::numeric_limits<r8>::quiet_NaN(), inf8 = std::numeric_limits<r8>::infinity();
constexpr r4 nan4 = std::numeric_limits<r4>::quiet_NaN();

class SensitivityScan : public testing::Test {
 protected:
  sensitivity_contents scan(const sensitivity_file& file) { return scan_bytes(file.bytes()); }
  sensitivity_contents scan_bytes(const std::string& bytes) {
    const fuzz::named_bytes file(bytes);  // in memory: there are thousands of them
    return scan_sensitivity_file(file.name());
  }
  std::vector<std::string> faults_of(const sensitivity_file& file) { return scan(file).faults; }
};

sensitivity_file compressed() {
  return sensitivity_file().haar().row({{1, 0.5f}, {8, -2.5f}}).row({}).row({{3, 4.0f}});
}

sensitivity_file dense() {
  return sensitivity_file().dense_row({1, 2, 3, 4, 5, 6, 7, 8}).dense_row({-1, 0, 0, 0, 0, 0, 0, 0});
}

TEST_F(SensitivityScan, FileThatFitsTogetherHasNoFaults) {
  for (const sensitivity_file& file :
       {compressed(), dense(), sensitivity_file().haar(), sensitivity_file()}) {
    const sensitivity_contents c = scan(file);
    EXPECT_TRUE(c.complete);
    EXPECT_THAT(c.faults, IsEmpty());
  }
}

TEST_F(SensitivityScan, ContentsAreThoseOfTheFile) {
  const sensitivity_contents c = scan(sensitivity_file(1, 2, 4)
                                          .itop({0, 3})
                                          .ztop(12)
                                          .znode({0, 1, 2, 4, 8})
                                          .wtz({1, 2, 3, 4, 0.5})
                                          .gdiag({9, 8, 7, 6, 5})
                                          .haar()
                                          .row({{1, 0.5f}, {8, -2.5f}})
                                          .row({}));
  EXPECT_EQ(c.ndata_mtx, 2);
  EXPECT_EQ(c.ncol, 5);
  EXPECT_THAT((std::vector{c.ny, c.nx, c.nz}), ElementsAre(1, 2, 4));
  EXPECT_THAT(c.xnode, ElementsAre(0, 10, 20));
  EXPECT_THAT(c.ynode, ElementsAre(0, 10));
  EXPECT_THAT(c.znode, ElementsAre(0, 1, 2, 4, 8));
  EXPECT_EQ(c.ztop, 12);
  EXPECT_EQ(c.itop.least, 0);
  EXPECT_EQ(c.itop.most, 3);
  EXPECT_EQ(c.cells_below, 5);
  EXPECT_EQ(c.cells_above, 3);
  EXPECT_TRUE(c.compressed());
  EXPECT_EQ(c.wfilter.size(), 2u);
  EXPECT_THAT((std::vector{c.cube.y, c.cube.x, c.cube.z}), ElementsAre(1, 2, 4));
  EXPECT_EQ(c.wtz_kind, 1);
  EXPECT_EQ(c.wtz.least, 0.5);
  EXPECT_EQ(c.wtz.most, 4);
  EXPECT_EQ(c.gdiag.least, 5);
  EXPECT_EQ(c.gdiag.most, 9);
  EXPECT_THAT(c.nnz, ElementsAre(2, 0));
  EXPECT_EQ(c.values.least, -2.5f);
  EXPECT_EQ(c.values.most, 0.5f);
}

TEST_F(SensitivityScan, BytesAreThoseOfTheFile) {
  EXPECT_EQ(scan(compressed()).bytes, static_cast<i8>(compressed().bytes().size()));
}

TEST_F(SensitivityScan, DenseRowsAreAsLongAsG) {
  const sensitivity_contents c = scan(dense());
  EXPECT_FALSE(c.compressed());
  EXPECT_THAT(c.nnz, ElementsAre(8, 8));
  EXPECT_EQ(c.values.least, -1);
  EXPECT_EQ(c.values.most, 8);
}

TEST_F(SensitivityScan, RecordsInSegmentsAreRead) {
  EXPECT_THAT(faults_of(compressed().segments_of(5)), IsEmpty());
  EXPECT_THAT(faults_of(dense().segments_of(7)), IsEmpty());
}

TEST_F(SensitivityScan, MissingFileHasTheLoadersReport) {
  capture reports(console());
  EXPECT_EQ(run_until_stop([] { scan_sensitivity_file("none"); }).kind, stop_or_done::stopped);
  EXPECT_EQ(reports.text, "\n ERROR: sensitivity file not found: none\n");
}

TEST_F(SensitivityScan, DeviceIsRefused) {
  EXPECT_EQ(run_until_stop([] { scan_sensitivity_file("/dev/zero"); }).text,
            "velkmtx: /dev/zero is not a regular file");
}

TEST_F(SensitivityScan, EveryPrefixHasAFaultAtItsEnd) {
  for (const sensitivity_file& file : {compressed(), dense(), compressed().segments_of(9)}) {
    const std::string bytes = file.bytes();
    for (std::size_t n = 0; n < bytes.size(); ++n) {
      const sensitivity_contents c = scan_bytes(bytes.substr(0, n));
      EXPECT_FALSE(c.complete) << n;
      ASSERT_FALSE(c.faults.empty()) << n;
      EXPECT_THAT(c.faults.back(), testing::ContainsRegex("^(record [1-8] \\([a-z]+\\)|row [1-3]) is "));
    }
  }
}

TEST_F(SensitivityScan, EveryByteMayBeSpoilt) {
  for (const sensitivity_file& file : {compressed(), dense()}) {
    const std::string bytes = file.bytes();
    for (std::size_t n = 0; n < bytes.size(); ++n)
      for (const char flip : {'\x01', '\x7f', '\x80', '\xff'}) {
        std::string spoilt = bytes;
        spoilt[n] = static_cast<char>(spoilt[n] ^ flip);
        const sensitivity_contents c = scan_bytes(spoilt);
        EXPECT_TRUE(c.complete || !c.faults.empty());
      }
  }
}

TEST_F(SensitivityScan, CutFileNamesTheRecord) {
  EXPECT_THAT(faults_of(compressed().cut_bytes(1)),
              ElementsAre("record 8 (diagonal) is cut off, or its length words differ"));
  EXPECT_THAT(faults_of(compressed().cut_bytes(8 + 64)),
              ElementsAre("record 8 (diagonal) is missing: the file ends before it"));
  EXPECT_THAT(faults_of(compressed().cut_bytes(8 + 64 + 2)),
              ElementsAre("row 3 is cut off, or its length words differ"));
}

TEST_F(SensitivityScan, BytesBehindTheLastRecordAreAFault) {
  for (const char* more : {"x", "1234567", "\4\0\0\0abcd\4\0\0\0"})
    EXPECT_THAT(faults_of(compressed().append(more)), ElementsAre("bytes follow the last record"));
}

TEST_F(SensitivityScan, RecordLongerThanItsItemsIsAFault) {
  const std::vector<std::string> payloads = compressed().payloads();
  const auto lengthened = [&](std::size_t n) {
    return faults_of(compressed().payload(n, payloads[n - 1] + "more"));
  };
  EXPECT_THAT(lengthened(1), ElementsAre("record 1 (header) is longer than its items"));
  EXPECT_THAT(lengthened(4), ElementsAre("record 4 (filter) is longer than its items"));
  EXPECT_THAT(lengthened(8), ElementsAre("row 2: its record is longer than its items"));
  EXPECT_THAT(lengthened(10), ElementsAre("record 8 (diagonal) is longer than its items"));
}

TEST_F(SensitivityScan, RecordShorterThanTheCountsEndsTheScan) {
  const std::vector<std::string> payloads = compressed().payloads();
  const auto shortened = [&](std::size_t n) {
    return faults_of(compressed().payload(n, payloads[n - 1].substr(4)));
  };
  EXPECT_THAT(shortened(2), ElementsAre("record 2 (mesh) is too short for the counts"));
  EXPECT_THAT(shortened(3), ElementsAre("record 3 (surface) is too short for the counts"));
  EXPECT_THAT(shortened(6), ElementsAre("record 6 (weights) is too short for the counts"));
  EXPECT_THAT(shortened(10), ElementsAre("record 8 (diagonal) is too short for the counts"));
}

TEST_F(SensitivityScan, HugeCountsAreNoMoreThanFaults) {
  const i4 huge = std::numeric_limits<i4>::max(), low = std::numeric_limits<i4>::min();
  for (const i4 n : {huge, low, -1})
    for (std::size_t at = 0; at < 5; ++at) {
      std::vector<i4> header{3, 8, 2, 2, 2};
      header[at] = n;
      EXPECT_FALSE(faults_of(compressed().payload(1, bytes_of(header))).empty());
    }
  EXPECT_FALSE(faults_of(compressed().nfilter(huge)).empty());
  EXPECT_FALSE(faults_of(compressed().cube(huge, huge, huge)).empty());
  EXPECT_FALSE(faults_of(compressed().cube(low, huge, low)).empty());
  EXPECT_FALSE(faults_of(compressed().row_bytes(bytes_of(huge))).empty());
}

TEST_F(SensitivityScan, CountsBelowOneAreFaults) {
  const auto header = [&](std::vector<i4> counts) {
    return faults_of(compressed().payload(1, bytes_of(counts))).front();
  };
  EXPECT_EQ(header({-3, 8, 2, 2, 2}), "ndata_mtx is -3");
  EXPECT_EQ(header({3, -8, 2, 2, 2}), "ncol is -8");
  EXPECT_EQ(header({3, 8, 2, 0, 2}), "ny, nx, nz are 2, 0, 2; each should be at least 1");
  EXPECT_EQ(header({3, 8, 2000, 2000, 2000}),
            "ny, nx, nz are 2000, 2000, 2000: more cells than 32 bits can count");
}

TEST_F(SensitivityScan, EdgesHaveToRise) {
  EXPECT_THAT(faults_of(compressed().znode({0, 5, 5})),
              ElementsAre("znode(3) is 5, which is not above znode(2)"));
  EXPECT_THAT(faults_of(compressed().znode({0, -5, -7})),
              ElementsAre("znode(2) is -5, which is not above znode(1); 1 more like it"));
  EXPECT_THAT(faults_of(compressed().znode({0, nan8, 7})), ElementsAre("znode(2) is nan"));
  EXPECT_THAT(faults_of(compressed().ztop(inf8)), ElementsAre("ztop is inf"));
}

TEST_F(SensitivityScan, SurfaceHasToLieInTheMeshAndMatchNcol) {
  EXPECT_THAT(faults_of(compressed().itop({0, 3, 0, -1}).ncol(8)),
              ElementsAre("itop(2, 1) is 3, not from 0 to nz = 2; 1 more like it"));
  EXPECT_THAT(faults_of(compressed().itop({0, 1, 0, 0}).ncol(8)),
              ElementsAre("ncol is 8, but 7 cells lie below the surface"));
}

TEST_F(SensitivityScan, FilterHasToBeFinite) {
  EXPECT_THAT(faults_of(compressed().filter({1, nan8})), ElementsAre("wfilter(2) is nan: not finite"));
}

TEST_F(SensitivityScan, CubeHasPowersOfTwoNoneBelowTheMesh) {
  EXPECT_THAT(faults_of(compressed().cube(2, 3, 4)), ElementsAre("ncube_x is 3, which is no power of two"));
  EXPECT_THAT(faults_of(compressed().cube(1, 4, 8)), ElementsAre("ncube_y is 1, less than ny = 2"));
  EXPECT_THAT(faults_of(compressed().cube(65536, 65536, 2)),
              ElementsAre("the cube of 65536 x 65536 x 2 has more elements than 32 bits can count"));
}

TEST_F(SensitivityScan, DenseFormHasNoUseForTheCube) {
  EXPECT_THAT(faults_of(dense().cube(0, -1, 3)), IsEmpty());
}

TEST_F(SensitivityScan, WeightsHaveToBeFiniteAndPositive) {
  EXPECT_THAT(faults_of(compressed().wtz({1, 1, 0, 1, -1, 1, 1, inf8})),
              ElementsAre("wtz(3) is 0: not finite and positive; 2 more like it"));
}

TEST_F(SensitivityScan, CountOfARowHasToFitCubeAndRecord) {
  EXPECT_THAT(faults_of(compressed().row_bytes(bytes_of(i4{-2}))),
              ElementsAre("row 4: nnz is -2, not from 0 to ncube = 8"));
  EXPECT_THAT(faults_of(compressed().row_bytes(bytes_of(i4{2}) + "12345678").row({{1, 1.0f}})),
              ElementsAre("row 4: its record is too short for nnz = 2"));
  EXPECT_THAT(faults_of(compressed().row(std::vector<test::entry>(9, {1, 1.0f}))),
              ElementsAre("row 4: nnz is 9, not from 0 to ncube = 8"));
}

TEST_F(SensitivityScan, IndicesHaveToLieInTheCube) {
  EXPECT_THAT(faults_of(compressed().row({{0, 1.0f}, {9, 1.0f}}).row({{-1, 1.0f}})),
              ElementsAre("row 4: idx 0 is not from 1 to ncube = 8; 2 more like it"));
}

TEST_F(SensitivityScan, ValuesHaveToBeFinite) {
  EXPECT_THAT(faults_of(compressed().row({{1, nan4}})), ElementsAre("row 4: a value of G is nan"));
  EXPECT_THAT(faults_of(dense().dense_row({1, 2, 3, 4, nan4, 6, 7, nan4})),
              ElementsAre("row 3: a value of G is nan; 1 more like it"));
  EXPECT_THAT(faults_of(compressed().gdiag({1, 1, 1, -1, 1, 1, 1, nan8})),
              ElementsAre("gdiag(4) is -1: not finite and at least 0; 1 more like it"));
}

TEST_F(SensitivityScan, FaultsInRowsAreToldThoughTheFileIsCutOff) {
  EXPECT_THAT(faults_of(compressed().row({{0, 1.0f}}).cut_bytes(8 + 64)),
              ElementsAre("row 4: idx 0 is not from 1 to ncube = 8",
                          "record 8 (diagonal) is missing: the file ends before it"));
}

TEST(NameOfFilter, KnowsTheFamilyInBothOrders) {
  EXPECT_EQ(name_of_filter(daubechies_filter(2)), "Haar");
  std::vector<r8> filter = daubechies_filter(6);
  EXPECT_EQ(name_of_filter(filter), "Daubechies");
  filter[0] += 1e-11;  // a table with fewer digits
  EXPECT_EQ(name_of_filter(filter), "Daubechies");
  std::reverse(filter.begin(), filter.end());
  EXPECT_EQ(name_of_filter(filter), "Daubechies, reversed");
}

TEST(NameOfFilter, IsEmptyForAnythingElse) {
  EXPECT_EQ(name_of_filter({}), "");
  EXPECT_EQ(name_of_filter({1}), "");
  EXPECT_EQ(name_of_filter({0.5, 0.5}), "");
  EXPECT_EQ(name_of_filter(std::vector<r8>(40, 0.1)), "");
  EXPECT_EQ(name_of_filter({nan8, nan8, nan8, nan8}), "");
}

}  // namespace
}  // namespace velko
