#include "platform/readstat_table.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>

#include "platform/csv_table.hpp"
#include "platform/readstat_files.hpp"
#include "platform/table_loader.hpp"
#include "platform/temp_folder.hpp"

namespace mspc::platform {
namespace {

using testing::WriteFile;
using testing::WrittenFormat;
using testing::WrittenVariable;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::vector<double> Column(const DataTable& table, const std::string& name) {
  const auto variable = table.FindVariable(name);
  EXPECT_TRUE(variable) << name;
  std::vector<double> values;
  if (!variable) return values;
  for (std::size_t row = 0; row < table.NumCases(); ++row)
    values.push_back(table.Value(row, *variable));
  return values;
}

// Compares with NaN equal to NaN, as a missing cell is.
void ExpectCells(const std::vector<double>& actual, const std::vector<double>& expected) {
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t row = 0; row < actual.size(); ++row) {
    if (std::isnan(expected[row])) {
      EXPECT_TRUE(std::isnan(actual[row])) << "row " << row << ": " << actual[row];
    } else {
      EXPECT_EQ(actual[row], expected[row]) << "row " << row;
    }
  }
}

std::vector<std::pair<double, std::string>> CategoriesOf(const DataTable& table,
                                                         const std::string& name) {
  std::vector<std::pair<double, std::string>> categories;
  for (const CodeLabel& category : table.Categories(*table.FindVariable(name))) {
    categories.emplace_back(category.code, category.label);
  }
  return categories;
}

using Categories = std::vector<std::pair<double, std::string>>;

// A small plant log: operating phase (labelled; 9 "Unknown" declared missing), a reading with
// -99 declared missing, the batch identifier, and a weight.
std::vector<WrittenVariable> PlantLog() {
  WrittenVariable phase{"phase", READSTAT_TYPE_DOUBLE, {1, 2, 9, 2, kNaN, 3}, {}, {}, {9}, {}};
  phase.labels = {{1, "Start-up"}, {2, "Steady"}, {9, "Unknown"}};
  WrittenVariable reading{
      "x1", READSTAT_TYPE_DOUBLE, {0.5, -99, 2.25, kNaN, 1e-300, -7}, {}, {}, {-99}, {}};
  WrittenVariable batch{
      "batch", READSTAT_TYPE_STRING, {}, {"B01", "B02", "", "B01", "B03", "B02"}, {}, {}, {}};
  WrittenVariable weight{"w", READSTAT_TYPE_DOUBLE, {1, 2, 1, kNaN, 1, 0.5}, {}, {}, {}, {}};
  return {phase, reading, batch, weight};
}

TEST(ReadStatTable, SpssLabelsBecomeCategoriesAndDeclaredMissingValuesAreMissing) {
  testing::TempFolder folder;
  for (const WrittenFormat format : {WrittenFormat::kSav, WrittenFormat::kZsav}) {
    const std::string path =
        folder.File(format == WrittenFormat::kSav ? "plant.sav" : "plant.zsav");
    WriteFile(path, format, PlantLog());
    TableOptions options;
    options.case_name_variable = "batch";
    options.weight_variable = "w";
    options.selection = CaseSelection{"phase", {std::string("Steady"), 3.0}, SelectionMode::kIn};
    const TableLoadResult loaded = LoadTable(path, options);
    ASSERT_TRUE(loaded.table) << loaded.error;
    const DataTable& table = *loaded.table;
    SCOPED_TRACE(path);

    EXPECT_EQ(table.SourceName(), path);
    ASSERT_EQ(table.NumVariables(), 4u);
    EXPECT_EQ(table.VariableName(0), "phase");
    EXPECT_EQ(table.VariableName(2), "batch");
    EXPECT_EQ(table.NumCases(), 6u);

    // Labelled codes not declared missing, and the unlabelled 3 named by its number.
    EXPECT_TRUE(table.IsCategorical(0));
    EXPECT_EQ(CategoriesOf(table, "phase"), (Categories{{1, "Start-up"}, {2, "Steady"}, {3, "3"}}));
    ExpectCells(Column(table, "phase"), {1, 2, kNaN, 2, kNaN, 3});
    EXPECT_EQ(table.CodeText(0, 2), "Steady");

    EXPECT_FALSE(table.IsCategorical(1));
    ExpectCells(Column(table, "x1"), {0.5, kNaN, 2.25, kNaN, 1e-300, -7});

    // Texts are coded in order of first appearance; the empty one is missing.
    EXPECT_TRUE(table.IsCategorical(2));
    EXPECT_EQ(CategoriesOf(table, "batch"), (Categories{{1, "B01"}, {2, "B02"}, {3, "B03"}}));
    ExpectCells(Column(table, "batch"), {1, 2, kNaN, 1, 3, 2});
    EXPECT_EQ(table.CaseName(0), "B01");
    EXPECT_EQ(table.CaseName(2), "");

    // Selection by a label and by a code; the missing weight counts as 0.
    std::vector<bool> selected;
    for (std::size_t row = 0; row < 6; ++row) selected.push_back(table.IsCaseSelected(row));
    EXPECT_EQ(selected, (std::vector<bool>{false, true, false, true, false, true}));
    ASSERT_TRUE(table.HasCaseWeights());
    EXPECT_EQ(table.CaseWeight(3), 0.0);
    EXPECT_EQ(table.CaseWeight(5), 0.5);
  }
}

TEST(ReadStatTable, StataTaggedMissingValuesAreMissingAndNumericCaseNamesUseLabels) {
  testing::TempFolder folder;
  const std::string path = folder.File("units.dta");
  WrittenVariable unit{"unit", READSTAT_TYPE_INT32, {10, 20, 30, 10}, {}, {}, {}, {}};
  unit.labels = {{10, "Reactor"}, {20, "Stripper"}};
  WrittenVariable temperature{
      "temp", READSTAT_TYPE_DOUBLE, {120.5, 0, 121.25, -3.5}, {}, {}, {}, {1}};
  WriteFile(path, WrittenFormat::kDta, {unit, temperature});

  TableOptions options;
  options.case_name_variable = "unit";
  options.missing_data_codes = {{"temp", -3.5}};
  const TableLoadResult loaded = LoadTable(path, options);
  ASSERT_TRUE(loaded.table) << loaded.error;
  const DataTable& table = *loaded.table;
  EXPECT_EQ(CategoriesOf(table, "unit"),
            (Categories{{10, "Reactor"}, {20, "Stripper"}, {30, "30"}}));
  ExpectCells(Column(table, "temp"), {120.5, kNaN, 121.25, kNaN});  // .a and the code
  EXPECT_EQ(table.MissingDataCode(1), -3.5);
  EXPECT_EQ(table.CaseName(0), "Reactor");
  EXPECT_EQ(table.CaseName(2), "30");
  EXPECT_FALSE(table.HasCaseWeights());
}

TEST(ReadStatTable, SasFilesGiveNumbersAndTexts) {
  testing::TempFolder folder;
  const std::string path = folder.File("lab.sas7bdat");
  WriteFile(path,
            WrittenFormat::kSas,
            {{"sample", READSTAT_TYPE_STRING, {}, {"S1", "S2", "S1"}, {}, {}, {}},
             {"ph", READSTAT_TYPE_DOUBLE, {7.25, kNaN, 6.5}, {}, {}, {}, {}}});
  TableOptions options;
  options.case_name_variable = "sample";
  const TableLoadResult loaded = LoadTable(path, options);
  ASSERT_TRUE(loaded.table) << loaded.error;
  EXPECT_EQ(CategoriesOf(*loaded.table, "sample"), (Categories{{1, "S1"}, {2, "S2"}}));
  ExpectCells(Column(*loaded.table, "ph"), {7.25, kNaN, 6.5});
  EXPECT_EQ(loaded.table->CaseName(2), "S1");
}

TEST(ReadStatTable, DeclaredCategoricalNumbersUseTheirValues) {
  testing::TempFolder folder;
  const std::string path = folder.File("grades.sav");
  WriteFile(
      path, WrittenFormat::kSav, {{"grade", READSTAT_TYPE_DOUBLE, {3, 1, 3, 2.5}, {}, {}, {}, {}}});
  TableOptions options;
  options.categorical = {"grade"};
  const TableLoadResult loaded = LoadTable(path, options);
  ASSERT_TRUE(loaded.table) << loaded.error;
  EXPECT_EQ(CategoriesOf(*loaded.table, "grade"), (Categories{{1, "1"}, {2.5, "2.5"}, {3, "3"}}));
}

TEST(ReadStatTable, FilesThatCannotBeReadGiveAMessageNamingTheFileAndFormat) {
  testing::TempFolder folder;
  const std::string csv_as_sav = folder.Write("data.sav", "x1,x2\n1,2\n");
  const std::string sav = folder.File("real.sav");
  WriteFile(sav, WrittenFormat::kSav, PlantLog());
  const std::string sav_as_dta = folder.Write("real.dta", testing::ReadText(sav));
  const std::string empty_sas = folder.Write("empty.sas7bdat", "");

  struct Case {
    std::string path;
    std::string starts_with;
  };
  const Case cases[] = {
      {csv_as_sav, csv_as_sav + ": the file cannot be read as an SPSS data file ("},
      {sav_as_dta, sav_as_dta + ": the file cannot be read as a Stata data file ("},
      {empty_sas, empty_sas + ": the file cannot be read as a SAS data file ("},
      {folder.File("absent.sav"), folder.File("absent.sav") + ": cannot open the file ("},
  };
  for (const Case& one : cases) {
    const TableLoadResult loaded = LoadTable(one.path, {});
    EXPECT_FALSE(loaded.table) << one.path;
    EXPECT_EQ(loaded.error.substr(0, one.starts_with.size()), one.starts_with) << loaded.error;
  }

  // Options naming variables the file does not have.
  TableOptions options;
  options.case_name_variable = "name";
  EXPECT_EQ(LoadTable(sav, options).error,
            sav + ": the case-name variable \"name\" is not in the table.");
  options = {};
  options.categorical = {"nope"};
  EXPECT_EQ(LoadTable(sav, options).error,
            sav + ": the variable \"nope\" declared categorical is not in the table.");
  options = {};
  options.weight_variable = "batch";
  EXPECT_EQ(LoadTable(sav, options).error,
            sav + ": the case-weight variable \"batch\" is categorical; weights must be numbers.");
}

TEST(TableLoader, ChoosesTheReaderByTheExtensionIgnoringCase) {
  EXPECT_EQ(ReadStatFormatOf("a/b.SAS7BDAT"), ReadStatFormat::kSas);
  EXPECT_EQ(ReadStatFormatOf("b.Sav"), ReadStatFormat::kSpss);
  EXPECT_EQ(ReadStatFormatOf("b.zsav"), ReadStatFormat::kSpss);
  EXPECT_EQ(ReadStatFormatOf("b.dta"), ReadStatFormat::kStata);
  EXPECT_FALSE(ReadStatFormatOf("b.csv"));
  EXPECT_FALSE(ReadStatFormatOf("b.sav.txt"));
  EXPECT_FALSE(ReadStatFormatOf("sav"));

  testing::TempFolder folder;
  const std::string upper = folder.File("PLANT.SAV");
  WriteFile(upper, WrittenFormat::kSav, PlantLog());
  const TableLoadResult spss = LoadTable(upper, {});
  ASSERT_TRUE(spss.table) << spss.error;
  EXPECT_EQ(spss.table->NumVariables(), 4u);
  // Any other extension is delimited text.
  const TableLoadResult text = LoadTable(folder.Write("plant.txt", "a;b\n1,5;2\n"), {});
  ASSERT_TRUE(text.table) << text.error;
  EXPECT_EQ(text.table->Value(0, 0), 1.5);
}

// The bundled process data written as an SPSS file reads back cell for cell as its CSV.
TEST(ReadStatTable, TheSameDataAsCsvAndSpssGiveTheSameTable) {
  const std::string csv_path = std::string(MSPC_SOURCE_DIR) + "/examples/data/d00.csv";
  const CsvLoadResult csv = CsvTable::Load(csv_path, {});
  ASSERT_TRUE(csv.table) << csv.error;
  testing::TempFolder folder;
  const std::string sav_path = folder.File("d00.sav");
  testing::WriteNumericTable(*csv.table, sav_path);
  const TableLoadResult sav = LoadTable(sav_path, {});
  ASSERT_TRUE(sav.table) << sav.error;
  ASSERT_EQ(sav.table->NumVariables(), csv.table->NumVariables());
  ASSERT_EQ(sav.table->NumCases(), csv.table->NumCases());
  for (std::size_t col = 0; col < csv.table->NumVariables(); ++col) {
    EXPECT_EQ(sav.table->VariableName(col), csv.table->VariableName(col));
    EXPECT_EQ(sav.table->IsCategorical(col), csv.table->IsCategorical(col));
    for (std::size_t row = 0; row < csv.table->NumCases(); ++row) {
      ASSERT_EQ(sav.table->Value(row, col), csv.table->Value(row, col)) << row << ", " << col;
    }
  }
}

}  // namespace
}  // namespace mspc::platform
