/// velkmtx make --rows and velkmtx join: parts of a file, and the file of one run that they make.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/sensitivity_file.h"
#include "tests/velkmtx/companion.h"

namespace velko {
namespace {

using testing::HasSubstr;

/// More rows than a block of gdiag has, over a hilly mesh.
class JoinCommand : public test::companion {
 protected:
  static constexpr int rows = 2500;

  JoinCommand() {
    folder.write("mesh", "4 5 3\n0 0 80\n4*20\n5*15\n3*10\n");
    folder.write("topo", "5\n-10 -10 70\n-10 110 85\n130 -10 60\n130 110 75\n40 30 95\n");
    folder.write("loc", survey(rows, 0.0));
  }

  static std::string survey(int count, double shift) {
    std::string text = "62 -4 52000\n62 -4 1\n" + std::to_string(count) + "\n";
    for (int n = 0; n < count; ++n)
      text += std::to_string(n % 80 + shift) + " " + std::to_string(n % 71) + " " +
              std::to_string(110 + n % 7) + "\n";
    return text;
  }

  void make(const std::string& name, const std::string& options) const {
    EXPECT_EQ(output_of("make mesh topo loc " + name + " --quiet " + options), "");
  }
  /// Makes the parts that end with these rows, and gives their names.
  std::string make_parts(const std::vector<int>& ends, const std::string& options) const {
    std::string names;
    int first = 1;
    for (const int end : ends) {
      const std::string name = "part" + std::to_string(first);
      make(name, options + " --rows " + std::to_string(first) + ":" + std::to_string(end));
      names = name + " " + names;  // not in their order
      first = end + 1;
    }
    return names;
  }
};

TEST_F(JoinCommand, PartsMakeTheBytesOfOneRun) {
  for (const std::string options :
       {"--tolerance 0.01", "--dense", "--tolerance 0.05 --wavelet s8 --weights depth"}) {
    make("whole", options);
    for (const std::vector<int>& ends : {std::vector<int>{1024, 2048, rows},
                                         {1, rows},
                                         {700, 1500, 1501, rows},
                                         {1023, 1025, rows - 1, rows}}) {
      const std::string parts = make_parts(ends, options);
      output_of("join joined " + parts);
      EXPECT_TRUE(folder.read("joined") == folder.read("whole")) << options << " " << parts;
    }
  }
}

TEST_F(JoinCommand, DirectionsOfEachDatumAreJoinedToo) {
  folder.write("loc", "62 -4 52000\n0 0 0\n3\n10 20 110 62 -4\n15 20 110 60 -5\n20 20 110 61 -3\n");
  make("whole", "--dense");
  output_of("join joined " + make_parts({1, 3}, "--dense"));
  EXPECT_TRUE(folder.read("joined") == folder.read("whole"));
}

TEST_F(JoinCommand, APartIsAFileOfItsRows) {
  make("part", "--dense --rows 11:12");
  EXPECT_THAT(
      output_of("check part loc"),
      testing::StartsWith("part: no faults, every byte is as it was written, and it belongs to loc\n"));
  EXPECT_THAT(output_of("info part"), testing::AllOf(testing::StartsWith("part: 2 data x "),
                                                     HasSubstr("\npart     rows 11 to 12 of 2500\n")));
}

TEST_F(JoinCommand, JoinTellsWhatItDid) {
  EXPECT_THAT(
      output_of("join joined " + make_parts({1500, rows}, "--dense")),
      testing::MatchesRegex("joined: 2500 rows of 2 parts, [0-9.]+ kB; 548 rows brought back for gdiag\n"));
}

TEST_F(JoinCommand, PartsThatDoNotBelongTogetherAreRefused) {
  make("a", "--tolerance 0.01 --rows 1:1000");
  const auto expect_refused = [&](const std::string& what) {
    expect_error("join joined a b", 1, "velkmtx: a and b are parts of " + what);
  };
  make("b", "--tolerance 0.02 --rows 1001:2500");
  expect_refused("files that were made in different ways; velkmtx info tells them\n");
  make("b", "--tolerance 0.01 --weights depth --rows 1001:2500");
  expect_refused("files that were made in different ways; velkmtx info tells them\n");
  output_of("make mesh null loc b --quiet --tolerance 0.01 --rows 1001:2500");
  expect_refused("different surfaces\n");
  folder.write("loc", survey(rows, 0.25));
  make("b", "--tolerance 0.01 --rows 1001:2500");
  expect_refused("different surveys\n");
  folder.write("loc", survey(rows, 0.0));
  folder.write("mesh", "4 5 3\n0 0 80\n4*20\n5*15\n3*11\n");
  make("b", "--tolerance 0.01 --rows 1001:2500");
  expect_refused("different meshes\n");
}

TEST_F(JoinCommand, RowsThatAreMissingOrThereTwiceAreRefused) {
  make("a", "--dense --rows 1:1000");
  make("b", "--dense --rows 1002:2500");
  make("c", "--dense --rows 900:2500");
  make("d", "--dense --rows 1001:2400");
  make("whole", "--dense");
  expect_error("join joined b", 1, "velkmtx: rows 1 to 1001 are in none of the parts\n");
  expect_error("join joined b a", 1, "velkmtx: row 1001 is in none of the parts\n");
  expect_error("join joined a c", 1, "velkmtx: rows 900 to 1000 are in a and in c\n");
  expect_error("join joined a a", 1, "velkmtx: rows 1 to 1000 are in a and in a\n");
  expect_error("join joined a d", 1, "velkmtx: rows 2401 to 2500 are in none of the parts\n");
  expect_error("join joined whole", 1, "velkmtx: whole is no part: it has all rows\n");
}

TEST_F(JoinCommand, FilesThatAreNoPartsOrHaveChangedAreRefused) {
  make("a", "--dense --rows 1:1000");
  make("b", "--dense --rows 1001:2500");
  expect_error("join joined a loc", 1, "velkmtx: loc is no file that velkmtx made, or its end is missing");
  expect_error("join joined a none", 1, "velkmtx: none is no file that velkmtx made");
  expect_error("join a a b", 1, "velkmtx: a is an input; the output should be another file\n");
  const std::string good = folder.read("b");
  const auto spoilt = [&](std::size_t at) {
    std::string bytes = good;
    bytes[at] ^= 4;
    folder.write("b", bytes);
  };
  spoilt(good.size() / 2);
  expect_error("join joined a b", 1, "is not what was written; velkmtx check tells more\n");
  spoilt(good.size() - 100);
  expect_error("join joined a b", 1, "velkmtx: b: the provenance behind record 8 is not what was written\n");
  folder.write("b", good.substr(0, good.size() - 1));
  expect_error("join joined a b", 1, "velkmtx: b is no file that velkmtx made, or its end is missing");
}

/// One flipped bit in every 97th byte of a part.
TEST_F(JoinCommand, NoFlippedBitOfAPartGetsIntoTheFile) {
  folder.write("loc", survey(3, 0.0));
  make("whole", "--dense");
  make("a", "--dense --rows 1:2");
  make("b", "--dense --rows 3:3");
  const std::string good = folder.read("a"), whole = folder.read("whole");
  for (std::size_t at = 0; at < good.size(); at += 97) {
    std::string bytes = good;
    bytes[at] = static_cast<char>(bytes[at] ^ (1 << at % 8));
    folder.write("a", bytes);
    if (velkmtx("join joined a b").status == 0) {
      EXPECT_TRUE(folder.read("joined") == whole) << at;
    }
  }
}

TEST_F(JoinCommand, RowsThatTheSurveyHasNotAreRefused) {
  expect_error("make mesh topo loc g --rows 1:2501", 1, "velkmtx: --rows 1:2501: the survey has 2500 data\n");
  for (const char* wrong : {"0:3", "3", "3:2", "a:b", "1:2:3", "-1:4", ":", "1:"})
    expect_error(std::string("make mesh topo loc g --rows ") + wrong, 2, "--rows: '");
  make("whole", "--dense");
  make("all", "--dense --rows 1:2500");
  EXPECT_TRUE(folder.read("all") == folder.read("whole"));
}

}  // namespace
}  // namespace velko
