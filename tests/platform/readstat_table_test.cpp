#include "platform/readstat_table.hpp"

#include <gtest/gtest.h>

#include <limits>

#include "platform/csv_table.hpp"
#include "platform/readstat_files.hpp"
#include "platform/table_dump.hpp"
#include "platform/table_loader.hpp"
#include "platform/temp_folder.hpp"

namespace mspc::platform {
namespace {

using testing::WriteFile;
using testing::WrittenFormat;
using testing::WrittenVariable;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Writes `variables` as a file of `format` in `folder` and loads it with `options`.
TableLoadResult WriteAndLoad(const testing::TempFolder& folder,
                             const std::string& name,
                             WrittenFormat format,
                             const std::vector<WrittenVariable>& variables,
                             const TableOptions& options = {}) {
  WriteFile(folder.File(name), format, variables);
  return LoadTable(folder.File(name), options);
}

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
  TableOptions options;
  options.case_name_variable = "batch";
  options.weight_variable = "w";
  options.selection = CaseSelection{"phase", {std::string("Steady"), 3.0}, SelectionMode::kIn};
  for (const auto& [name, format] : {std::pair("plant.sav", WrittenFormat::kSav),
                                     std::pair("plant.zsav", WrittenFormat::kZsav)}) {
    SCOPED_TRACE(name);
    const TableLoadResult loaded = WriteAndLoad(folder, name, format, PlantLog(), options);
    ASSERT_TRUE(loaded.table) << loaded.error;
    const DataTable& table = *loaded.table;
    EXPECT_EQ(table.SourceName(), folder.File(name));
    // Labelled codes not declared missing, and the unlabelled 3 named by its number; texts
    // coded in order of first appearance, the empty one missing.
    EXPECT_EQ(testing::DumpTable(table),
              "phase{1=Start-up,2=Steady,3=3,}: 1 2 . 2 . 3; x1: 0.5 . 2.25 . 1e-300 -7; "
              "batch{1=B01,2=B02,3=B03,}: 1 2 . 1 3 2; w: 1 2 1 . 1 0.5");
    EXPECT_EQ(table.CodeText(0, 2), "Steady");
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
  WrittenVariable unit{"unit", READSTAT_TYPE_INT32, {10, 20, 30, 10}, {}, {}, {}, {}};
  unit.labels = {{10, "Reactor"}, {20, "Stripper"}};
  WrittenVariable temperature{
      "temp", READSTAT_TYPE_DOUBLE, {120.5, 0, 121.25, -3.5}, {}, {}, {}, {1}};
  TableOptions options;
  options.case_name_variable = "unit";
  options.missing_data_codes = {{"temp", -3.5}};
  const TableLoadResult loaded =
      WriteAndLoad(folder, "units.dta", WrittenFormat::kDta, {unit, temperature}, options);
  ASSERT_TRUE(loaded.table) << loaded.error;
  const DataTable& table = *loaded.table;
  // .a and the missing-data code are missing.
  EXPECT_EQ(testing::DumpTable(table),
            "unit{10=Reactor,20=Stripper,30=30,}: 10 20 30 10; temp: 120.5 . 121.25 .");
  EXPECT_EQ(table.MissingDataCode(1), -3.5);
  EXPECT_EQ(table.CaseName(0), "Reactor");
  EXPECT_EQ(table.CaseName(2), "30");
  EXPECT_FALSE(table.HasCaseWeights());
}

TEST(ReadStatTable, SasTextsAndDeclaredCategoricalNumbers) {
  testing::TempFolder folder;
  TableOptions options;
  options.case_name_variable = "sample";
  const TableLoadResult sas =
      WriteAndLoad(folder,
                   "lab.sas7bdat",
                   WrittenFormat::kSas,
                   {{"sample", READSTAT_TYPE_STRING, {}, {"S1", "S2", "S1"}, {}, {}, {}},
                    {"ph", READSTAT_TYPE_DOUBLE, {7.25, kNaN, 6.5}, {}, {}, {}, {}}},
                   options);
  ASSERT_TRUE(sas.table) << sas.error;
  EXPECT_EQ(testing::DumpTable(*sas.table), "sample{1=S1,2=S2,}: 1 2 1; ph: 7.25 . 6.5");
  EXPECT_EQ(sas.table->CaseName(2), "S1");

  // Numbers declared categorical keep their values as codes.
  options = {};
  options.categorical = {"grade"};
  const TableLoadResult grades =
      WriteAndLoad(folder,
                   "grades.sav",
                   WrittenFormat::kSav,
                   {{"grade", READSTAT_TYPE_DOUBLE, {3, 1, 3, 2.5}, {}, {}, {}, {}}},
                   options);
  ASSERT_TRUE(grades.table) << grades.error;
  EXPECT_EQ(testing::DumpTable(*grades.table), "grade{1=1,2.5=2.5,3=3,}: 3 1 3 2.5");
}

TEST(ReadStatTable, FilesThatCannotBeReadGiveAMessageNamingTheFileAndFormat) {
  testing::TempFolder folder;
  const std::string sav = folder.File("real.sav");
  WriteFile(sav, WrittenFormat::kSav, PlantLog());
  const std::pair<std::string, std::string> cases[] = {
      {folder.Write("data.sav", "x1,x2\n1,2\n"), "the file cannot be read as an SPSS data file ("},
      {folder.Write("real.dta", testing::ReadText(sav)),
       "the file cannot be read as a Stata data file ("},
      {folder.Write("empty.sas7bdat", ""), "the file cannot be read as a SAS data file ("},
      {folder.File("absent.sav"), "cannot open the file ("},
  };
  for (const auto& [path, reason] : cases) {
    const TableLoadResult loaded = LoadTable(path, {});
    EXPECT_FALSE(loaded.table) << path;
    EXPECT_EQ(loaded.error.substr(0, path.size() + 2 + reason.size()), path + ": " + reason);
  }

  // Options naming variables the file does not have (the weight's checks are shared with the
  // CSV reader and tested there).
  TableOptions options;
  options.case_name_variable = "name";
  EXPECT_EQ(LoadTable(sav, options).error,
            sav + ": the case-name variable \"name\" is not in the table.");
  options = {};
  options.categorical = {"nope"};
  EXPECT_EQ(LoadTable(sav, options).error,
            sav + ": the variable \"nope\" declared categorical is not in the table.");
}

TEST(TableLoader, ChoosesTheReaderByTheExtensionIgnoringCase) {
  EXPECT_EQ(ReadStatFormatOf("a/b.SAS7BDAT"), ReadStatFormat::kSas);
  EXPECT_EQ(ReadStatFormatOf("b.Sav"), ReadStatFormat::kSpss);
  EXPECT_EQ(ReadStatFormatOf("b.zsav"), ReadStatFormat::kSpss);
  EXPECT_EQ(ReadStatFormatOf("b.dta"), ReadStatFormat::kStata);
  for (const char* other : {"b.csv", "b.sav.txt", "sav"}) EXPECT_FALSE(ReadStatFormatOf(other));

  testing::TempFolder folder;
  const TableLoadResult spss = WriteAndLoad(folder, "PLANT.SAV", WrittenFormat::kSav, PlantLog());
  ASSERT_TRUE(spss.table) << spss.error;
  EXPECT_EQ(spss.table->NumVariables(), 4u);
  // Any other extension is delimited text.
  const TableLoadResult text = LoadTable(folder.Write("plant.txt", "a;b\n1,5;2\n"), {});
  ASSERT_TRUE(text.table) << text.error;
  EXPECT_EQ(text.table->Value(0, 0), 1.5);
}

// The bundled process data written as an SPSS file reads back cell for cell as its CSV.
TEST(ReadStatTable, TheSameDataAsCsvAndSpssGiveTheSameTable) {
  const CsvLoadResult csv = CsvTable::Load(MSPC_SOURCE_DIR "/examples/data/d00.csv", {});
  ASSERT_TRUE(csv.table) << csv.error;
  testing::TempFolder folder;
  testing::WriteNumericTable(*csv.table, folder.File("d00.sav"));
  const TableLoadResult sav = LoadTable(folder.File("d00.sav"), {});
  ASSERT_TRUE(sav.table) << sav.error;
  EXPECT_EQ(testing::DumpTable(*sav.table), testing::DumpTable(*csv.table));
}

}  // namespace
}  // namespace mspc::platform
