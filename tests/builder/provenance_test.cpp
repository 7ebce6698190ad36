/// The provenance of a file, and the checksums that it holds.
#include "builder/provenance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "builder/checksum.h"
#include "builder/diagonal.h"
#include "builder/file_bytes.h"
#include "builder/sensitivity_scan.h"
#include "files/output_file.h"
#include "store/record_reader.h"
#include "tests/support/sensitivity_file.h"
#include "tests/support/temporary_folder.h"

namespace velko {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Published for XXH3 of no bytes, seed 0.
TEST(Checksum, OfNothingIsThePublishedOne) {
  EXPECT_EQ(running_checksum().value(), 0x2D06800538D394C2u);
}

TEST(Checksum, DependsOnTheBytesAndNotOnThePieces) {
  std::string text;
  for (int n = 0; n < 5000; ++n) text += std::to_string(n);
  const auto bytes = std::as_bytes(std::span(text));
  const std::uint64_t whole = checksum_of(bytes);
  for (const std::size_t cut : {1u, 8u, 239u, 241u, 1024u, 18000u})
    EXPECT_EQ(checksum_of(bytes.first(cut), bytes.subspan(cut)), whole) << cut;
  text[777] ^= 1;
  EXPECT_NE(checksum_of(bytes), whole);
}

survey_state survey_with(std::vector<r8> x, bool own_directions) {
  survey_state s;
  s.incl = 62;
  s.decl = -4;
  s.geomag = 52000;
  s.aincl = 61;
  s.adecl = -3;
  s.idir = own_directions ? 0 : 1;
  s.ndata = static_cast<i4>(x.size());
  for (owned_array1<r8>* a : {&s.xobs, &s.yobs, &s.zobs, &s.aincl_obs, &s.adecl_obs}) {
    if (!own_directions && a == &s.aincl_obs) break;
    *a = owned_array1<r8>(s.ndata);
    for (i4 i = 1; i <= s.ndata; ++i) (*a)(i) = x[static_cast<std::size_t>(i - 1)];
  }
  return s;
}

/// A file of two rows with its provenance, written record by record.
class ProvenanceFile : public testing::Test {
 protected:
  ProvenanceFile() { write(survey_with({100, 200}, false), {1, 2}); }

  void write(const survey_state& s, const survey_rows& rows) const {
    output_file file(folder.path("g"));
    record_writer out(file);
    provenance p;
    p.origin.settings = "wavelet haar\n";
    p.origin.ndata = s.ndata;
    p.origin.survey = checksum_of_survey(s);
    p.rows = rows;
    p.stations = stations_of(s, rows);
    const std::vector<std::string> records =
        test::sensitivity_file(1, 1, 2).haar().row({{1, 0.5f}}).row({{2, 1.5f}, {1, 2.0f}}).payloads();
    for (std::size_t n = 0; n < records.size(); ++n) {
      out.write({std::as_bytes(std::span(records[n]))});
      if (n >= 5) p.end_stretch(out);  // head, two rows, diagonal
    }
    p.end_stretch(out);
    p.loss = {0.25, 0.125};
    write_provenance(out, p);
    file.keep();
  }

  std::vector<std::string> faults() const {
    const sensitivity_contents contents = scan_sensitivity_file(folder.path("g"));
    std::vector<std::string> all = contents.faults;
    all.insert(all.end(), contents.damaged.begin(), contents.damaged.end());
    return all;
  }

