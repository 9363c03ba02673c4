#pragma once

#include "frame/mspc.hpp"

// The module's C entry points: a host loads the library and makes its analyses through them.
// The object is opaque to a C host, which frees it with `Kvs6DeleteAnalysis`.
#define MSPC_EXPORT __attribute__((visibility("default")))

extern "C" {

/// Make the full analysis (id 3390); null when it cannot be allocated.
MSPC_EXPORT mspc::CMSPC* Kvs6NewAnalysis();
/// Make the simple analysis (id 3391); null when it cannot be allocated.
MSPC_EXPORT mspc::CMSPC* Kvs6NewAnalysisSimple();
/// Free an analysis made by one of the factories; null is ignored.
MSPC_EXPORT void Kvs6DeleteAnalysis(mspc::CMSPC* analysis);

}  // extern "C"
