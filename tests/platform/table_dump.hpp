#pragma once

#include <charconv>
#include <cmath>
#include <string>

#include "host/data_table.hpp"

namespace mspc::platform::testing {

/// A number in its shortest exact form; "." for a missing cell.
inline std::string CellText(double value) {
  if (std::isnan(value)) return ".";
  char buffer[32];
  return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
}

/// A column in one line: "name{code=label,...}: cells", categories only for a categorical one.
inline std::string DumpColumn(const DataTable& table, std::size_t col) {
  std::string text = table.VariableName(col);
  if (table.IsCategorical(col)) {
    text += "{";
    for (const CodeLabel& category : table.Categories(col)) {
      text += CellText(category.code) + "=" + category.label + ",";
    }
    text += "}";
  }
  text += ":";
  for (std::size_t row = 0; row < table.NumCases(); ++row) {
    text += " " + CellText(table.Value(row, col));
  }
  return text;
}

/// The whole table in one line, its columns separated by "; ".
inline std::string DumpTable(const DataTable& table) {
  std::string text;
  for (std::size_t col = 0; col < table.NumVariables(); ++col) {
    text += (col ? "; " : "") + DumpColumn(table, col);
  }
  return text;
}

}  // namespace mspc::platform::testing
