#include "platform/csv_table.hpp"

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>
#include <map>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/messages.hpp"
#include "platform/file_io.hpp"
#include "platform/number_text.hpp"

namespace mspc::platform {
namespace {

constexpr std::string_view kUtf8Bom = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16LittleEndianBom = "\xFF\xFE";
constexpr std::string_view kUtf16BigEndianBom = "\xFE\xFF";
constexpr double kMissing = std::numeric_limits<double>::quiet_NaN();

bool IsLineBreak(char c) { return c == '\n' || c == '\r'; }
bool IsBlank(char c) { return c == ' ' || c == '\t'; }

// Line breaks in a span: LF, CR LF and a lone CR each end one line.
std::size_t CountLineBreaks(std::string_view text) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\n') {
      ++count;
    } else if (text[i] == '\r' && (i + 1 == text.size() || text[i + 1] != '\n')) {
      ++count;
    }
  }
  return count;
}

// The header line decides the delimiter: semicolons when it has more of them than commas
// (outside quotes), commas otherwise.
char DetectDelimiter(std::string_view text) {
  std::size_t commas = 0;
  std::size_t semicolons = 0;
  bool quoted = false;
  for (const char c : text) {
    if (c == '"') {
      quoted = !quoted;
    } else if (!quoted) {
      if (IsLineBreak(c)) break;
      if (c == ',') ++commas;
      if (c == ';') ++semicolons;
    }
  }
  return semicolons > commas ? ';' : ',';
}

bool IsMissingText(std::string_view text) {
  const auto equals_ignoring_case = [&](std::string_view word) {
    // ASCII only, whatever the locale: `word` is lower case.
    return std::equal(text.begin(), text.end(), word.begin(), word.end(), [](char a, char b) {
      return (a >= 'A' && a <= 'Z' ? static_cast<char>(a - 'A' + 'a') : a) == b;
    });
  };
  return text.empty() || equals_ignoring_case("na") || equals_ignoring_case("nan");
}

// One record (a header or a row) as the tokenizer returns it. Fields are views into the text,
// except those with doubled quotes, which are views into `unescaped`.
struct Record {
  std::size_t line = 0;  // physical line where the record starts, 1-based
  bool blank = false;    // the record is an empty line
  std::vector<std::string_view> fields;
  std::deque<std::string> unescaped;  // a deque: growing it moves no string a view points into
};

enum class TokenStatus { kRecord, kEnd, kUnterminatedQuote, kTextAfterQuote };

// Splits RFC 4180 text into records: quoted fields may hold delimiters, line breaks and doubled
// quotes; lines end in LF, CR LF or CR.
class CsvTokenizer {
 public:
  CsvTokenizer(std::string_view text, char delimiter) : text_(text), delimiter_(delimiter) {}

  TokenStatus Next(Record* record) {
    if (pos_ >= text_.size()) return TokenStatus::kEnd;
    record->line = line_;
    record->blank = IsLineBreak(text_[pos_]);
    record->fields.clear();
    record->unescaped.clear();
    while (true) {
      std::size_t probe = pos_;
      while (probe < text_.size() && IsBlank(text_[probe])) ++probe;
      if (probe < text_.size() && text_[probe] == '"') {
        std::string_view field;
        const TokenStatus status = ReadQuoted(probe, record, &field);
        if (status != TokenStatus::kRecord) {
          error_field_ = record->fields.size() + 1;
          return status;
        }
        record->fields.push_back(field);
      } else {
        std::size_t end = pos_;
        while (end < text_.size() && text_[end] != delimiter_ && !IsLineBreak(text_[end])) ++end;
        record->fields.push_back(text_.substr(pos_, end - pos_));
        pos_ = end;
      }
      if (pos_ >= text_.size()) return TokenStatus::kRecord;
      if (text_[pos_] == delimiter_) {
        ++pos_;
        continue;
      }
      if (text_[pos_] == '\r' && pos_ + 1 < text_.size() && text_[pos_ + 1] == '\n') ++pos_;
      ++pos_;
      ++line_;
      return TokenStatus::kRecord;
    }
  }

