#include "platform/readstat_table.hpp"

#include <readstat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <exception>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <system_error>
#include <utility>
#include <vector>

#include "host/messages.hpp"

namespace mspc::platform {
namespace {

constexpr double kMissing = std::numeric_limits<double>::quiet_NaN();
// Rows reserved up front from the count a file declares; a damaged count cannot make the
// reader allocate more than this before a value arrives.
constexpr std::int64_t kMaxReservedRows = 1 << 20;

// The shortest text that reads back as `value`: the label of an unlabelled code.
std::string NumberLabel(double value) {
  std::array<char, 32> buffer{};
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  return std::string(buffer.data(), result.ptr);
}

struct MissingRange {
  double low = 0.0;
  double high = 0.0;
};

// One variable's cells as the values arrive, row by row.
struct VariableBuilder {
  std::string name;
  bool text = false;
  std::string label_set;                     // the name of its value labels, if any
  std::vector<MissingRange> missing_ranges;  // user-defined missing values (SPSS)
  std::vector<double> values;                // numeric cells, NaN where missing
  std::vector<std::string> texts;            // text cells, empty where missing

  bool IsDeclaredMissing(double value) const {
    return std::any_of(missing_ranges.begin(), missing_ranges.end(), [&](const MissingRange& r) {
      return value >= r.low && value <= r.high;
    });
  }
};

struct ValueLabels {
  std::map<double, std::string> numeric;
  std::map<std::string, std::string> text;
};

MessageId FormatMessageId(ReadStatFormat format) {
  switch (format) {
    case ReadStatFormat::kSas:
      return MessageId::kReadStatSasUnreadable;
    case ReadStatFormat::kSpss:
      return MessageId::kReadStatSpssUnreadable;
    case ReadStatFormat::kStata:
      return MessageId::kReadStatStataUnreadable;
  }
  return MessageId::kReadStatSpssUnreadable;
}

class ReadStatLoader {
 public:
  ReadStatLoader(std::string path, ReadStatFormat format, const TableOptions& options)
      : path_(std::move(path)), format_(format), options_(options) {}

  ReadStatLoadResult Load() {
    std::error_code status_error;
    if (std::filesystem::is_directory(path_, status_error)) {
      return Fail(FormatMessage(MessageId::kFileCannotOpen,
                                path_,
                                std::error_code(EISDIR, std::generic_category()).message()));
    }
    if (!std::filesystem::exists(path_, status_error)) {
      return Fail(FormatMessage(MessageId::kFileCannotOpen,
                                path_,
                                std::error_code(ENOENT, std::generic_category()).message()));
    }
    const readstat_error_t parsed = Parse();
    if (parsed != READSTAT_OK) {
      const std::string detail =
          handler_error_.empty() ? readstat_error_message(parsed) : handler_error_;
      return Fail(FormatMessage(FormatMessageId(format_), path_, detail));
    }
    if (variables_.empty()) return Fail(FormatMessage(MessageId::kReadStatNoVariables, path_));
    return Finish();
  }

 private:
  readstat_error_t Parse() {
    std::unique_ptr<readstat_parser_t, decltype(&readstat_parser_free)> parser(
        readstat_parser_init(), &readstat_parser_free);
    if (!parser) return READSTAT_ERROR_MALLOC;
    readstat_set_metadata_handler(parser.get(), &OnMetadata);
    readstat_set_variable_handler(parser.get(), &OnVariable);
    readstat_set_value_handler(parser.get(), &OnValue);
    readstat_set_value_label_handler(parser.get(), &OnValueLabel);
    readstat_set_error_handler(parser.get(), &OnError);
    switch (format_) {
      case ReadStatFormat::kSas:
        return readstat_parse_sas7bdat(parser.get(), path_.c_str(), this);
      case ReadStatFormat::kSpss:
        return readstat_parse_sav(parser.get(), path_.c_str(), this);
      case ReadStatFormat::kStata:
        return readstat_parse_dta(parser.get(), path_.c_str(), this);
    }
    return READSTAT_ERROR_PARSE;
  }

  // The handlers are called from C; an exception must not unwind through the library, so
  // each handler stops the parse instead and keeps the reason.
  static int Guard(void* context, const std::function<void(ReadStatLoader&)>& body) {
    auto& loader = *static_cast<ReadStatLoader*>(context);
    try {
      body(loader);
      return READSTAT_HANDLER_OK;
    } catch (const std::exception& error) {
      loader.handler_error_ = error.what();
    } catch (...) {
      loader.handler_error_ = readstat_error_message(READSTAT_ERROR_USER_ABORT);
    }
    return READSTAT_HANDLER_ABORT;
  }

