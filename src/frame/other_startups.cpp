#include "frame/other_startups.hpp"

#include "deploy/deployment_model.hpp"
#include "frame/automation_property.hpp"
#include "frame/mspc.hpp"

namespace mspc {

std::string MSPCDeployment::TwinName() const { return "MSPCDeployment"; }

std::vector<AutomationProperty> MSPCDeployment::Properties() {
  return {
      MakeProperty(
          "ModelFiles", *this, &MSPCDeployment::get_ModelFiles, &MSPCDeployment::put_ModelFiles),
      MakeProperty(
          "ModelTexts", *this, &MSPCDeployment::get_ModelTexts, &MSPCDeployment::put_ModelTexts),
      MakeProperty(
          "Variables", *this, &MSPCDeployment::get_Variables, &MSPCDeployment::put_Variables),
      MakeProperty("StandAloneResults",
                   *this,
                   &MSPCDeployment::get_StandAloneResults,
                   &MSPCDeployment::put_StandAloneResults),
  };
}

std::vector<AutomationCommand> MSPCDeployment::Commands() {
  return {MakeCommand("OK", *this, &MSPCDeployment::OK),
          MakeCommand("Cancel", *this, &MSPCDeployment::Cancel)};
}

std::vector<std::string> MSPCDeployment::get_ModelFiles() const {
  return dialog_.options().model_files;
}
void MSPCDeployment::put_ModelFiles(const std::vector<std::string>& value) {
  dialog_.options().model_files = value;
}
std::vector<std::string> MSPCDeployment::get_ModelTexts() const {
  return dialog_.options().model_texts;
}
void MSPCDeployment::put_ModelTexts(const std::vector<std::string>& value) {
  dialog_.options().model_texts = value;
}
std::vector<std::string> MSPCDeployment::get_Variables() const {
  return dialog_.options().variables;
}
void MSPCDeployment::put_Variables(const std::vector<std::string>& value) {
  CheckVariableNames(dialog_.analysis().host().table, "Variables", value);
  dialog_.options().variables = value;
}
bool MSPCDeployment::get_StandAloneResults() const { return dialog_.options().standalone_results; }
void MSPCDeployment::put_StandAloneResults(bool value) {
  dialog_.options().standalone_results = value;
}

bool MSPCDeployment::OK() {
  return GuardCommand(dialog_.analysis(), [this] { return dialog_.OnOK(); });
}

bool MSPCDeployment::Cancel() {
  return GuardCommand(dialog_.analysis(), [this] { return dialog_.OnCancel(); });
}

DeploymentStartupDialog::DeploymentStartupDialog(CMSPC& analysis)
    : CAnalysisModelessDialog(analysis), twin_(*this) {
  options_.standalone_results = analysis.StandAloneResults() != 0;
}

bool DeploymentStartupDialog::OnOK() {
  CMSPC& owner = analysis();
  auto* model = dynamic_cast<CDeploymentModel*>(owner.CurrentModel());
  if (model == nullptr) throw AnalysisStop::With(MessageId::kNoModelForStartup);
  owner.SetStandAloneResults(options_.standalone_results ? 1 : 0);
  std::vector<ModelSource> sources;
  for (const std::string& file : options_.model_files) sources.push_back({file, true});
  for (const std::string& text : options_.model_texts) sources.push_back({text, false});
  model->SetSources(std::move(sources));
  StartupOptions startup;
  startup.variables = options_.variables;
  model->ApplyOptions(startup);
  model->Run(startup);
  for (const RoutedOutput& report : model->Reports()) owner.RouteOutput(report);
  return true;
}

bool DeploymentStartupDialog::OnCancel() {
  CMSPC& owner = analysis();
  owner.SetStandAloneResults(options_.standalone_results ? 1 : 0);
  owner.PutInitKeyword(kStandAloneResultsSetting, options_.standalone_results ? 1 : 0);
  owner.ExitDialog(kStepMSPCStartup, kDirectionBack, 0);
  return true;
}

std::string HierarchicalStartup::TwinName() const { return "HierarchicalStartup"; }

std::vector<AutomationCommand> HierarchicalStartup::Commands() {
  return {MakeCommand("OK", *this, &HierarchicalStartup::OK),
          MakeCommand("Cancel", *this, &HierarchicalStartup::Cancel)};
}

bool HierarchicalStartup::OK() {
  return GuardCommand(dialog_.analysis(), [this] { return dialog_.OnOK(); });
}

bool HierarchicalStartup::Cancel() {
  return GuardCommand(dialog_.analysis(), [this] { return dialog_.OnCancel(); });
}

bool HierarchicalStartupDialog::OnOK() {
  CBaseModel* model = analysis().CurrentModel();
  if (model == nullptr || model->Kind() != ModelKind::kHierarchical) {
    throw AnalysisStop::With(MessageId::kNoModelForStartup);
  }
  model->Run(model->startup_options());
  return true;
}

bool HierarchicalStartupDialog::OnCancel() {
  analysis().ExitDialog(kStepMSPCStartup, kDirectionBack, 0);
  return true;
}

}  // namespace mspc
