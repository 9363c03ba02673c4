#pragma once

#include <string>
#include <vector>

#include "deploy/pls_document.hpp"
#include "host/xml_document.hpp"
#include "models/control_limits.hpp"

namespace mspc {

/// The batch and time fields of a batch model's document and its trajectory band constants.
struct BatchDocumentFrame {
  std::string batch_name;          // the batch variable
  int batches = 0;                 // I, the batches of the fit
  std::string time_name;           // the time variable (or the time header without one)
  std::vector<double> time_codes;  // per time interval
  std::vector<std::string> time_labels;
  bool stacked = false;
  double trajectory_control = 3.0;
  bool trajectory_warning = false;
  double trajectory_warning_limit = 2.0;

  int Times() const { return static_cast<int>(time_codes.size()); }
};

/// A fitted TMPLS model as its document holds it: a PLS model of the unfolded batches (one row
/// per batch; predictor column k × J + j is process column j at time k, dependent column
/// t × D + d is dependent d at its t-th time). Its fields are the variables at their times
/// ("name {time}", located at their 1-based unfolded column).
struct LoadedTMPLSModel {
  LoadedPLSModel unfolded;
  BatchDocumentFrame frame;
  double dependent_time_code = 0.0;      // the time code at which the dependents are measured
  std::vector<DocumentField> variables;  // the J process columns' variables, in column order
  std::vector<DocumentColumn> columns;   // the J columns of one time (field = index in variables)
  std::vector<bool> excluded;            // per unfolded predictor column: removed by screening
};

/// A fitted BMPLS model as its document holds it: a PLS model of one row per batch and time
/// whose predictors are the process columns and whose single dependent is the time, with the
/// per-time limits by which batches are monitored.
struct LoadedBMPLSModel {
  LoadedPLSModel model;
  BatchDocumentFrame frame;
  std::vector<ControlLimitSet> spe_by_time;                  // per time: the SPE(Q) lines
  std::vector<std::vector<ControlLimitSet>> scores_by_time;  // per component, per time
};

/// Read the TMPLS model of a document whose root holds exactly one model element, named
/// "TMPLS". Throws `AnalysisStop` with the message of the first fault, as `ReadPLSDocument`
/// does.
LoadedTMPLSModel ReadTMPLSDocument(const XmlElement& root);

/// Read the BMPLS model of a document whose root holds exactly one model element, named
/// "BMPLS", with its per-time limits (not-a-number lines where a time had too few batches).
LoadedBMPLSModel ReadBMPLSDocument(const XmlElement& root);

}  // namespace mspc
