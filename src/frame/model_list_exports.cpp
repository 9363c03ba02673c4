#include "frame/model_list_exports.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "deploy/deployment_model.hpp"
#include "frame/mspc.hpp"
#include "pca/pca_model.hpp"
#include "pls/pls_model.hpp"

namespace mspc {
namespace {

// The analysis behind an automation reference, or null: the variant (followed once when it
// refers to another variant), its dispatch, the dispatch's object provider, the object.
CMSPC* AnalysisOf(const MSPCVariant* variant) {
  if (variant == nullptr) return nullptr;
  MSPCVariant copy = *variant;
  if (copy.type == MSPC_VARIANT_VARIANT_BYREF) {
    if (copy.value.variant_ref == nullptr) return nullptr;
    copy = *copy.value.variant_ref;
  }
  MSPCDispatch* dispatch = nullptr;
  if (copy.type == MSPC_VARIANT_DISPATCH) {
    dispatch = copy.value.dispatch;
  } else if (copy.type == MSPC_VARIANT_DISPATCH_BYREF && copy.value.dispatch_ref != nullptr) {
    dispatch = *copy.value.dispatch_ref;
  }
  if (dispatch == nullptr || dispatch->QueryObjectProvider == nullptr) return nullptr;
  MSPCObjectProvider* provider = dispatch->QueryObjectProvider(dispatch);
  if (provider == nullptr || provider->GetObject == nullptr) return nullptr;
  return static_cast<CMSPC*>(provider->GetObject(provider));
}

// The two model counts of the current model: the models of the PCA type and of the PLS type it
// holds. A fitted model holds itself; a deployment holds the documents it loaded.
struct ModelCounts {
  int pca = 0;
  int pls = 0;
};

ModelCounts CountModels(const CBaseModel* model) {
  ModelCounts counts;
  if (const auto* deployment = dynamic_cast<const CDeploymentModel*>(model)) {
    const auto kind = deployment->loaded_kind();
    if (!kind) return counts;
    const int loaded = deployment->LoadedCount();
    if (*kind == ModelKind::kPCA || *kind == ModelKind::kTMPCA) {
      counts.pca = loaded;
    } else {
      counts.pls = loaded;
    }
  } else if (dynamic_cast<const CPCAModel*>(model) != nullptr) {
    counts.pca = model->IsFitted() ? 1 : 0;
  } else if (dynamic_cast<const CPLSModel*>(model) != nullptr) {
    counts.pls = model->IsFitted() ? 1 : 0;
  }
  return counts;
}

std::string Label(const std::vector<std::string>& names,
                  const std::vector<int>& numbers,
                  std::size_t row) {
  if (row < names.size() && !names[row].empty()) return names[row];
  return row < numbers.size() ? std::to_string(numbers[row]) : std::to_string(row + 1);
}

// The rows of a block that were kept (`removed` false) or removed (true), as labels.
std::vector<std::string> Rows(const WorkingData& data, bool removed) {
  std::vector<std::string> labels;
  const std::size_t rows = std::max(data.case_names.size(), data.case_numbers.size());
  for (std::size_t row = 0; row < rows; ++row) {
    const bool is_removed = row < data.removed_cases.size() && data.removed_cases[row];
    if (is_removed == removed) labels.push_back(Label(data.case_names, data.case_numbers, row));
  }
  return labels;
}

// List 1: the observations of the model (a deployment: the cases it scored); list 2: those
// screening removed.
std::vector<std::string> ObservationList(const CBaseModel* model, int list) {
  const bool removed = list == 2;
  if (const auto* deployment = dynamic_cast<const CDeploymentModel*>(model)) {
    if (removed) return {};
    const DeployedCases& cases = deployment->cases();
    std::vector<std::string> labels;
    for (std::size_t row = 0; row < cases.numbers.size(); ++row) {
      labels.push_back(Label(cases.names, cases.numbers, row));
    }
    return labels;
  }
  if (model == nullptr || !model->IsFitted()) return {};
  if (const auto* pca = dynamic_cast<const CPCAModel*>(model)) {
    return Rows(pca->working_data(), removed);
  }
  if (const auto* pls = dynamic_cast<const CPLSModel*>(model)) {
    return Rows(pls->predictors(), removed);
  }
  return {};
}

// Make the answer's array; null when memory runs out. Each element is set only when its text
// could be allocated.
MSPCSafeArray* NewStringArray(const std::vector<std::string>& labels) {
  auto* array = static_cast<MSPCSafeArray*>(std::malloc(sizeof(MSPCSafeArray)));
  if (array == nullptr) return nullptr;
  array->lower_bound = 0;
  array->count = static_cast<int32_t>(labels.size());
  array->elements = nullptr;
  if (!labels.empty()) {
    array->elements = static_cast<char**>(std::calloc(labels.size(), sizeof(char*)));
    if (array->elements == nullptr) {
      std::free(array);
      return nullptr;
    }
  }
  for (std::size_t index = 0; index < labels.size(); ++index) {
    char* text = static_cast<char*>(std::malloc(labels[index].size() + 1));
    if (text == nullptr) continue;
    std::memcpy(text, labels[index].c_str(), labels[index].size() + 1);
    std::free(array->elements[index]);
    array->elements[index] = text;
  }
  return array;
}

// The reference the library hands out for an analysis: a dispatch whose provider gives the
// analysis back.
struct AnalysisProvider {
  MSPCObjectProvider base;
  CMSPC* analysis;
};

struct AnalysisDispatch {
  MSPCDispatch base;
  AnalysisProvider provider;
};

MSPCObjectProvider* QueryProvider(MSPCDispatch* self) {
  return &reinterpret_cast<AnalysisDispatch*>(self)->provider.base;
}

void* ProvidedObject(MSPCObjectProvider* self) {
  return reinterpret_cast<AnalysisProvider*>(self)->analysis;
}

}  // namespace
}  // namespace mspc