  static int OnMetadata(readstat_metadata_t* metadata, void* context) {
    return Guard(context, [metadata](ReadStatLoader& loader) {
      const std::int64_t rows = readstat_get_row_count(metadata);
      if (rows > 0)
        loader.reserved_rows_ = static_cast<std::size_t>(std::min(rows, kMaxReservedRows));
    });
  }

  static int OnVariable(int /*index*/,
                        readstat_variable_t* variable,
                        const char* value_labels,
                        void* context) {
    return Guard(context, [&](ReadStatLoader& loader) {
      VariableBuilder builder;
      builder.name = readstat_variable_get_name(variable);
      builder.text = readstat_variable_get_type_class(variable) == READSTAT_TYPE_CLASS_STRING;
      if (value_labels != nullptr) builder.label_set = value_labels;
      if (!builder.text) {
        const int ranges = readstat_variable_get_missing_ranges_count(variable);
        for (int range = 0; range < ranges; ++range) {
          builder.missing_ranges.push_back(
              {readstat_double_value(readstat_variable_get_missing_range_lo(variable, range)),
               readstat_double_value(readstat_variable_get_missing_range_hi(variable, range))});
        }
        builder.values.reserve(loader.reserved_rows_);
      } else {
        builder.texts.reserve(loader.reserved_rows_);
      }
      loader.index_by_position_.emplace(readstat_variable_get_index(variable),
                                        loader.variables_.size());
      loader.variables_.push_back(std::move(builder));
    });
  }

  static int OnValueLabel(const char* set,
                          readstat_value_t value,
                          const char* label,
                          void* context) {
    return Guard(context, [&](ReadStatLoader& loader) {
      if (set == nullptr || label == nullptr) return;
      // Labels of tagged missing values (Stata's .a, .b, ...) label no code.
      if (readstat_value_is_system_missing(value) || readstat_value_is_tagged_missing(value))
        return;
      ValueLabels& labels = loader.label_sets_[set];
      if (readstat_value_type_class(value) == READSTAT_TYPE_CLASS_STRING) {
        const char* text = readstat_string_value(value);
        if (text != nullptr) labels.text[text] = label;
      } else {
        labels.numeric[readstat_double_value(value)] = label;
      }
    });
  }

  static int OnValue(int row,
                     readstat_variable_t* variable,
                     readstat_value_t value,
                     void* context) {
    return Guard(context, [&](ReadStatLoader& loader) {
      const auto found = loader.index_by_position_.find(readstat_variable_get_index(variable));
      if (found == loader.index_by_position_.end() || row < 0) return;
      VariableBuilder& builder = loader.variables_[found->second];
      const auto at = static_cast<std::size_t>(row);
      loader.num_cases_ = std::max(loader.num_cases_, at + 1);
      const bool missing = readstat_value_is_missing(value, variable) != 0;
      if (builder.text) {
        if (builder.texts.size() <= at) builder.texts.resize(at + 1);
        const char* text = readstat_string_value(value);
        builder.texts[at] = missing || text == nullptr ? "" : text;
      } else {
        if (builder.values.size() <= at) builder.values.resize(at + 1, kMissing);
        builder.values[at] = missing ? kMissing : readstat_double_value(value);
      }
    });
  }

  // The library's own error texts repeat its error code with its internals (return values,
  // errno); the code's message is what the user is shown, so they are not kept.
  static void OnError(const char* /*message*/, void* /*context*/) {}

  ReadStatLoadResult Fail(std::string message) const {
    ReadStatLoadResult result;
    result.error = std::move(message);
    return result;
  }

  VariableBuilder* Find(const std::string& name) {
    for (VariableBuilder& builder : variables_) {
      if (builder.name == name) return &builder;
    }
    return nullptr;
  }

  const ValueLabels* LabelsOf(const VariableBuilder& builder) const {
    if (builder.label_set.empty()) return nullptr;
    const auto found = label_sets_.find(builder.label_set);
    return found == label_sets_.end() ? nullptr : &found->second;
  }

  TableColumn NumericColumn(VariableBuilder& builder,
                            std::optional<double> missing_code,
                            bool declared_categorical) const {
    TableColumn column;
    column.name = builder.name;
    column.values = std::move(builder.values);
    column.values.resize(num_cases_, kMissing);
    if (missing_code) {
      column.missing_code = missing_code;
      for (double& value : column.values) {
        if (value == *missing_code) value = kMissing;
      }
    }
    const ValueLabels* labels = LabelsOf(builder);
    const bool labelled = labels != nullptr && !labels->numeric.empty();
    if (!labelled && !declared_categorical) return column;

    column.categorical = true;
    std::map<double, std::string> categories;
    if (labelled) {
      for (const auto& [code, label] : labels->numeric) {
        if (!builder.IsDeclaredMissing(code) && !(missing_code && code == *missing_code)) {
          categories.emplace(code, label);
        }
      }
    }
    for (const double value : column.values) {
      if (!std::isnan(value)) categories.try_emplace(value, NumberLabel(value));
    }
    for (auto& [code, label] : categories) column.categories.push_back({code, std::move(label)});
    return column;
  }