  std::size_t error_line() const { return error_line_; }
  std::size_t error_field() const { return error_field_; }

 private:
  // Read a quoted field whose opening quote is at `quote`; leave `pos_` on what follows it.
  TokenStatus ReadQuoted(std::size_t quote, Record* record, std::string_view* field) {
    const std::size_t opening_line = line_;
    const std::size_t start = quote + 1;
    pos_ = start;
    std::string* unescaped = nullptr;  // made at the first doubled quote
    while (true) {
      const std::size_t close = text_.find('"', pos_);
      if (close == std::string_view::npos) {
        error_line_ = opening_line;
        return TokenStatus::kUnterminatedQuote;
      }
      const std::string_view chunk = text_.substr(pos_, close - pos_);
      line_ += CountLineBreaks(chunk);
      if (unescaped != nullptr) unescaped->append(chunk);
      pos_ = close + 1;
      if (pos_ < text_.size() && text_[pos_] == '"') {
        if (unescaped == nullptr) {
          unescaped = &record->unescaped.emplace_back(text_.substr(start, close - start));
        }
        unescaped->push_back('"');
        ++pos_;
        continue;
      }
      *field =
          unescaped != nullptr ? std::string_view(*unescaped) : text_.substr(start, close - start);
      break;
    }
    while (pos_ < text_.size() && IsBlank(text_[pos_])) ++pos_;
    if (pos_ < text_.size() && text_[pos_] != delimiter_ && !IsLineBreak(text_[pos_])) {
      error_line_ = line_;
      return TokenStatus::kTextAfterQuote;
    }
    return TokenStatus::kRecord;
  }

  std::string_view text_;
  char delimiter_;
  std::size_t pos_ = 0;
  std::size_t line_ = 1;
  std::size_t error_line_ = 0;
  std::size_t error_field_ = 0;
};

// Lets the label map be searched with a string_view, so a repeated label costs no allocation.
struct LabelHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const {
    return std::hash<std::string_view>{}(text);
  }
};
using LabelCodes = std::unordered_map<std::string, double, LabelHash, std::equal_to<>>;

// Collects one column's cells while the rows stream by. Numbers and texts are coded as they
// come; whether the column is numeric, categorical or in error is decided at the end.
struct ColumnBuilder {
  std::string name;
  std::optional<double> missing_code;
  bool declared_categorical = false;
  bool keeps_text = false;  // the case-name column keeps every cell's text

  std::vector<double> values;
  std::vector<std::string> texts;
  bool has_number = false;
  LabelCodes code_by_label;
  std::vector<std::string> labels;             // text categories; the code of labels[i] is i + 1
  std::map<double, std::string> value_labels;  // declared categorical: each value as written
  std::size_t first_text_line = 0;

  void Add(std::string_view raw, std::size_t line, char other_decimal_point) {
    const std::string_view text = TrimBlanks(raw);
    if (IsMissingText(text)) {
      if (keeps_text) texts.emplace_back();
      values.push_back(kMissing);
      return;
    }
    if (keeps_text) texts.emplace_back(text);
    std::optional<double> number = ParseNumber(text);
    if (!number && other_decimal_point != '.') number = ParseNumber(text, other_decimal_point);
    if (number) {
      has_number = true;
      if (missing_code && *number == *missing_code) {
        values.push_back(kMissing);
        return;
      }
      if (declared_categorical) value_labels.try_emplace(*number, text);
      values.push_back(*number);
      return;
    }
    if (labels.empty()) first_text_line = line;
    const auto found = code_by_label.find(text);
    if (found != code_by_label.end()) {
      values.push_back(found->second);
      return;
    }
    const double code = static_cast<double>(labels.size() + 1);
    code_by_label.emplace(std::string(text), code);
    labels.emplace_back(text);
    values.push_back(code);
  }

  bool Mixed() const { return has_number && !labels.empty(); }

