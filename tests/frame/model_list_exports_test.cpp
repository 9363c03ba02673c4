#include "frame/model_list_exports.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "deploy/deployment_analysis.hpp"
#include "platform/temp_folder.hpp"

namespace mspc {
namespace {

// The entry points as a host finds them: by name among the library's exported symbols.
class ModelListExports : public ::testing::Test {
 protected:
  void SetUp() override {
    library_ = dlopen(MSPC_LIBRARY_PATH, RTLD_NOW);
    ASSERT_NE(library_, nullptr) << dlerror();
    count_ = Symbol<decltype(&GetNumberOfModels)>("GetNumberOfModels");
    list_ = Symbol<decltype(&GetObservationList)>("GetObservationList");
    clear_ = Symbol<decltype(&MSPCVariantClear)>("MSPCVariantClear");
    new_dispatch_ = Symbol<decltype(&Kvs6NewAnalysisDispatch)>("Kvs6NewAnalysisDispatch");
    delete_dispatch_ = Symbol<decltype(&Kvs6DeleteAnalysisDispatch)>("Kvs6DeleteAnalysisDispatch");
    dispatch_ = new_dispatch_(&analysis_.analysis());
    reference_.type = MSPC_VARIANT_DISPATCH;
    reference_.value.dispatch = dispatch_;
  }
  void TearDown() override {
    if (delete_dispatch_ != nullptr) delete_dispatch_(dispatch_);
    if (library_ != nullptr) dlclose(library_);
  }

  template <typename Function>
  Function Symbol(const char* name) {
    void* symbol = dlsym(library_, name);
    EXPECT_NE(symbol, nullptr) << name;
    return reinterpret_cast<Function>(symbol);
  }

  std::vector<std::string> List(int selector) {
    MSPCVariant answer{};
    EXPECT_EQ(list_(&reference_, &answer, selector), MSPC_OK);
    EXPECT_EQ(answer.type, MSPC_VARIANT_STRING_ARRAY);
    std::vector<std::string> names;
    if (answer.type != MSPC_VARIANT_STRING_ARRAY) return names;
    EXPECT_EQ(answer.value.array->lower_bound, 0);
    for (int i = 0; i < answer.value.array->count; ++i) {
      names.emplace_back(answer.value.array->elements[i]);
    }
    clear_(&answer);
    EXPECT_EQ(answer.type, MSPC_VARIANT_EMPTY);
    return names;
  }

  int Count(int selector, int before = -7) {
    int32_t count = before;
    EXPECT_EQ(count_(&reference_, &count, selector), MSPC_OK);
    return count;
  }

