// The export commands of the PLS Results dialog: the model document, C and KVB code.

#include "export/c_code.hpp"
#include "export/kvb_code.hpp"
#include "export/pls_model_document.hpp"
#include "frame/model_export_commands.hpp"
#include "frame/mspc.hpp"
#include "frame/pls_results.hpp"
#include "host/data_table.hpp"
#include "pls/pls_model.hpp"

namespace mspc {

bool PLSResults::CodeGeneratorPMML() { return Guarded(&CPLSResults::CodeGeneratorPMML); }
bool PLSResults::CodeGeneratorCLang() { return Guarded(&CPLSResults::CodeGeneratorCLang); }
bool PLSResults::CodeGeneratorKVB() { return Guarded(&CPLSResults::CodeGeneratorKVB); }

bool CPLSResults::ExportModel(LoadedPLSModel& exported) {
  const CPLSModel& fitted = model();
  const PLSReportOptions& options = fitted.report_options();
  for (const auto refusal : {options.chart.Validate(), options.score.Validate()}) {
    if (refusal) return Refuse(*refusal, FormatMessage(*refusal));
  }
  exported = PLSDocumentModel(fitted.engine(),
                              fitted.predictors(),
                              fitted.dependents(),
                              fitted.startup_options().scaling,
                              options,
                              probability());
  exported.title = std::string(MessageText(MessageId::kAnalysisName));
  if (const DataTable* table = analysis().host().table) exported.data_source = table->SourceName();
  return true;
}

bool CPLSResults::CodeGeneratorPMML() {
  LoadedPLSModel exported;
  if (!ExportModel(exported)) return false;
  std::string text;
  WritePLSDocument(exported, text);
  return SaveAndShowExport(analysis(),
                           model().report_options().export_file_name + ".pmml",
                           MessageId::kPLSDocumentTitle,
                           text);
}

bool CPLSResults::CodeGeneratorCLang() {
  LoadedPLSModel exported;
  if (!ExportModel(exported)) return false;
  return SaveAndShowExport(analysis(),
                           model().report_options().export_file_name + ".c",
                           MessageId::kPLSCCodeTitle,
                           GeneratePLSCCode(exported));
}

bool CPLSResults::CodeGeneratorKVB() {
  LoadedPLSModel exported;
  if (!ExportModel(exported)) return false;
  return SaveAndShowExport(analysis(),
                           model().report_options().export_file_name + ".kvb",
                           MessageId::kPLSKVBTitle,
                           GeneratePLSKVBCode(exported));
}

}  // namespace mspc
