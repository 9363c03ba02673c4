#pragma once

#include <string>
#include <vector>

#include "deploy/pca_document.hpp"
#include "host/xml_document.hpp"
#include "models/control_limits.hpp"
#include "models/dmatrix.hpp"
#include "models/scaling.hpp"

namespace mspc {

/// A PLS model as its document holds it: written from a fit, or read back. The dependent (Y)
/// and predictor (X) blocks each have their fields and columns; a categorical field has one
/// dummy column per category.
struct LoadedPLSModel {
  std::string title;            // the analysis title (written into generated code)
  std::string data_source;      // the table the model was fitted to
  bool classification = false;  // "Classification" (categorical dependents) or "Regression"
  ScalingMode scaling = ScalingMode::UnitStandardDeviations;
  std::vector<DocumentField> dependent_fields;
  std::vector<DocumentColumn> dependent_columns;
  std::vector<DocumentField> predictor_fields;
  std::vector<DocumentColumn> predictor_columns;
  ControlLimitSet t2;                     // of the X scores; not-a-number lines without components
  ControlLimitSet spe;                    // of the X residuals
  std::vector<ControlLimitSet> x_scores;  // per component: its X score deviation and limits
  std::vector<ControlLimitSet> y_scores;  // per component: its Y score deviation and limits
  std::vector<double> inner;              // per component: the inner coefficient b
  DMatrix y_loadings;                     // components × Y columns: q
  DMatrix x_loadings;                     // components × X columns: p
  DMatrix weights;                        // components × X columns: w

  int Components() const { return static_cast<int>(inner.size()); }
};

/// Read the PLS model of a document whose root holds exactly one model element, named "PLS".
/// The dictionary's fields are told apart by their optype ("dependent" or "predictor").
/// Throws `AnalysisStop` with the message of the first fault, as `ReadPCADocument` does.
LoadedPLSModel ReadPLSDocument(const XmlElement& root);

}  // namespace mspc
