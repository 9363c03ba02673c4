#pragma once

#include <string>
#include <vector>

#include "deploy/pca_document.hpp"
#include "host/xml_document.hpp"

namespace mspc {

/// A fitted TMPCA model as its document holds it. The model is a PCA of the unfolded batches
/// (one row per batch, the J columns of every time interval side by side, column k × J + j):
/// `unfolded` holds it as a PCA model whose fields are the variables at their times ("name
/// {time}", located at their 1-based unfolded column), with the limits and loadings of the fit.
struct LoadedTMPCAModel {
  LoadedPCAModel unfolded;
  std::string batch_name;          // the batch variable
  int batches = 0;                 // I, the batches of the fit
  std::string time_name;           // the time variable; empty without one
  std::vector<double> time_codes;  // per time interval
  std::vector<std::string> time_labels;
  bool stacked = false;
  std::vector<DocumentField> variables;  // the J process columns' variables, in column order
  std::vector<DocumentColumn> columns;   // the J columns of one time (field = index in variables)
  std::vector<bool> excluded;       // per unfolded column: removed by screening, not in the model
  double trajectory_control = 3.0;  // the trajectory band constants
  bool trajectory_warning = false;
  double trajectory_warning_limit = 2.0;

  int Times() const { return static_cast<int>(time_codes.size()); }
};

/// Read the TMPCA model of a document whose root holds exactly one model element, named
/// "TMPCA": the batch, time and process-variable fields, the limits, the scales of every column
/// at every time and the loadings in unfolded order. Throws `AnalysisStop` with the message of
/// the first fault, as `ReadPCADocument` does.
LoadedTMPCAModel ReadTMPCADocument(const XmlElement& root);

}  // namespace mspc
