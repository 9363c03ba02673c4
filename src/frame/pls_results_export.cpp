// The export commands of the PLS Results dialog: the model document, C and KVB code.

#include "export/c_code.hpp"
#include "export/kvb_code.hpp"
#include "export/pls_model_document.hpp"
#include "frame/mspc.hpp"
#include "frame/pls_results.hpp"
#include "host/data_table.hpp"
#include "pls/pls_model.hpp"

namespace mspc {

bool CPLSResults::ExportModel(LoadedPLSModel& exported) {
  if (!ChartLimitsUsable() || !ScoreLimitsUsable()) return false;
  const CPLSModel& fitted = model();
  exported = PLSDocumentModel(fitted.engine(),
                              fitted.predictors(),
                              fitted.dependents(),
                              fitted.startup_options().scaling,
                              fitted.report_options(),
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
  return SaveAndShow(".pmml", MessageId::kPLSDocumentTitle, text);
}

bool CPLSResults::CodeGeneratorCLang() {
  LoadedPLSModel exported;
  if (!ExportModel(exported)) return false;
  return SaveAndShow(".c", MessageId::kPLSCCodeTitle, GeneratePLSCCode(exported));
}

bool CPLSResults::CodeGeneratorKVB() {
  LoadedPLSModel exported;
  if (!ExportModel(exported)) return false;
  return SaveAndShow(".kvb", MessageId::kPLSKVBTitle, GeneratePLSKVBCode(exported));
}

}  // namespace mspc
