#include "platform/json_report_sink.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <nlohmann/json.hpp>

#include "platform/temp_folder.hpp"

namespace mspc::platform {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(JsonReportSink, WritesEveryReportInOrderInTheFixedShape) {
  JsonReportSink sink;
  sink.AddSpreadsheet({"Summary",
                       {"Number of components is 3"},
                       {"note"},
                       "Comp.",
                       {"R\xC2\xB2X", "Flag", "Blank", "Bad"},
                       {{"1", {0.41, std::string("S"), std::monostate{}, kNaN}}},
                       {{0, 2}}});
  sink.AddGraph({GraphType::kControl,
                 "Hotelling T\xC2\xB2 Control Chart",
                 {},
                 "Case",
                 "T\xC2\xB2",
                 {{"T\xC2\xB2", {1, 2}, {0.5, kInfinity}, {"a", "b"}}},
                 {{"Critical value", 12.3456, LimitKind::kControl},
                  {"Warning", -kInfinity, LimitKind::kWarning}}});
  sink.AddText({"model.pmml", "<PMML/>"});
  ASSERT_EQ(sink.reports().size(), 3u);

  testing::TempFolder folder;
  std::string error;
  ASSERT_TRUE(sink.Write(folder.File("reports.json"), &error)) << error;
  EXPECT_EQ(nlohmann::json::parse(testing::ReadText(folder.File("reports.json"))),
            nlohmann::json::parse(R"({"reports": [
      {"kind": "spreadsheet", "title": "Summary", "subtitles": ["Number of components is 3"],
       "footnotes": ["note"], "rowHeader": "Comp.", "columns": ["R²X", "Flag", "Blank", "Bad"],
       "rows": [{"label": "1", "cells": [0.41, "S", null, null]}], "highlights": [[0, 2]]},
      {"kind": "graph", "type": "control", "title": "Hotelling T² Control Chart",
       "subtitles": [], "xLabel": "Case", "yLabel": "T²",
       "series": [{"name": "T²", "x": [1.0, 2.0], "y": [0.5, null], "labels": ["a", "b"]}],
       "lines": [{"label": "Critical value", "value": 12.3456, "kind": "control"},
                 {"label": "Warning", "value": null, "kind": "warning"}]},
      {"kind": "text", "title": "model.pmml", "text": "<PMML/>"}]})"));
  EXPECT_EQ(folder.Entries(), std::vector<std::string>{"reports.json"});
}

TEST(JsonReportSink, TextsThatAreNotUtf8DoNotStopTheReport) {
  JsonReportSink sink;
  sink.AddText({"bad \xFF name", "ok"});
  const auto document = nlohmann::json::parse(ReportsToJson(sink.reports()));
  EXPECT_EQ(document["reports"][0]["text"], "ok");
}

}  // namespace
}  // namespace mspc::platform