  testing::DeploymentAnalysis analysis_;
  void* library_ = nullptr;
  decltype(&GetNumberOfModels) count_ = nullptr;
  decltype(&GetObservationList) list_ = nullptr;
  decltype(&MSPCVariantClear) clear_ = nullptr;
  decltype(&Kvs6NewAnalysisDispatch) new_dispatch_ = nullptr;
  decltype(&Kvs6DeleteAnalysisDispatch) delete_dispatch_ = nullptr;
  MSPCDispatch* dispatch_ = nullptr;
  MSPCVariant reference_{};
};

MSPCObjectProvider* NoProvider(MSPCDispatch*) { return nullptr; }
void* NoObject(MSPCObjectProvider*) { return nullptr; }
MSPCObjectProvider kEmptyProvider{&NoObject};
MSPCObjectProvider* EmptyProvider(MSPCDispatch*) { return &kEmptyProvider; }

TEST_F(ModelListExports, AReferenceThatLeadsNowhereAnswersTwo) {
  MSPCDispatch without_provider{&NoProvider};
  MSPCDispatch without_object{&EmptyProvider};
  MSPCVariant empty{};
  MSPCVariant to_nothing{};
  to_nothing.type = MSPC_VARIANT_DISPATCH;
  to_nothing.value.dispatch = &without_provider;
  MSPCVariant to_no_object = to_nothing;
  to_no_object.value.dispatch = &without_object;
  MSPCVariant array{};
  array.type = MSPC_VARIANT_STRING_ARRAY;
  for (const MSPCVariant* variant : {&empty, &to_nothing, &to_no_object, &array}) {
    int32_t count = 5;
    MSPCVariant answer{};
    EXPECT_EQ(count_(variant, &count, 1), MSPC_NO_ANALYSIS);
    EXPECT_EQ(list_(variant, &answer, 1), MSPC_NO_ANALYSIS);
    EXPECT_EQ(count, 5);
    EXPECT_EQ(answer.type, MSPC_VARIANT_EMPTY);
  }
  EXPECT_EQ(count_(nullptr, nullptr, 1), MSPC_NO_ANALYSIS);
}

TEST_F(ModelListExports, AFittedPCAHoldsOnePCATypeModelAndItsCases) {
  EXPECT_EQ(Count(1), 0);  // no model yet: the count is there, and zero
  analysis_.FitAndExport();
  // The reference reaches the analysis by value, through a dispatch reference, or through a
  // variant reference.
  MSPCVariant by_reference{};
  by_reference.type = MSPC_VARIANT_DISPATCH_BYREF;
  by_reference.value.dispatch_ref = &dispatch_;
  MSPCVariant outer{};
  outer.type = MSPC_VARIANT_VARIANT_BYREF;
  outer.value.variant_ref = &by_reference;
  for (const MSPCVariant* variant : {&reference_, &by_reference, &outer}) {
    int32_t count = -1;
    EXPECT_EQ(count_(variant, &count, 4), MSPC_OK);
    EXPECT_EQ(count, 1);
  }
  EXPECT_EQ(Count(1), 1);
  EXPECT_EQ(Count(2), 0);
  EXPECT_EQ(Count(5), 0);
  // Selectors outside the list leave the answer as it was.
  EXPECT_EQ(Count(0), -7);
  EXPECT_EQ(Count(6), -7);
  MSPCVariant untouched{};
  EXPECT_EQ(list_(&reference_, &untouched, 3), MSPC_OK);
  EXPECT_EQ(untouched.type, MSPC_VARIANT_EMPTY);

  const std::vector<std::string> cases = List(1);
  ASSERT_EQ(cases.size(), 30u);
  EXPECT_EQ(cases.front(), "1");
  EXPECT_EQ(cases.back(), "30");
  EXPECT_TRUE(List(2).empty());  // nothing removed: an array of length 0
}

TEST(ModelListHeader, AC99HostCompilesLinksAndCalls) {
  const platform::testing::TempFolder folder;
  const std::string source = folder.Write("host.c", R"(#include "frame/model_list_exports.h"
int main(void) {
  MSPCVariant empty = {MSPC_VARIANT_EMPTY, {0}};
  int32_t count = 4;
  if (GetNumberOfModels(&empty, &count, 1) != MSPC_NO_ANALYSIS || count != 4) return 1;
  return GetObservationList(&empty, &empty, 1) == MSPC_NO_ANALYSIS ? 0 : 1;
}
)");
  const std::string program = folder.File("host");
  const std::string library = MSPC_LIBRARY_PATH;
  const std::string directory = library.substr(0, library.rfind('/'));
#ifdef __SANITIZE_ADDRESS__
  // A library built with the sanitizers needs their runtimes in the host too.
  const std::string sanitizers = " -fsanitize=address,undefined";
#else
  const std::string sanitizers;
#endif
  const std::string command = "gcc -std=c99 -Wall -Wextra -Werror -pedantic" + sanitizers +
                              " -I '" + std::string(MSPC_SOURCE_DIR) + "/src' '" + source +
                              "' -o '" + program + "' '" + library + "' -Wl,-rpath,'" + directory +
                              "' > /dev/null 2>&1 && '" + program + "'";
  EXPECT_EQ(std::system(command.c_str()), 0) << command;
}

TEST_F(ModelListExports, AQueryClearsThePendingOutputPair) {
  CMSPC& analysis = analysis_.analysis();
  analysis.SetStandAloneResults(1);
  analysis.SetNextOutputID(5, 6);
  analysis.RouteOutput(Spreadsheet{});
  EXPECT_TRUE(analysis.OutputExists(5, 6));
  analysis.SetNextOutputID(7, 8);
  Count(1);
  analysis.RouteOutput(Spreadsheet{});
  EXPECT_FALSE(analysis.OutputExists(7, 8));
  analysis.SetNextOutputID(9, 10);
  List(1);
  analysis.RouteOutput(Spreadsheet{});
  EXPECT_FALSE(analysis.OutputExists(9, 10));
}

TEST_F(ModelListExports, ADeploymentHoldsTheModelsItLoaded) {
  const std::string pls = analysis_.FitPLSAndExport();
  EXPECT_EQ(Count(2), 1);
  EXPECT_EQ(Count(3), 1);
  EXPECT_EQ(Count(1), 0);
  ASSERT_TRUE(analysis_.Deploy({pls, pls, pls}));
  EXPECT_EQ(Count(5), 3);
  EXPECT_EQ(Count(4), 0);
  EXPECT_EQ(List(1).size(), 30u);
}

}  // namespace
}  // namespace mspc
