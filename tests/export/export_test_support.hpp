#pragma once

// Small fitted models and document parsing shared by the export and deployment tests.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "export/model_document.hpp"
#include "export/pls_model_document.hpp"
#include "frame/working_data.hpp"
#include "pca/pca_engine.hpp"
#include "pca/pca_reports.hpp"
#include "pca/pca_test_support.hpp"
#include "platform/boost_probability.hpp"
#include "platform/pugi_xml_parser.hpp"
#include "pls/pls_reports.hpp"
#include "pls/pls_test_support.hpp"

namespace mspc::testing {

/// Working data for `raw` with unit-deviation scaling; `names` name the columns, one variable
/// per column.
inline WorkingData ContinuousData(const DMatrix& raw, const std::vector<std::string>& names) {
  WorkingData data;
  data.x = raw;
  const ColumnStatistics stats = ComputeColumnStatistics(raw);
  for (std::size_t col = 0; col < raw.cols(); ++col) {
    VariableInfo variable;
    variable.name = names[col];
    variable.table_index = col;
    variable.mean = stats.mean[col];
    variable.standard_deviation = stats.sd[col];
    variable.scale = stats.sd[col];
    data.variables.push_back(variable);
    data.column_source.push_back(col);
    data.column_code.push_back(std::nan(""));
    data.column_names.push_back(names[col]);
    double valid = 0;
    for (std::size_t row = 0; row < raw.rows(); ++row) valid += std::isnan(raw(row, col)) ? 0 : 1;
    data.valid_count.push_back(valid);
    data.removed_columns.push_back(false);
  }
  data.mean = stats.mean;
  data.standard_deviation = stats.sd;
  data.scale = stats.sd;
  for (std::size_t row = 0; row < raw.rows(); ++row) {
    data.case_numbers.push_back(static_cast<int>(row) + 1);
    data.case_names.push_back("");
    data.removed_cases.push_back(false);
  }
  return data;
}

/// An engine with `components` components fitted to `data` by tight NIPALS.
inline PCAEngine FittedEngine(const WorkingData& data, int components) {
  PCAFitOptions options;
  options.component_mode = ComponentMode::FixedNumberOfComponents;
  options.max_components = components;
  options.convergence = 1e-13;
  options.max_iterations = 1000;
  PCAEngine engine(options);
  engine.CenterAndScale(data.x, data.mean, data.scale);
  engine.AutoFit();
  return engine;
}

/// The exported form of a PCA model of `components` fitted to `raw` (unit deviations), as the
/// code generators take it.
inline LoadedPCAModel ExportedPCAModel(const DMatrix& raw,
                                       const std::vector<std::string>& names,
                                       int components,
                                       const PCAReportOptions& options = {}) {
  const WorkingData data = ContinuousData(raw, names);
  const platform::BoostProbability probability;
  LoadedPCAModel model = PCADocumentModel(FittedEngine(data, components),
                                          data,
                                          ScalingMode::UnitStandardDeviations,
                                          options,
                                          probability);
  model.title = "Multivariate Statistical Process Control";
  model.data_source = "plant.csv";
  return model;
}

/// A PLS engine with `components` components fitted by tight NIPALS to x and y, scaled as
/// their working data say.
inline PLSEngine FittedPLSEngine(const DMatrix& x,
                                 const DMatrix& y,
                                 const WorkingData& predictors,
                                 const WorkingData& dependents,
                                 int components) {
  PLSFitOptions options;
  options.max_iterations = 1000;
  options.convergence = 1e-14;
  PLSEngine engine(options);
  engine.CenterAndScale(
      x, y, {predictors.mean, predictors.scale}, {dependents.mean, dependents.scale});
  StoreComponents(engine, components);
  return engine;
}

/// The exported form of a PLS fit, as the code generators take it.
inline LoadedPLSModel ExportedPLSModel(const PLSEngine& engine,
                                       const WorkingData& predictors,
                                       const WorkingData& dependents) {
  const platform::BoostProbability probability;
  LoadedPLSModel model = PLSDocumentModel(engine,
                                          predictors,
                                          dependents,
                                          ScalingMode::UnitStandardDeviations,
                                          PLSReportOptions{},
                                          probability);
  model.title = "Multivariate Statistical Process Control";
  model.data_source = "plant.csv";
  return model;
}

/// The children of `element` with this name, in document order.
inline std::vector<const XmlElement*> Children(const XmlElement& element, const std::string& name) {
  std::vector<const XmlElement*> found;
  for (const XmlElement& child : element.children) {
    if (child.name == name) found.push_back(&child);
  }
  return found;
}

/// `actual` within `tolerance` of `expected`, relative above 1 and absolute below; NaN matches NaN.
inline void ExpectClose(double actual, double expected, double tolerance, const std::string& what) {
  if (std::isnan(expected)) {
    EXPECT_TRUE(std::isnan(actual)) << what;
    return;
  }
  EXPECT_LE(std::fabs(actual - expected), tolerance * std::max(1.0, std::fabs(expected)))
      << what << ": " << actual << " vs " << expected;
}

/// The root element of a document; the test fails when the text does not parse.
inline XmlElement Parse(const std::string& text) {
  const platform::PugiXmlParser parser;
  XmlLoadResult result = parser.LoadText(text, /*prohibit_dtd=*/true);
  EXPECT_TRUE(result.loaded) << result.error;
  return result.root;
}

}  // namespace mspc::testing
