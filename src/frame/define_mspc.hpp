#pragma once

#include <memory>
#include <string>
#include <vector>

#include "frame/analysis_dialog.hpp"
#include "host/automation.hpp"
#include "host/messages.hpp"
#include "models/base_model.hpp"

namespace mspc {

class CDefineMSPC;

/// Automation twin of the MSPC Startup dialog of the full analysis: the chosen row of the list
/// of kinds and the commands that go on to the kind's Startup or end the analysis.
class MSPCStartup : public AutomationObject {
 public:
  explicit MSPCStartup(CDefineMSPC& dialog) : dialog_(dialog) {}

  std::string TwinName() const override;
  std::vector<AutomationProperty> Properties() override;
  std::vector<AutomationCommand> Commands() override;

  /// The row selected in the list. Any number is taken: the rows not listed make a PCA model,
  /// except 6, the hierarchical model, which only automation reaches.
  int get_SelectedKind() const;
  void put_SelectedKind(int row);
  /// Make the model of the selected row and go on to its Startup.
  bool OK();
  /// End the analysis.
  bool Cancel();

  /// The titles of the list's rows, in list order (read-only).
  std::vector<std::string> get_Rows() const;

 private:
  CDefineMSPC& dialog_;
};

/// Automation twin of the MSPC Startup dialog of the simple analysis.
class SimpleMSPCStartup final : public MSPCStartup {
 public:
  using MSPCStartup::MSPCStartup;
  std::string TwinName() const override;
};

/// The MSPC Startup dialog (step 101): the list of kinds of analysis.
class CDefineMSPC : public CAnalysisModelessDialog {
 public:
  /// Open the dialog: read the persistent `StandAloneResults` into the analysis, fill the list
  /// and select the row chosen last.
  explicit CDefineMSPC(CMSPC& analysis);

  AutomationObject& Automation() override { return *twin_; }

  /// The title of each row, in list order.
  const std::vector<MessageId>& Rows() const { return rows_; }
  int CurrentRow() const { return current_row_; }
  void SelectRow(int row) { current_row_ = row; }

  /// Replace the current model by a new one of the selected row's kind and move to its Startup.
  bool OnOK();
  /// End the sequence.
  bool OnCancel();

 protected:
  CDefineMSPC(CMSPC& analysis, bool simple);

 private:
  bool simple_;
  std::vector<MessageId> rows_;
  int current_row_;
  std::unique_ptr<MSPCStartup> twin_;
};

/// The MSPC Startup dialog of the simple analysis: deployment, PCA and PLS only.
class CDefineSimple final : public CDefineMSPC {
 public:
  explicit CDefineSimple(CMSPC& analysis) : CDefineMSPC(analysis, true) {}
};

/// A new model for a row of the MSPC Startup list, and the step of its Startup dialog.
struct KindChoice {
  std::unique_ptr<CBaseModel> model;
  int next_step = 0;
};

/// Make the model of `row`. The full list reads 0 deployment, 1 PCA, 2 PLS, 3 BMPLS, 4 TMPCA,
/// 5 TMPLS; the simple analysis maps 3, 4, 5 to TMPCA, TMPLS, BMPLS instead. Row 6 is the
/// hierarchical model in both; any other row makes a PCA model.
KindChoice CreateModelForRow(int row, bool simple, CAnalysisSupport* analysis);

}  // namespace mspc
