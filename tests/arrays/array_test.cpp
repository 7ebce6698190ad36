#include "arrays/array.h"

#include <gmock/gmock.h>

namespace velko {
namespace {

using testing::ElementsAre;

TEST(Arrays, CountFromOneWithTheFirstIndexFastest) {
  owned_array3<i4> a(2, 3, 4);
  EXPECT_EQ(&a(1, 1, 1) - a.data(), 0);
  EXPECT_EQ(&a(2, 1, 1) - a.data(), 1);
  EXPECT_EQ(&a(1, 2, 1) - a.data(), 2);
  EXPECT_EQ(&a(1, 1, 2) - a.data(), 6);
  EXPECT_EQ(&a(2, 3, 4) - a.data(), 23);
}

TEST(Arrays, KnowTheirExtents) {
  const owned_array3<r8> a(2, 3, 4);
  EXPECT_EQ(a.extent(1), 2);
  EXPECT_EQ(a.extent(2), 3);
  EXPECT_EQ(a.extent(3), 4);
  EXPECT_EQ(a.size(), 24);
  EXPECT_EQ(a.elements().size(), 24U);
}

TEST(Arrays, ExtentBelowOneGivesAnEmptyArray) {
  EXPECT_EQ(owned_array1<r8>(-5).size(), 0);
  EXPECT_EQ(owned_array2<r8>(3, -1).size(), 0);
  EXPECT_EQ(owned_array2<r8>(3, -1).extent(1), 3);
  EXPECT_EQ(owned_array1<r8>(0).data(), nullptr);
}

TEST(Arrays, NewOneIsZeroThroughout) {
  for (const i4 n : {1, 7, 1000, 3 << 20}) {  // from the heap and from the system
    const owned_array1<r8> a(n);
    EXPECT_TRUE(std::all_of(a.begin(), a.end(), [](r8 x) { return x == 0; })) << n;
  }
}

TEST(Arrays, PositionsGoBeyondThirtyTwoBits) {
  const owned_array2<char> a(uninitialised, 1 << 17, 1 << 15);  // untouched, so it costs nothing
  EXPECT_EQ(&a(1 << 17, 1 << 15) - a.data(), (i8{1} << 32) - 1);
}

TEST(Arrays, ViewSeesWhatTheOwnerHolds) {
  owned_array2<i4> a(2, 2);
  const array2<i4> view = a;
  view(2, 1) = 7;
  const array2<const i4> reader = view;
  EXPECT_EQ(a(2, 1), 7);
  EXPECT_EQ(reader(2, 1), 7);
  EXPECT_THAT(a.elements(), ElementsAre(0, 7, 0, 0));
}

TEST(Arrays, MovedFromArrayIsEmpty) {
  owned_array1<i4> a(3);
  const i4* elements = a.data();
  const owned_array1<i4> b = std::move(a);
  EXPECT_EQ(b.data(), elements);
  EXPECT_EQ(a.size(), 0);  // NOLINT(bugprone-use-after-move): the state after a move is what is tested
  EXPECT_EQ(a.data(), nullptr);
}

TEST(Arrays, AssignmentReplacesAndFreesTheOldElements) {
  owned_array1<i4> a(3);
  a = owned_array1<i4>(5);
  EXPECT_EQ(a.size(), 5);
  a = {};
  EXPECT_EQ(a.size(), 0);
}

#ifndef NDEBUG
TEST(ArraysDeathTest, IndexOutOfBoundsIsCaughtInDebugBuilds) {
  owned_array2<i4> a(2, 3);
  EXPECT_DEATH(a(0, 1) = 1, "at\\[d\\]");
  EXPECT_DEATH(a(3, 1) = 1, "at\\[d\\]");
  EXPECT_DEATH(a(1, 4) = 1, "at\\[d\\]");
}
#endif

TEST(OwnedArray, CopiesASpanOrAVectorInItsOrder) {
  const std::vector<r8> from{1, 2, 3, 4, 5, 6};
  const owned_array1<r8> a(from);
  EXPECT_EQ(a.size(), 6);
  EXPECT_EQ(a(6), 6);
  const owned_array2<r8> b(std::span<const r8>(from), 2, 3);
  EXPECT_EQ(b(2, 1), 2);
  EXPECT_EQ(b(1, 3), 5);
}

TEST(OwnedArray, CopyOfTooManyOrTooFewElementsIsRefused) {
  const std::vector<r8> from{1, 2, 3};
  EXPECT_THROW(owned_array2<r8>(from, 2, 2), std::invalid_argument);
  EXPECT_THROW(owned_array1<r8>(from, 2), std::invalid_argument);
  EXPECT_THROW(owned_array1<r8>(from, -1), std::invalid_argument);
}

}  // namespace
}  // namespace velko
