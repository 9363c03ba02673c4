#pragma once

// What the fuzz targets do with one input, shared by the libFuzzer mains and by the test that
// replays the seed corpus and every kept reproducer in the ordinary test run. Each entry must
// return for any input; a broken promise traps.

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "deploy/deployment_model.hpp"
#include "deploy/pca_deployment.hpp"
#include "deploy/pca_document.hpp"
#include "deploy/pls_deployment.hpp"
#include "deploy/pls_document.hpp"
#include "deploy/tmpca_document.hpp"
#include "host/errors.hpp"
#include "platform/csv_table.hpp"
#include "platform/pugi_xml_parser.hpp"
#include "platform/script.hpp"

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

}  // namespace mspc::fuzz
