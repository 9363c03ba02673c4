#pragma once

#include <string>
#include <variant>
#include <vector>

#include "host/output_sink.hpp"

namespace mspc::platform {

/// One report as the analysis handed it over.
using Report = std::variant<Spreadsheet, Graph, TextReport>;

/// The JSON text of a list of reports: `{"reports": [...]}`, one object per report with its
/// `kind` ("spreadsheet", "graph" or "text"). Missing cells and non-finite numbers are null.
std::string ReportsToJson(const std::vector<Report>& reports);

/// Keeps every report in order and writes them as `reports.json`; the other report writers
/// render the same list.
class JsonReportSink : public OutputSink {
 public:
  void AddSpreadsheet(const Spreadsheet& sheet) override { reports_.emplace_back(sheet); }
  void AddGraph(const Graph& graph) override { reports_.emplace_back(graph); }
  void AddText(const TextReport& text) override { reports_.emplace_back(text); }

  const std::vector<Report>& reports() const { return reports_; }

  /// Write the reports to `path` whole or not at all; false with `error` filled on failure.
  bool Write(const std::string& path, std::string* error) const;

 private:
  std::vector<Report> reports_;
};

}  // namespace mspc::platform
