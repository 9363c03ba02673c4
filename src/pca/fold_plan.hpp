#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace mspc {

class RandomSource;

/// The cross-validation fold of every row of a working matrix.
struct FoldPlan {
  int folds = 0;                    // V
  std::vector<std::uint16_t> fold;  // per row, 1..V
  std::vector<int> fold_size;       // rows per fold; fold g at index g - 1
};

/// Largest number of folds a plan can hold (the fold numbers are 16-bit).
inline constexpr int kMaxFolds = 65535;

/// Assign folds in rotation: row k (0-based) gets fold ((k + 1) mod V) + 1, so row 0 lands in
/// fold 2 and row V - 1 in fold 1. `folds` lies in 2..kMaxFolds.
FoldPlan AssignFoldsInRotation(std::size_t rows, int folds);

/// Assign folds at random from `seed`: one uniform draw per row, the rows sorted by their draws,
/// row k gets fold (sorted_row[k] mod V) + 1 with 1-based row numbers. The generator's state is
/// saved before seeding and restored after, so the host's stream continues as it was.
FoldPlan AssignFoldsAtRandom(std::size_t rows, int folds, std::uint64_t seed, RandomSource& random);

/// The fold plan of a fit's options: `folds` (at least 2, else the fold message stops the
/// analysis) clamped to rows + 1 and kMaxFolds, at random from `seed` when asked and a generator
/// is given, else in rotation.
FoldPlan PlanFolds(
    std::size_t rows, int folds, bool random_folds, std::uint64_t seed, RandomSource* random);

}  // namespace mspc
