#include "pca/fold_plan.hpp"

#include <algorithm>
#include <cassert>
#include <numeric>
#include <string>

#include "host/errors.hpp"
#include "host/random_source.hpp"
#include "models/tolerant.hpp"

namespace mspc {
namespace {

FoldPlan EmptyPlan(std::size_t rows, int folds) {
  assert(folds >= 2 && folds <= kMaxFolds);
  FoldPlan plan;
  plan.folds = folds;
  plan.fold.resize(rows);
  plan.fold_size.assign(static_cast<std::size_t>(folds), 0);
  return plan;
}

void SetFold(FoldPlan& plan, std::size_t row, std::size_t one_based_number) {
  const auto fold =
      static_cast<std::uint16_t>(one_based_number % static_cast<std::size_t>(plan.folds) + 1);
  plan.fold[row] = fold;
  ++plan.fold_size[fold - 1];
}

}  // namespace

FoldPlan AssignFoldsInRotation(std::size_t rows, int folds) {
  FoldPlan plan = EmptyPlan(rows, folds);
  // The rotation starts at fold 2 on purpose: row k is given the fold of its 1-based number.
  for (std::size_t row = 0; row < rows; ++row) SetFold(plan, row, row + 1);
  return plan;
}

FoldPlan AssignFoldsAtRandom(std::size_t rows,
                             int folds,
                             std::uint64_t seed,
                             RandomSource& random) {
  FoldPlan plan = EmptyPlan(rows, folds);
  const std::string saved_state = random.SaveState();
  random.Seed(seed);
  std::vector<double> draws(rows);
  for (double& draw : draws) draw = random.Uniform();
  random.RestoreState(saved_state);

  // Heap sort of the row indices by their draws. A sort needs a strict weak order, which a
  // comparison with slack is not, so the draws are compared exactly as ordered bit patterns and
  // equal draws keep row order: equal seeds always give equal folds.
  std::vector<std::size_t> sorted_rows(rows);
  std::iota(sorted_rows.begin(), sorted_rows.end(), std::size_t{0});
  const auto by_draw = [&draws](std::size_t a, std::size_t b) {
    const auto key_a = OrderedBits(draws[a]);
    const auto key_b = OrderedBits(draws[b]);
    return key_a != key_b ? key_a < key_b : a < b;
  };
  std::make_heap(sorted_rows.begin(), sorted_rows.end(), by_draw);
  std::sort_heap(sorted_rows.begin(), sorted_rows.end(), by_draw);

  // Row k takes the fold of the 1-based row number found at sorted position k; the numbers form
  // a random permutation, so the folds are random and as even in size as rotation makes them.
  for (std::size_t row = 0; row < rows; ++row) SetFold(plan, row, sorted_rows[row] + 1);
  return plan;
}

FoldPlan PlanFolds(
    std::size_t rows, int folds, bool random_folds, std::uint64_t seed, RandomSource* random) {
  if (folds < 2) throw AnalysisStop::With(MessageId::kFoldsBelowTwo);
  // More folds than rows + 1 only add empty folds; the assignment of the rows is unchanged.
  const auto row_bound = static_cast<long long>(rows) + 1;
  const int used_folds =
      static_cast<int>(std::min<long long>({folds, std::max<long long>(row_bound, 2), kMaxFolds}));
  if (random_folds && random != nullptr) {
    return AssignFoldsAtRandom(rows, used_folds, seed, *random);
  }
  return AssignFoldsInRotation(rows, used_folds);
}

}  // namespace mspc
