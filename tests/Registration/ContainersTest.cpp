// SPDX-License-Identifier: MIT
#include "Registration/Containers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <new>
#include <type_traits>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

static_assert(std::has_virtual_destructor_v<CVector<unsigned char>>);
static_assert(std::has_virtual_destructor_v<CMatrix<float>>);
static_assert(!std::is_copy_constructible_v<CMatrix<float>>);
static_assert(!std::is_copy_assignable_v<CVector<unsigned char>>);

TEST(Containers, AreZeroFilledInMemoryUsedBefore) {
  for (int round = 0; round < 3; ++round) {
    const auto vector = std::make_unique<CVector<unsigned char>>(1000);
    const auto matrix = std::make_unique<CMatrix<float>>(20, 25);
    ASSERT_EQ(vector->nCount, 1000);
    ASSERT_TRUE(std::all_of(vector->pData, vector->pData + 1000, [](int v) { return v == 0; }));
    float* const block = matrix->ppData[0];
    ASSERT_TRUE(std::all_of(block, block + 500, [](float v) { return v == 0.0F; }));
    std::fill_n(vector->pData, 1000, static_cast<unsigned char>(0xFF));
    std::fill_n(block, 500, 1.0F);
  }
}

TEST(Containers, MatrixRowsFollowEachOtherInOneBlock) {
  for (const auto& [rows, cols] : {std::pair{5, 7}, std::pair{1, 9}, std::pair{9, 1}}) {
    const CMatrix<float> matrix(rows, cols);
    EXPECT_EQ(matrix.nRows, rows);
    EXPECT_EQ(matrix.nCols, cols);
    for (int row = 0; row < rows; ++row) {
      EXPECT_EQ(matrix.ppData[row], matrix.ppData[0] + row * cols);
    }
  }
}

TEST(Containers, MoreElementsThanAnIntCountsAreRefused) {
  EXPECT_THROW(CMatrix<unsigned char>(46341, 46341), std::bad_alloc);
  EXPECT_THROW(CMatrix<unsigned char>(INT_MAX, 3), std::bad_alloc);
}

}  // namespace
}  // namespace ORV::Common::Algorithms::Montage::Registration
