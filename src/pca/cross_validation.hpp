#pragma once

#include <string_view>

#include "pca/pca_node.hpp"

namespace mspc {

class PCAEngine;

/// The cross-validation schemes that judge a component.
enum class CrossValidationPass {
  kNone,               // no cross-validation: the component stays untested
  kVFold,              // rows held out by fold, columns held out one at a time
  kKrzanowski,         // rows held out one at a time, columns one at a time
  kQuickVFold,         // rows held out by fold; each cell predicted from its row's other cells
  kGroupedKrzanowski,  // the Krzanowski scheme with the rows of a fold held out together
};

/// The pass selected by the options' method number and grouped flag. Grouped off: 1 V-fold,
/// 2 Krzanowski, 3 quick V-fold. Grouped on: 2 V-fold, 1 grouped Krzanowski. Anything else
/// selects no pass.
CrossValidationPass SelectCrossValidationPass(int method, bool grouped);

/// Fill the node's PRESS and PRESS per variable by `pass`, predicting every present cell of the
/// working matrix from fits that did not see it. The node must hold the full-data fit of the
/// component (its scores and loadings give the reference sign of each prediction). When the
/// node's fitted flag is set the hold-out fits reuse the full-data fit. Clears the fitted flag.
/// Throws `UserAbort` on a cancel and `AnalysisStop` when fewer than 2 folds are asked for.
void ComputePRESS(const PCAEngine& engine, CPCANode& node, CrossValidationPass pass);

/// Fill Q², Q²(Cumul.), the limit, Q² per variable and the significance from the node's PRESS,
/// and return whether the component is accepted (`kAccepted`) or why not.
NodeState JudgeComponent(const PCAEngine& engine, CPCANode& node);

/// The "Significance" text: "S", "NS" or "UNKNOWN".
std::string_view SignificanceText(Significance significance);

/// Marker of Q² per variable for an excluded variable.
inline constexpr double kExcludedVariableQ2 = -444.0;

}  // namespace mspc