  TableColumn Finish() {
    TableColumn column;
    column.name = std::move(name);
    column.missing_code = missing_code;
    if (Mixed()) {
      // Only the case-name column gets here: its cells are names, so every present cell,
      // number-like or not, becomes a label.
      labels.clear();
      code_by_label.clear();
      for (std::size_t row = 0; row < values.size(); ++row) {
        if (std::isnan(values[row])) continue;
        const auto [entry, added] =
            code_by_label.try_emplace(texts[row], static_cast<double>(labels.size() + 1));
        if (added) labels.push_back(texts[row]);
        values[row] = entry->second;
      }
    }
    if (!labels.empty()) {
      // Codes of text categories are this reader's own numbering, which a numeric missing-data
      // code must not be compared with.
      column.missing_code.reset();
      column.categorical = true;
      for (std::size_t i = 0; i < labels.size(); ++i) {
        column.categories.push_back({static_cast<double>(i + 1), std::move(labels[i])});
      }
    } else if (declared_categorical) {
      column.categorical = true;
      for (auto& [value, label] : value_labels) column.categories.push_back({value, label});
    }
    column.values = std::move(values);
    return column;
  }
};

class CsvLoader {
 public:
  CsvLoader(std::string source_name, const CsvOptions& options)
      : source_(std::move(source_name)), options_(options) {}

  CsvLoadResult Load(std::string_view text) {
    if (text.substr(0, kUtf8Bom.size()) == kUtf8Bom) {
      text.remove_prefix(kUtf8Bom.size());
    } else if (text.substr(0, 2) == kUtf16LittleEndianBom ||
               text.substr(0, 2) == kUtf16BigEndianBom) {
      return Fail(FormatMessage(MessageId::kCsvUtf16, source_));
    }
    if (text.find_first_not_of(" \t\r\n") == std::string_view::npos) {
      return Fail(FormatMessage(MessageId::kCsvEmptyFile, source_));
    }
    const char delimiter = DetectDelimiter(text);
    // Files separated by semicolons usually come from locales that write a decimal comma.
    other_decimal_point_ = delimiter == ';' ? ',' : '.';
    CsvTokenizer tokenizer(text, delimiter);

    Record record;
    TokenStatus status = tokenizer.Next(&record);
    if (status != TokenStatus::kRecord) return TokenError(status, tokenizer);
    if (!ReadHeader(record)) return Fail(std::move(error_));

    std::vector<std::size_t> pending_blank_lines;
    while ((status = tokenizer.Next(&record)) == TokenStatus::kRecord) {
      // Blank lines count only between rows: those at the end of the file are dropped.
      if (record.blank) {
        pending_blank_lines.push_back(record.line);
        continue;
      }
      for (const std::size_t line : pending_blank_lines) {
        if (!AddBlankRow(line)) return Fail(std::move(error_));
      }
      pending_blank_lines.clear();
      if (!AddRow(record)) return Fail(std::move(error_));
    }
    if (status != TokenStatus::kEnd) return TokenError(status, tokenizer);
    return Finish();
  }

 private:
  CsvLoadResult Fail(std::string message) {
    CsvLoadResult result;
    result.error = std::move(message);
    return result;
  }

  CsvLoadResult TokenError(TokenStatus status, const CsvTokenizer& tokenizer) {
    if (status == TokenStatus::kUnterminatedQuote) {
      return Fail(FormatMessage(MessageId::kCsvUnterminatedQuote, source_, tokenizer.error_line()));
    }
    return Fail(FormatMessage(
        MessageId::kCsvTextAfterQuote, source_, tokenizer.error_line(), tokenizer.error_field()));
  }

