#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/xml_document.hpp"
#include "models/control_limits.hpp"
#include "models/dmatrix.hpp"
#include "models/scaling.hpp"

namespace mspc {

/// One variable of a model document's dictionary.
struct DocumentField {
  std::string name;
  bool categorical = false;
  std::vector<double> category_codes;        // categorical: one per category, in document order
  std::vector<std::string> category_labels;  // their texts
  int location = 0;  // 1-based position in the fitted table; 0 when read from a document
};

/// One column of a loaded model: a continuous variable, or one category's dummy column.
struct DocumentColumn {
  std::size_t field = 0;  // index into the fields
  double code = 0.0;      // the category's code; unused for a continuous variable
  double mean = 0.0;
  double standard_deviation = 0.0;
  double scale = 1.0;
};

/// A PCA model as its document holds it: written from a fit, or read back.
struct LoadedPCAModel {
  std::string title;        // the analysis title (written into generated code)
  std::string data_source;  // the table the model was fitted to
  ScalingMode scaling = ScalingMode::UnitStandardDeviations;
  std::vector<DocumentField> fields;
  std::vector<DocumentColumn> columns;
  ControlLimitSet t2;                   // T² limits; the lines are not-a-number without components
  ControlLimitSet spe;                  // SPE(Q) limits
  std::vector<ControlLimitSet> scores;  // per component: its standard deviation and limits
  DMatrix loadings;                     // components × columns

  int Components() const { return static_cast<int>(scores.size()); }
};

/// Read the PCA model of a document whose root holds exactly one model element, named "PCA".
/// Throws `AnalysisStop` with the message of the first fault: a missing element, a count that
/// disagrees with the elements present, an attribute that is not a finite number, a loading
/// vector whose length is not the number of variables.
LoadedPCAModel ReadPCADocument(const XmlElement& root);

}  // namespace mspc