  test::temporary_folder folder;
};

TEST_F(ProvenanceFile, IsReadAsItWasWritten) {
  const provenance_reading reading = read_provenance(folder.path("g"));
  ASSERT_TRUE(reading.found);
  const provenance& p = *reading.found;
  EXPECT_EQ(p.origin.settings, "wavelet haar\n");
  EXPECT_EQ(p.rows, (survey_rows{1, 2}));
  EXPECT_EQ(p.stations.geomag, 52000);
  EXPECT_THAT(p.stations.xobs.elements(), ElementsAre(100, 200));
  EXPECT_THAT(p.loss, ElementsAre(0.25, 0.125));
  EXPECT_THAT(faults(), IsEmpty());
}

TEST_F(ProvenanceFile, RowsAreFoundWithoutReadingOthers) {
  const provenance p = std::move(*read_provenance(folder.path("g")).found);
  record_reader in;
  i4 nnz = 0;
  ASSERT_TRUE(in.open(folder.path("g"), p.begin_of_row(2)) && in.begin_record() && in.read(nnz));
  EXPECT_EQ(nnz, 2);
}

TEST_F(ProvenanceFile, DirectionsOfEachDatumAreKept) {
  write(survey_with({100, 200}, true), {1, 2});
  const provenance p = std::move(*read_provenance(folder.path("g")).found);
  EXPECT_THAT(p.stations.adecl_obs.elements(), ElementsAre(100, 200));
}

TEST_F(ProvenanceFile, AFlippedBitIsFoundWhereverItIs) {
  const std::string good = folder.read("g");
  for (std::size_t bit = 0; bit < 8 * good.size(); ++bit) {
    std::string bad = good;
    bad[bit / 8] = static_cast<char>(bad[bit / 8] ^ (1 << bit % 8));
    folder.write("g", bad);
    EXPECT_FALSE(faults().empty()) << "bit " << bit % 8 << " of byte " << bit / 8;
  }
}

TEST_F(ProvenanceFile, EveryLossOfBytesAtTheEndIsFoundButThatOfAllOfTheProvenance) {
  const std::string good = folder.read("g");
  const auto end_of_records =
      static_cast<std::size_t>(read_provenance(folder.path("g")).found->end_of_stretches());
  for (std::size_t size = end_of_records - 1; size < good.size(); ++size) {
    folder.write("g", good.substr(0, size));
    EXPECT_EQ(faults().empty(), size == end_of_records) << size;
  }
}

TEST_F(ProvenanceFile, BytesBehindItAreAFault) {
  folder.write("g", folder.read("g") + "x");
  EXPECT_THAT(faults(), ElementsAre("bytes follow the last record"));
}

TEST_F(ProvenanceFile, RowThatChangedIsNamed) {
  std::string bytes = folder.read("g");
  const provenance p = std::move(*read_provenance(folder.path("g")).found);
  bytes[static_cast<std::size_t>(p.begin_of_row(2)) + 16] ^= 1;  // the first value
  folder.write("g", bytes);
  EXPECT_THAT(faults(), ElementsAre("row 2 is not what was written: its checksum differs"));
}

TEST_F(ProvenanceFile, StationsThatDifferAreTold) {
  const provenance p = std::move(*read_provenance(folder.path("g")).found);
  EXPECT_THAT(differences(survey_with({100, 200}, false), p), IsEmpty());
  EXPECT_THAT(differences(survey_with({100, 200 + 1e-8}, false), p), IsEmpty());
  EXPECT_THAT(differences(survey_with({100, 201}, false), p),
              ElementsAre("datum 2 lies at (201, 201, 201); the file was made for (200, 200, 200)"));
  EXPECT_THAT(
      differences(survey_with({1, 2}, false), p),
      ElementsAre("datum 1 lies at (1, 1, 1); the file was made for (100, 100, 100); 1 more like it"));
  EXPECT_THAT(differences(survey_with({100}, false), p), ElementsAre("1 data; the file was made for 2"));
  survey_state elsewhere = survey_with({100, 200}, false);
  elsewhere.incl = 60;
  EXPECT_THAT(
      differences(elsewhere, p),
      ElementsAre("inducing field 60 -4 52000, direction 61 -3; the file was made for inducing field 62 "
                  "-4 52000, direction 61 -3"));
}

TEST_F(ProvenanceFile, DirectionsThatDifferAreTold) {
  write(survey_with({100, 200}, true), {1, 2});
  const provenance p = std::move(*read_provenance(folder.path("g")).found);
  survey_state other = survey_with({100, 200}, true);
  EXPECT_THAT(differences(other, p), IsEmpty());
  other.adecl_obs(2) = 190;
  EXPECT_THAT(differences(other, p),
              ElementsAre("datum 2 has the direction 200 190; the file was made for 200 200"));
}

TEST(FileBytes, AreThoseOfThePlaceOrNone) {
  const test::temporary_folder folder;
  folder.write("f", "abcdef");
  const file_bytes file(folder.path("f"));
  std::string two(2, ' ');
  EXPECT_TRUE(file.read_all(4, std::span(two)));
  EXPECT_EQ(two, "ef");
  EXPECT_FALSE(file.read_all(5, std::span(two)));
  EXPECT_FALSE(file.read_all(-1, std::span(two)));
  EXPECT_FALSE(file.checksum(3, 7));
  EXPECT_FALSE(file.checksum(3, 2));
  EXPECT_EQ(file.checksum(2, 2), checksum_of());
  EXPECT_EQ(file_bytes(folder.path("none")).size(), 0);
  EXPECT_EQ(file_bytes(folder.path()).size(), 0);
}

std::vector<r4> rows_of_cell(i4 row) {
  return {1.0F / static_cast<r4>(row), 1e3F * static_cast<r4>(row), 0.25F};
}

std::vector<r8> diagonal_of(const survey_rows& rows) {
  diagonal d(3, rows, false);
  for (i4 row = rows.first; row <= rows.last; ++row) d.add(row, rows_of_cell(row), 0);
  const auto sum = d.finish();
  return {sum.begin(), sum.end()};
}

TEST(Diagonal, IsTheSumOfTheSquares) {
  EXPECT_THAT(diagonal_of({1, 3}), ElementsAre(testing::DoubleNear(1 + 0.25 + 1.0 / 9, 1e-8), 14e6, 0.1875));
  EXPECT_THAT(diagonal_of({1, 0}), ElementsAre(0, 0, 0));
}

/// Blocks that parts kept, and rows one by one where a block began in an earlier part.
TEST(Diagonal, OfPartsHasTheBitsOfTheWhole) {
  constexpr i4 last = 5000;
  const std::vector<r8> whole = diagonal_of({1, last});
  for (const std::vector<i4>& ends :
       {std::vector<i4>{1024, last}, {1, last}, {1023, 1025, 4096, last}, {100, 200, 300, last}}) {
    diagonal joined(3, {1, last}, false);
    i4 first = 1;
    for (const i4 end : ends) {
      diagonal part(3, {first, end}, true);
      for (i4 row = first; row <= end; ++row) part.add(row, rows_of_cell(row), 0);
      auto begun = part.blocks_begun();
      EXPECT_EQ(std::ssize(begun), blocks_begun_in({first, end}));
      auto next = begun.begin();
      bool kept = false;
      for (i4 row = first; row <= end; ++row) {
        if (begins_block(row)) {
          joined.begin_block(*next++);
          kept = true;
        }
        if (!kept) joined.add(row, rows_of_cell(row), 0);
      }
      first = end + 1;
    }
    const auto sum = joined.finish();
    EXPECT_EQ(std::vector<r8>(sum.begin(), sum.end()), whole) << ends.front();
  }
}

}  // namespace
}  // namespace velko