  bool ReadHeader(const Record& record) {
    std::unordered_map<std::string, std::size_t> column_by_name;
    for (std::size_t col = 0; col < record.fields.size(); ++col) {
      const std::string name(TrimBlanks(record.fields[col]));
      if (name.empty()) {
        error_ = FormatMessage(MessageId::kCsvEmptyName, source_, record.line, col + 1);
        return false;
      }
      const auto [entry, added] = column_by_name.emplace(name, col);
      if (!added) {
        error_ = FormatMessage(
            MessageId::kCsvDuplicateName, source_, record.line, name, col + 1, entry->second + 1);
        return false;
      }
      builders_.emplace_back();
      builders_.back().name = name;
    }
    const auto find = [&](const std::string& name) -> ColumnBuilder* {
      const auto found = column_by_name.find(name);
      return found == column_by_name.end() ? nullptr : &builders_[found->second];
    };
    for (const auto& [name, code] : options_.missing_data_codes) {
      ColumnBuilder* builder = find(name);
      if (builder == nullptr) {
        error_ = FormatMessage(MessageId::kTableUnknownMissingCodeVariable, source_, name);
        return false;
      }
      builder->missing_code = code;
    }
    for (const std::string& name : options_.categorical) {
      ColumnBuilder* builder = find(name);
      if (builder == nullptr) {
        error_ = FormatMessage(MessageId::kTableUnknownCategoricalVariable, source_, name);
        return false;
      }
      builder->declared_categorical = true;
    }
    if (!options_.case_name_variable.empty()) {
      case_names_ = find(options_.case_name_variable);
      if (case_names_ == nullptr) {
        error_ = FormatMessage(
            MessageId::kTableUnknownCaseNameVariable, source_, options_.case_name_variable);
        return false;
      }
      case_names_->keeps_text = true;
    }
    return true;
  }

  bool AddRow(const Record& record) {
    if (record.fields.size() != builders_.size()) {
      error_ = FormatMessage(
          MessageId::kCsvRaggedRow, source_, record.line, record.fields.size(), builders_.size());
      return false;
    }
    for (std::size_t col = 0; col < builders_.size(); ++col) {
      builders_[col].Add(record.fields[col], record.line, other_decimal_point_);
    }
    ++num_cases_;
    return true;
  }

  // An empty line between rows: a missing cell in a one-column table, a short row otherwise.
  bool AddBlankRow(std::size_t line) {
    Record blank;
    blank.line = line;
    blank.fields.emplace_back();
    return AddRow(blank);
  }

  CsvLoadResult Finish() {
    // A column mixing numbers and texts is refused at its first text, the earliest such cell
    // in the file being reported.
    const ColumnBuilder* mixed = nullptr;
    std::size_t mixed_col = 0;
    for (std::size_t col = 0; col < builders_.size(); ++col) {
      const ColumnBuilder& builder = builders_[col];
      if (!builder.Mixed() || builder.keeps_text) continue;
      if (mixed == nullptr || builder.first_text_line < mixed->first_text_line) {
        mixed = &builder;
        mixed_col = col;
      }
    }
    if (mixed != nullptr) {
      return Fail(FormatMessage(MessageId::kCsvNotANumber,
                                source_,
                                mixed->first_text_line,
                                mixed->name,
                                mixed_col + 1,
                                mixed->labels.front()));
    }

    std::vector<TableColumn> columns;
    columns.reserve(builders_.size());
    for (ColumnBuilder& builder : builders_) columns.push_back(builder.Finish());
    CaseAttributes attributes;
    if (case_names_ != nullptr) attributes.names = std::move(case_names_->texts);
    if (!ResolveCaseOptions(source_, columns, num_cases_, options_, &attributes, &error_)) {
      return Fail(std::move(error_));
    }
    CsvLoadResult result;
    result.table =
        std::make_unique<CsvTable>(source_, num_cases_, std::move(columns), std::move(attributes));
    return result;
  }

  std::string source_;
  const CsvOptions& options_;
  char other_decimal_point_ = '.';
  std::vector<ColumnBuilder> builders_;
  ColumnBuilder* case_names_ = nullptr;
  std::size_t num_cases_ = 0;
  std::string error_;
};

}  // namespace

CsvLoadResult CsvTable::Load(const std::string& path, const CsvOptions& options) {
  std::string text;
  std::string error;
  if (!ReadWholeFile(path, &text, &error)) {
    CsvLoadResult result;
    result.error = std::move(error);
    return result;
  }
  return Parse(path, text, options);
}

CsvLoadResult CsvTable::Parse(const std::string& source_name,
                              std::string_view text,
                              const CsvOptions& options) {
  return CsvLoader(source_name, options).Load(text);
}

}  // namespace mspc::platform
