#include "pca/fold_plan.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "pca/pca_test_support.hpp"

namespace mspc {
namespace {

using testing::SeededRandom;

// A generator whose every draw is the same: all rows tie.
class ConstantRandom : public SeededRandom {
 public:
  double Uniform() override { return 0.5; }
};

TEST(FoldPlanRotation, RowsRotateThroughTheFoldsStartingAtTwo) {
  const FoldPlan plan = AssignFoldsInRotation(7, 3);
  EXPECT_EQ(plan.fold, (std::vector<std::uint16_t>{2, 3, 1, 2, 3, 1, 2}));
  EXPECT_EQ(plan.fold_size, (std::vector<int>{2, 3, 2}));
  // More folds than rows leave folds empty.
  const FoldPlan sparse = AssignFoldsInRotation(3, 5);
  EXPECT_EQ(sparse.fold, (std::vector<std::uint16_t>{2, 3, 4}));
  EXPECT_EQ(sparse.fold_size, (std::vector<int>{0, 1, 1, 1, 0}));
}

TEST(FoldPlanRandom, EqualSeedsGiveEqualBalancedFoldsAndTheHostStreamIsUntouched) {
  SeededRandom host;
  host.Seed(99);
  host.Uniform();
  SeededRandom untouched = host;

  const FoldPlan first = AssignFoldsAtRandom(50, 7, 2024, host);
  EXPECT_EQ(host.Uniform(), untouched.Uniform()) << "the host's state is restored";
  const FoldPlan again = AssignFoldsAtRandom(50, 7, 2024, host);
  EXPECT_EQ(first.fold, again.fold);
  const FoldPlan other = AssignFoldsAtRandom(50, 7, 7, host);
  EXPECT_NE(first.fold, other.fold);
  EXPECT_NE(first.fold, AssignFoldsInRotation(50, 7).fold) << "the folds are not the rotation";

  // The folds follow a permutation of the row numbers, so their sizes are those of the rotation.
  EXPECT_EQ(first.fold_size, AssignFoldsInRotation(50, 7).fold_size);
  for (std::uint16_t fold : first.fold) {
    EXPECT_GE(fold, 1);
    EXPECT_LE(fold, 7);
  }
}

TEST(FoldPlanRandom, TiedDrawsKeepRowOrder) {
  ConstantRandom random;
  EXPECT_EQ(AssignFoldsAtRandom(11, 4, 1, random).fold, AssignFoldsInRotation(11, 4).fold);
}

}  // namespace
}  // namespace mspc
