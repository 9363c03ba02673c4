#pragma once

// What the fuzz targets do with one input, shared by the libFuzzer mains and by the test that
// replays the seed corpus and every kept reproducer in the ordinary test run. Each entry must
// return for any input; a broken promise traps.

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "deploy/batch_pls_document.hpp"
#include "deploy/deployment_model.hpp"
#include "deploy/pca_deployment.hpp"
#include "deploy/pca_document.hpp"
#include "deploy/pls_deployment.hpp"
#include "deploy/pls_document.hpp"
#include "deploy/tmpca_document.hpp"
#include "frame/exports.hpp"
#include "frame/mspc.hpp"
#include "host/errors.hpp"
#include "platform/boost_probability.hpp"
#include "platform/commands.hpp"
#include "platform/csv_table.hpp"
#include "platform/json_report_sink.hpp"
#include "platform/json_settings.hpp"
#include "platform/pugi_xml_parser.hpp"
#include "platform/recording_message_output.hpp"
#include "platform/script.hpp"
#include "platform/script_runner.hpp"
#include "platform/seeded_random.hpp"
#include "platform/terminal_progress.hpp"

namespace mspc::fuzz {

// Three cases of `fields` values: one with every cell, one with none, one of ones.
inline DMatrix Cases(std::size_t fields) {
  DMatrix cases(3, fields, 1.0);
  for (std::size_t col = 0; col < fields; ++col) {
    cases(0, col) = static_cast<double>(col);
    cases(1, col) = std::numeric_limits<double>::quiet_NaN();
  }
  return cases;
}

/// A model document as deployment reads it: parsed with document type declarations
/// prohibited, its model elements counted, read by the reader of its kind (a refusal is a
/// fine answer) and, when it reads, scored on three cases.
inline void ModelDocument(std::string_view bytes) {
  const platform::PugiXmlParser parser;
  const XmlLoadResult loaded = parser.LoadText(std::string(bytes), /*prohibit_dtd=*/true);
  if (!loaded.loaded) return;
  int count = 0;
  const auto kind = DocumentModelKind(loaded.root, count);
  if (!kind) return;
  try {
    if (*kind == ModelKind::kPCA) {
      const LoadedPCAModel model = ReadPCADocument(loaded.root);
      ScorePCA(model, ModelColumns(model, Cases(model.fields.size())));
    } else if (*kind == ModelKind::kPLS) {
      const LoadedPLSModel model = ReadPLSDocument(loaded.root);
      const DMatrix x = Cases(model.predictor_fields.size());
      const DMatrix y = Cases(model.dependent_fields.size());
      ScorePLS(model,
               BlockColumns(model.predictor_fields, model.predictor_columns, x),
               BlockColumns(model.dependent_fields, model.dependent_columns, y));
    } else if (*kind == ModelKind::kTMPCA) {
      const LoadedTMPCAModel model = ReadTMPCADocument(loaded.root);
      ScorePCA(model.unfolded, Cases(model.unfolded.columns.size()));
    } else if (*kind == ModelKind::kTMPLS) {
      const LoadedTMPLSModel model = ReadTMPLSDocument(loaded.root);
      ScorePLS(model.unfolded, Cases(model.unfolded.predictor_columns.size()), DMatrix());
    } else {
      const LoadedBMPLSModel model = ReadBMPLSDocument(loaded.root);
      const DMatrix x = Cases(model.model.predictor_fields.size());
      ScorePLS(model.model,
               BlockColumns(model.model.predictor_fields, model.model.predictor_columns, x),
               DMatrix());
    }
  } catch (const AnalysisStop&) {
    // A refusal with its message is the expected answer to a damaged document.
  }
}

/// CSV text: read into a table whose every cell and name can be asked for, or refused with a
/// message that says why.
inline void CsvText(std::string_view bytes) {
  const platform::CsvLoadResult result =
      platform::CsvTable::Parse("fuzz.csv", bytes, platform::CsvOptions{});
  if (result.table == nullptr) {
    if (result.error.empty()) __builtin_trap();
    return;
  }
  const platform::CsvTable& table = *result.table;
  for (std::size_t variable = 0; variable < table.NumVariables(); ++variable) {
    static_cast<void>(table.VariableName(variable));
    for (std::size_t row = 0; row < table.NumCases(); ++row) {
      static_cast<void>(table.Value(row, variable));
    }
  }
}

/// An automation script: parsed or refused; one that parses survives its own round trip
/// through text (what `--record` writes must run again).
inline void ScriptText(std::string_view bytes) {
  const platform::ScriptParseResult parsed = platform::ParseScript(std::string(bytes), "fuzz.json");
  if (!parsed.script) return;
  if (!platform::ParseScript(platform::ScriptToText(*parsed.script), "again.json").script) {
    __builtin_trap();
  }
}

/// Run a built script on `table` as the command line would, with every output kept in memory.
inline void RunOnTable(const platform::Script& script, DataTable& table) {
  platform::ScriptStepMachinery steps;
  platform::TerminalProgress progress(false, nullptr);
  platform::JsonSettings settings("");
  platform::RecordingMessageOutput messages(nullptr);
  platform::BoostProbability probability;
  platform::SeededRandom random;
  platform::JsonReportSink reports;
  platform::PugiXmlParser xml;
  HostServices services{
      &steps, &progress, &settings, &messages, &table, &probability, &random, &reports, &xml};
  services.automation = true;
  std::unique_ptr<CMSPC> analysis(Kvs6NewAnalysis());
  analysis->InitCommons(services);
  platform::ScriptRunner(services, steps, "fuzz").Run(script, nullptr);
  steps.CloseDialog();
}

/// CSV text fitted as `krv-mspc fit` fits it, with the common reports: PCA with two components
/// and with 3-fold cross-validation, PLS of the first continuous variable on the others, and the
/// three batch kinds with the first variable as the batch. Any end but a crash is fine: a stop
/// with its message, notes about removed variables and cases. Tables larger than a few hundred
/// cells are left alone to keep each input fast.
inline void FitTable(std::string_view bytes) {
  platform::CsvLoadResult result =
      platform::CsvTable::Parse("fuzz.csv", bytes, platform::CsvOptions{});
  if (result.table == nullptr) return;
  platform::CsvTable& table = *result.table;
  if (table.NumVariables() < 2 || table.NumVariables() * table.NumCases() > 400) return;
  std::vector<std::string> continuous;
  for (std::size_t variable = 0; variable < table.NumVariables(); ++variable) {
    if (!table.IsCategorical(variable)) continuous.push_back(table.VariableName(variable));
  }

  platform::FitPCAArguments fixed;
  fixed.components = 2;
  platform::FitPCAArguments validated;
  validated.folds = 3;
  for (const platform::FitPCAArguments& arguments : {fixed, validated}) {
    platform::Script script = platform::BuildFitPCAScript(arguments);
    platform::SelectAllContinuousVariables(script, table);
    RunOnTable(script, table);
  }
  if (continuous.size() >= 2) {
    platform::FitPLSArguments pls;
    pls.dependents = {continuous.front()};
    pls.predictors.assign(continuous.begin() + 1, continuous.end());
    pls.folds = 3;
    RunOnTable(platform::BuildFitPLSScript(pls), table);
  }
  for (const platform::BatchKind kind :
       {platform::BatchKind::kTMPCA, platform::BatchKind::kTMPLS, platform::BatchKind::kBMPLS}) {
    platform::FitBatchArguments batch;
    batch.kind = kind;
    batch.batch = table.VariableName(0);
    batch.components = 1;
    batch.min_batches = 2;
    if (kind == platform::BatchKind::kTMPLS) {
      if (continuous.size() < 2) continue;
      batch.dependents = {continuous.back()};
    }
    platform::Script script = platform::BuildFitBatchScript(batch);
    platform::SelectBatchProcessVariables(script, table);
    RunOnTable(script, table);
  }
}

}  // namespace mspc::fuzz
