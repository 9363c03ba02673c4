#pragma once

#include <memory>
#include <string>
#include <vector>

#include "frame/analysis_dialog.hpp"
#include "host/automation.hpp"

namespace mspc {

class DeploymentStartupDialog;
class HierarchicalStartupDialog;

/// What the Deployment Startup dialog collects before it loads the documents.
struct DeploymentStartupOptions {
  std::vector<std::string> model_files;  // ModelFiles
  std::vector<std::string> model_texts;  // ModelTexts
  std::vector<std::string> variables;    // Variables
  bool standalone_results = false;       // StandAloneResults
};

/// Automation twin of the Deployment Startup dialog: the model documents to deploy (file names
/// or document texts), the variables to score and whether outputs are tracked.
class MSPCDeployment final : public AutomationObject {
 public:
  explicit MSPCDeployment(DeploymentStartupDialog& dialog) : dialog_(dialog) {}

  std::string TwinName() const override;
  std::vector<AutomationProperty> Properties() override;
  std::vector<AutomationCommand> Commands() override;

  std::vector<std::string> get_ModelFiles() const;
  void put_ModelFiles(const std::vector<std::string>& value);
  std::vector<std::string> get_ModelTexts() const;
  void put_ModelTexts(const std::vector<std::string>& value);
  std::vector<std::string> get_Variables() const;
  void put_Variables(const std::vector<std::string>& value);
  bool get_StandAloneResults() const;
  void put_StandAloneResults(bool value);

  /// Hand the documents to the deployment model and run it; the dialog stays open, since
  /// deployment reports from here.
  bool OK();
  /// Keep the standalone-results choice for the next run and go back to the MSPC Startup list.
  bool Cancel();

 private:
  DeploymentStartupDialog& dialog_;
};

/// The Deployment Startup dialog (step 120).
class DeploymentStartupDialog final : public CAnalysisModelessDialog {
 public:
  explicit DeploymentStartupDialog(CMSPC& analysis);

  AutomationObject& Automation() override { return twin_; }

  const DeploymentStartupOptions& options() const { return options_; }
  DeploymentStartupOptions& options() { return options_; }

  bool OnOK();
  bool OnCancel();

 private:
  DeploymentStartupOptions options_;
  MSPCDeployment twin_;
};

/// Automation twin of the Hierarchical Model Startup dialog: OK and Cancel only.
class HierarchicalStartup final : public AutomationObject {
 public:
  explicit HierarchicalStartup(HierarchicalStartupDialog& dialog) : dialog_(dialog) {}

  std::string TwinName() const override;
  std::vector<AutomationProperty> Properties() override { return {}; }
  std::vector<AutomationCommand> Commands() override;

  /// Run the hierarchical model.
  bool OK();
  /// Go back to the MSPC Startup list.
  bool Cancel();

 private:
  HierarchicalStartupDialog& dialog_;
};

/// The Hierarchical Model Startup dialog (step 122).
class HierarchicalStartupDialog final : public CAnalysisModelessDialog {
 public:
  explicit HierarchicalStartupDialog(CMSPC& analysis)
      : CAnalysisModelessDialog(analysis), twin_(*this) {}

  AutomationObject& Automation() override { return twin_; }

  bool OnOK();
  bool OnCancel();

 private:
  HierarchicalStartup twin_;
};

}  // namespace mspc
