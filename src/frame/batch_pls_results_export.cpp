// The document and KVB export commands of the batch PLS Results dialogs.

#include "batch/bmpls_model.hpp"
#include "batch/mpls_model.hpp"
#include "export/batch_pls_export.hpp"
#include "export/c_code.hpp"
#include "export/pls_model_document.hpp"
#include "frame/batch_pls_results.hpp"
#include "frame/mspc.hpp"
#include "host/data_table.hpp"
#include "pls/pls_reports.hpp"

namespace mspc {
namespace {

// The title and data source that generated code names.
void Label(CMSPC& analysis, LoadedPLSModel& pls) {
  pls.title = std::string(MessageText(MessageId::kAnalysisName));
  if (const DataTable* table = analysis.host().table) pls.data_source = table->SourceName();
}

}  // namespace

bool CBatchPLSResults::CodeGeneratorPMML() {
  if (!ChartLimitsUsable() || !ScoreLimitsUsable()) return false;
  const PLSReportOptions& options = model().report_options();
  std::string text;
  MessageId title = MessageId::kTMPLSDocumentTitle;
  if (const auto* tmpls = dynamic_cast<const CMPLSModel*>(&model())) {
    LoadedTMPLSModel exported = TMPLSDocumentModel(*tmpls, options, probability());
    Label(analysis(), exported.unfolded);
    WriteTMPLSDocument(exported, text);
  } else {
    const auto& bmpls = dynamic_cast<const CBMPLSModel&>(model());
    LoadedBMPLSModel exported = BMPLSDocumentModel(bmpls, options, probability());
    Label(analysis(), exported.model);
    WriteBMPLSDocument(exported, text);
    title = MessageId::kBMPLSDocumentTitle;
  }
  return SaveAndShow(".pmml", title, text);
}

bool CBatchPLSResults::CodeGeneratorKVB() {
  if (!ChartLimitsUsable() || !ScoreLimitsUsable()) return false;
  const PLSReportOptions& options = model().report_options();
  std::string text;
  MessageId title = MessageId::kTMPLSKVBTitle;
  if (const auto* tmpls = dynamic_cast<const CMPLSModel*>(&model())) {
    LoadedTMPLSModel exported = TMPLSDocumentModel(*tmpls, options, probability());
    Label(analysis(), exported.unfolded);
    text = GenerateTMPLSKVBCode(exported);
  } else {
    const auto& bmpls = dynamic_cast<const CBMPLSModel&>(model());
    LoadedBMPLSModel exported = BMPLSDocumentModel(bmpls, options, probability());
    Label(analysis(), exported.model);
    text = GenerateBMPLSKVBCode(exported);
    title = MessageId::kBMPLSKVBTitle;
  }
  return SaveAndShow(".kvb", title, text);
}

bool CBatchPLSResults::CodeGeneratorCLang() {
  // C deployment is not generated for the PLS kinds: the file carries the fixed note instead.
  const MessageId title = model().Kind() == ModelKind::kTMPLS ? MessageId::kTMPLSCCodeTitle
                                                              : MessageId::kBMPLSCCodeTitle;
  const DataTable* table = analysis().host().table;
  return SaveAndShow(
      ".c",
      title,
      GenerateUnsupportedPLSCCode(title,
                                  std::string(MessageText(MessageId::kAnalysisName)),
                                  table != nullptr ? table->SourceName() : std::string()));
}

}  // namespace mspc
