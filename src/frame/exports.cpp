#include "frame/exports.hpp"

#include <new>

namespace {

// The factories are entry points from C: nothing may escape them. The constructor fails only
// when memory runs out.
mspc::CMSPC* NewAnalysis(int simple_mode) noexcept {
  try {
    return new mspc::CMSPC(simple_mode, nullptr);
  } catch (...) {
    return nullptr;
  }
}

}  // namespace

extern "C" {

mspc::CMSPC* Kvs6NewAnalysis() { return NewAnalysis(0); }

mspc::CMSPC* Kvs6NewAnalysisSimple() { return NewAnalysis(1); }

void Kvs6DeleteAnalysis(mspc::CMSPC* analysis) { delete analysis; }

}  // extern "C"