extern "C" {

// Both queries first clear the analysis's pending output pair: a query made between a host's
// SetNextOutputID and its report must not pass the pair on to a later report.
int32_t GetNumberOfModels(const MSPCVariant* analysis, int32_t* count, int32_t selector) {
  mspc::CMSPC* object = mspc::AnalysisOf(analysis);
  if (object == nullptr) return MSPC_NO_ANALYSIS;
  object->ClearNextOutputID();
  const mspc::ModelCounts counts = mspc::CountModels(object->CurrentModel());
  if (count == nullptr) return MSPC_OK;
  switch (selector) {
    case 1:
    case 4:
      *count = counts.pca;
      break;
    case 2:
    case 3:
    case 5:
      *count = counts.pls;
      break;
    default:
      break;
  }
  return MSPC_OK;
}

int32_t GetObservationList(const MSPCVariant* analysis, MSPCVariant* answer, int32_t selector) {
  mspc::CMSPC* object = mspc::AnalysisOf(analysis);
  if (object == nullptr) return MSPC_NO_ANALYSIS;
  object->ClearNextOutputID();
  if ((selector != 1 && selector != 2) || answer == nullptr) return MSPC_OK;
  MSPCSafeArray* array = nullptr;
  try {
    array = mspc::NewStringArray(mspc::ObservationList(object->CurrentModel(), selector));
  } catch (const std::bad_alloc&) {
    array = nullptr;
  }
  if (array == nullptr) return MSPC_OUT_OF_MEMORY;
  MSPCVariantClear(answer);
  answer->type = MSPC_VARIANT_STRING_ARRAY;
  answer->value.array = array;
  return MSPC_OK;
}

void MSPCVariantClear(MSPCVariant* variant) {
  if (variant == nullptr) return;
  if (variant->type == MSPC_VARIANT_STRING_ARRAY && variant->value.array != nullptr) {
    MSPCSafeArray* array = variant->value.array;
    for (int32_t index = 0; index < array->count && array->elements != nullptr; ++index) {
      std::free(array->elements[index]);
    }
    std::free(array->elements);
    std::free(array);
  }
  variant->type = MSPC_VARIANT_EMPTY;
  variant->value.array = nullptr;
}

MSPCDispatch* Kvs6NewAnalysisDispatch(void* analysis) {
  auto* dispatch = new (std::nothrow) mspc::AnalysisDispatch;
  if (dispatch == nullptr) return nullptr;
  dispatch->base.QueryObjectProvider = &mspc::QueryProvider;
  dispatch->provider.base.GetObject = &mspc::ProvidedObject;
  dispatch->provider.analysis = static_cast<mspc::CMSPC*>(analysis);
  return &dispatch->base;
}

void Kvs6DeleteAnalysisDispatch(MSPCDispatch* dispatch) {
  delete reinterpret_cast<mspc::AnalysisDispatch*>(dispatch);
}

}  // extern "C"
