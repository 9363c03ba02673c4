#pragma once

#include <gtest/gtest.h>
#include <readstat.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "host/data_table.hpp"

namespace mspc::platform::testing {

/// A variable of a data file written with ReadStat's own writer, for the readers to read back.
struct WrittenVariable {
  std::string name;
  readstat_type_t type = READSTAT_TYPE_DOUBLE;  // DOUBLE, INT32 or STRING
  std::vector<double> numbers;                  // NaN is written as system missing
  std::vector<std::string> texts;
  std::vector<std::pair<double, std::string>> labels;
  std::vector<double> user_missing;  // declared missing values (SPSS)
  std::vector<std::size_t> tagged;   // rows written as the tagged missing value .a (Stata)
};

enum class WrittenFormat { kSav, kZsav, kDta, kSas };

/// Write `variables` (all of one length) as a data file of `format` at `path`.
inline void WriteFile(const std::string& path,
                      WrittenFormat format,
                      const std::vector<WrittenVariable>& variables) {
  std::ofstream stream(path, std::ios::binary);
  readstat_writer_t* writer = readstat_writer_init();
  readstat_set_data_writer(writer, [](const void* data, size_t length, void* context) {
    static_cast<std::ofstream*>(context)->write(static_cast<const char*>(data),
                                                static_cast<std::streamsize>(length));
    return static_cast<ssize_t>(length);
  });
  std::vector<readstat_variable_t*> handles;
  for (const WrittenVariable& variable : variables) {
    const bool text = variable.type == READSTAT_TYPE_STRING;
    const bool integer = variable.type == READSTAT_TYPE_INT32;
    handles.push_back(
        readstat_add_variable(writer, variable.name.c_str(), variable.type, text ? 16 : 0));
    if (!variable.labels.empty()) {
      readstat_label_set_t* set =
          readstat_add_label_set(writer, variable.type, (variable.name + "_l").c_str());
      for (const auto& [value, label] : variable.labels) {
        integer ? readstat_label_int32_value(set, static_cast<int32_t>(value), label.c_str())
                : readstat_label_double_value(set, value, label.c_str());
      }
      readstat_variable_set_label_set(handles.back(), set);
    }
    for (const double missing : variable.user_missing) {
      readstat_variable_add_missing_double_value(handles.back(), missing);
    }
  }
  const WrittenVariable& first = variables.front();
  const std::size_t rows =
      first.type == READSTAT_TYPE_STRING ? first.texts.size() : first.numbers.size();
  if (format == WrittenFormat::kZsav) {
    readstat_writer_set_compression(writer, READSTAT_COMPRESS_BINARY);
  }
  const auto begin = format == WrittenFormat::kDta   ? &readstat_begin_writing_dta
                     : format == WrittenFormat::kSas ? &readstat_begin_writing_sas7bdat
                                                     : &readstat_begin_writing_sav;
  const readstat_error_t begun = begin(writer, &stream, static_cast<long>(rows));
  ASSERT_EQ(begun, READSTAT_OK) << readstat_error_message(begun);
  for (std::size_t row = 0; row < rows; ++row) {
    readstat_begin_row(writer);
    for (std::size_t index = 0; index < variables.size(); ++index) {
      const WrittenVariable& variable = variables[index];
      readstat_variable_t* handle = handles[index];
      const double number = variable.numbers.empty() ? 0.0 : variable.numbers[row];
      if (variable.type == READSTAT_TYPE_STRING) {
        readstat_insert_string_value(writer, handle, variable.texts[row].c_str());
      } else if (std::count(variable.tagged.begin(), variable.tagged.end(), row) > 0) {
        readstat_insert_tagged_missing_value(writer, handle, 'a');
      } else if (std::isnan(number)) {
        readstat_insert_missing_value(writer, handle);
      } else if (variable.type == READSTAT_TYPE_INT32) {
        readstat_insert_int32_value(writer, handle, static_cast<int32_t>(number));
      } else {
        readstat_insert_double_value(writer, handle, number);
      }
    }
    readstat_end_row(writer);
  }
  const readstat_error_t ended = readstat_end_writing(writer);
  readstat_writer_free(writer);
  ASSERT_EQ(ended, READSTAT_OK) << readstat_error_message(ended);
}

/// Write a table of numeric variables as an SPSS file, cell for cell.
inline void WriteNumericTable(const DataTable& table, const std::string& path) {
  std::vector<WrittenVariable> variables;
  for (std::size_t col = 0; col < table.NumVariables(); ++col) {
    WrittenVariable variable;
    variable.name = table.VariableName(col);
    for (std::size_t row = 0; row < table.NumCases(); ++row) {
      variable.numbers.push_back(table.Value(row, col));
    }
    variables.push_back(std::move(variable));
  }
  WriteFile(path, WrittenFormat::kSav, variables);
}

}  // namespace mspc::platform::testing