  // Text cells coded 1, 2, ... in order of first appearance, each shown by its value label
  // when it has one.
  TableColumn TextColumn(const VariableBuilder& builder) const {
    TableColumn column;
    column.name = builder.name;
    column.categorical = true;
    column.values.assign(num_cases_, kMissing);
    const ValueLabels* labels = LabelsOf(builder);
    std::map<std::string, double> code_by_text;
    for (std::size_t row = 0; row < builder.texts.size(); ++row) {
      const std::string& text = builder.texts[row];
      if (text.empty()) continue;
      const auto [entry, added] =
          code_by_text.try_emplace(text, static_cast<double>(code_by_text.size() + 1));
      if (added) {
        std::string label = text;
        if (labels != nullptr) {
          const auto found = labels->text.find(text);
          if (found != labels->text.end()) label = found->second;
        }
        column.categories.push_back({entry->second, std::move(label)});
      }
      column.values[row] = entry->second;
    }
    return column;
  }

  // The case names a variable gives: its texts, or its value labels or numbers.
  std::vector<std::string> CaseNames(const VariableBuilder& builder) const {
    std::vector<std::string> names(num_cases_);
    if (builder.text) {
      std::copy(builder.texts.begin(), builder.texts.end(), names.begin());
      return names;
    }
    const ValueLabels* labels = LabelsOf(builder);
    for (std::size_t row = 0; row < builder.values.size(); ++row) {
      const double value = builder.values[row];
      if (std::isnan(value)) continue;
      if (labels != nullptr) {
        const auto found = labels->numeric.find(value);
        if (found != labels->numeric.end()) {
          names[row] = found->second;
          continue;
        }
      }
      names[row] = NumberLabel(value);
    }
    return names;
  }

  ReadStatLoadResult Finish() {
    for (const auto& [name, code] : options_.missing_data_codes) {
      if (Find(name) == nullptr) {
        return Fail(FormatMessage(MessageId::kTableUnknownMissingCodeVariable, path_, name));
      }
    }
    for (const std::string& name : options_.categorical) {
      if (Find(name) == nullptr) {
        return Fail(FormatMessage(MessageId::kTableUnknownCategoricalVariable, path_, name));
      }
    }
    CaseAttributes attributes;
    if (!options_.case_name_variable.empty()) {
      const VariableBuilder* names = Find(options_.case_name_variable);
      if (names == nullptr) {
        return Fail(FormatMessage(
            MessageId::kTableUnknownCaseNameVariable, path_, options_.case_name_variable));
      }
      attributes.names = CaseNames(*names);
    }

    std::vector<TableColumn> columns;
    columns.reserve(variables_.size());
    for (VariableBuilder& builder : variables_) {
      if (builder.text) {
        // Codes of texts are this reader's own numbering; a missing-data code does not apply.
        columns.push_back(TextColumn(builder));
        continue;
      }
      const auto code = options_.missing_data_codes.find(builder.name);
      const bool declared =
          std::find(options_.categorical.begin(), options_.categorical.end(), builder.name) !=
          options_.categorical.end();
      columns.push_back(NumericColumn(builder,
                                      code == options_.missing_data_codes.end()
                                          ? std::nullopt
                                          : std::optional<double>(code->second),
                                      declared));
    }
    std::string error;
    if (!ResolveCaseOptions(path_, columns, num_cases_, options_, &attributes, &error)) {
      return Fail(std::move(error));
    }
    ReadStatLoadResult result;
    result.table = std::make_unique<ReadStatTable>(
        path_, num_cases_, std::move(columns), std::move(attributes));
    return result;
  }

  std::string path_;
  ReadStatFormat format_;
  const TableOptions& options_;
  std::vector<VariableBuilder> variables_;
  std::map<int, std::size_t> index_by_position_;  // the library's variable index to ours
  std::map<std::string, ValueLabels> label_sets_;
  std::size_t reserved_rows_ = 0;
  std::size_t num_cases_ = 0;
  std::string handler_error_;  // why a handler stopped the parse
};

}  // namespace

ReadStatLoadResult ReadStatTable::Load(const std::string& path,
                                       ReadStatFormat format,
                                       const TableOptions& options) {
  return ReadStatLoader(path, format, options).Load();
}

}  // namespace mspc::platform
