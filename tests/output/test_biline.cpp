#include <gtest/gtest.h>

#include "output/Biline.h"

namespace {

TEST(Biline, InterpolatesPositiveValuesAndTakesTheNearerOtherwise) {
  // 3 x 2 plane: rows (1 2 4) and (3 4 8).
  const float plane[] = {1, 2, 4, 3, 4, 8};
  const CSizeN size(3, 2);
  EXPECT_DOUBLE_EQ(1.0, biline(size, plane, 0, 0));
  EXPECT_DOUBLE_EQ(1.5, biline(size, plane, 0.5, 0));
  EXPECT_DOUBLE_EQ(3.0, biline(size, plane, 1.5, 0));
  EXPECT_DOUBLE_EQ(2.5, biline(size, plane, 0.5, 0.5));
  // The last column and row use the last cell with full weight on its far side.
  EXPECT_DOUBLE_EQ(8.0, biline(size, plane, 2, 1));
  EXPECT_DOUBLE_EQ(UNSET_VALUE, biline(size, plane, 2.01, 0));
  EXPECT_DOUBLE_EQ(UNSET_VALUE, biline(size, plane, 0, -0.01));

  // A zero or negative neighbour is not interpolated: the nearer sample wins,
  // the left one at the midpoint.
  const float pair[] = {0, 5, -3, 2};
  const CSizeN row(2, 1);
  EXPECT_DOUBLE_EQ(0.0, biline(row, pair, 0.5, 0));
  EXPECT_DOUBLE_EQ(5.0, biline(row, pair, 0.51, 0));
  EXPECT_DOUBLE_EQ(-3.0, biline(row, pair + 2, 0.4, 0));
  EXPECT_DOUBLE_EQ(2.0, biline(row, pair + 2, 0.9, 0));
  // One column: blending along y only.
  const float column[] = {2, 6};
  EXPECT_DOUBLE_EQ(3.0, biline(CSizeN(1, 2), column, 0, 0.25));
}

} // namespace
