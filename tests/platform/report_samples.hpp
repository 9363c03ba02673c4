#pragma once

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "platform/json_report_sink.hpp"

namespace mspc::platform::testing {

/// Reports of every kind and shape the writers meet, with hostile texts: a spreadsheet, a T²
/// control chart with points beyond its control line, a score scatterplot with its limit box,
/// a bar chart, a table with no rows, a graph with nothing finite to plot, a text document and
/// a table longer than the web page shows.
struct ReportSamples {
  static constexpr double kControlLine = 12.5;
  static constexpr double kWarningLine = 8.25;
  static constexpr std::size_t kControlPoints = 60;
  static constexpr std::size_t kLongTableRows = 1500;

  /// Cases of the control chart beyond its control line (0-based), and the missing one.
  static std::vector<std::size_t> BeyondCases() { return {6, 20, 41}; }
  static constexpr std::size_t kMissingCase = 30;

  static Spreadsheet Summary() {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    return {"Summary <b>&amp; \"R\xC2\xB2\" it's [a]:b*c?d/e\\f",
            {"Number of components is 2", "<script>alert(1)</script>"},
            {"S: significant & kept"},
            "Comp.",
            {"R\xC2\xB2X", "Eigenvalue", "Significance", "Blank"},
            {{"1", {0.5, 12.25, std::string("S"), std::monostate{}}},
             {"2", {0.25, 3.5, std::string("<NS>"), nan}}},
            {{0, 2}, {1, 0}}};
  }

  static Graph ControlChart() {
    GraphSeries series{"T\xC2\xB2", {}, {}, {}};
    for (std::size_t point = 0; point < kControlPoints; ++point) {
      double value = 2.0 + 1.5 * std::sin(0.7 * static_cast<double>(point)) + 1.5;
      for (const std::size_t beyond : BeyondCases()) {
        if (point == beyond) value = kControlLine + 1.0 + static_cast<double>(point) / 10.0;
      }
      if (point == kMissingCase) value = std::numeric_limits<double>::quiet_NaN();
      series.x.push_back(static_cast<double>(point + 1));
      series.y.push_back(value);
      series.labels.push_back("case <" + std::to_string(point + 1) + ">");
    }
    return {
        GraphType::kControl,
        "Hotelling T\xC2\xB2 Control Chart",
        {"Number of components is 2"},
        "Case",
        "T\xC2\xB2",
        {series},
        {{"Critical value = 12.5000 (99.00% Control limit)", kControlLine, LimitKind::kControl},
         {"Critical value = 8.2500 (95.00% Warning limit)", kWarningLine, LimitKind::kWarning}}};
  }

  static Graph ScoreScatter() {
    GraphSeries series{"t1 vs. t2", {}, {}, {}};
    for (int point = 0; point < 40; ++point) {
      series.x.push_back(2.0 * std::cos(point * 0.9) * (point == 7 ? 2.5 : 1.0));
      series.y.push_back(1.5 * std::sin(point * 1.3));
      series.labels.push_back(std::to_string(point + 1));
    }
    return {GraphType::kScatter,
            "Score scatterplot (t1 vs. t2)",
            {},
            "t1",
            "t2",
            {series},
            {{"t1 upper control limit", 3.0, LimitKind::kControl},
             {"t1 lower control limit", -3.0, LimitKind::kControl},
             {"t2 upper control limit", 2.5, LimitKind::kControl},
             {"t2 lower control limit", -2.5, LimitKind::kControl},
             {"t1 upper warning limit", 2.0, LimitKind::kWarning},
             {"t1 lower warning limit", -2.0, LimitKind::kWarning},
             {"t2 upper warning limit", 1.75, LimitKind::kWarning},
             {"t2 lower warning limit", -1.75, LimitKind::kWarning}}};
  }

  static Graph Bars() {
    return {GraphType::kBar,
            "Contribution plot",
            {},
            "Variable",
            "Contribution",
            {{"Contribution",
              {1, 2, 3, 4, 5},
              {0.5, -1.25, 2.0, 0.75, -0.25},
              {"x1", "x2", "x3", "x4", "x5"}}},
            {}};
  }

  static Spreadsheet NoRows() { return {"Removed cases", {}, {}, "Case", {"Cause"}, {}, {}}; }

  // No title either, and no finite value or line.
  static Graph NothingToPlot() {
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    return {GraphType::kLine,
            "",
            {},
            "Case",
            "SPE",
            {{"SPE", {1, 2, 3}, {nan, inf, -inf}, {}}},
            {{"Critical value", nan, LimitKind::kControl}}};
  }

  static TextReport Document() { return {"model.pmml", "<PMML version=\"4.2\">\n</PMML>\n"}; }

  static Spreadsheet LongTable() {
    Spreadsheet sheet{"Score spreadsheet", {}, {}, "Case", {"t1"}, {}, {}};
    for (std::size_t row = 0; row < kLongTableRows; ++row) {
      sheet.rows.push_back({std::to_string(row + 1), {static_cast<double>(row) * 0.5}});
    }
    return sheet;
  }

  static std::vector<Report> All() {
    return {Summary(),
            ControlChart(),
            ScoreScatter(),
            Bars(),
            NoRows(),
            NothingToPlot(),
            Document(),
            LongTable()};
  }
};

}  // namespace mspc::platform::testing
