/*
 * The model-list entry points of the KRV_MSPC library, for other components of a host that hold
 * an automation reference to a running analysis. Plain C: include it from C or C++.
 *
 * A host that keeps the analysis's automation reference in an MSPCVariant asks it
 *
 *   int32_t count = 0;
 *   GetNumberOfModels(&reference, &count, 1);        how many PCA-type models it holds
 *   MSPCVariant names = {MSPC_VARIANT_EMPTY};
 *   GetObservationList(&reference, &names, 1);       the names of its observations
 *   ... names.value.array->elements[i] ...
 *   MSPCVariantClear(&names);
 *
 * The reference is a variant holding an MSPCDispatch (by value or by reference), or a
 * reference to a variant that does. The dispatch hands out the analysis through the object
 * provider it answers with, as the library's own Kvs6NewAnalysisDispatch does.
 */
#ifndef KRV_MSPC_MODEL_LIST_EXPORTS_H
#define KRV_MSPC_MODEL_LIST_EXPORTS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifndef MSPC_EXPORT
#define MSPC_EXPORT __attribute__((visibility("default")))
#endif

/* Return codes of the model-list entry points. */
enum {
  MSPC_OK = 0,
  MSPC_NO_ANALYSIS = 2,  /* the variant does not lead to an analysis object */
  MSPC_OUT_OF_MEMORY = 3 /* the answer's array could not be created */
};

typedef struct MSPCObjectProvider MSPCObjectProvider;
typedef struct MSPCDispatch MSPCDispatch;

/* The host interface that hands out the object behind an automation reference. */
struct MSPCObjectProvider {
  /* The underlying analysis object (a CMSPC), or null. */
  void* (*GetObject)(MSPCObjectProvider* self);
};

/* An automation reference: asked for its object provider (null when it has none). */
struct MSPCDispatch {
  MSPCObjectProvider* (*QueryObjectProvider)(MSPCDispatch* self);
};

/* A one-dimensional array of strings: `count` elements with indices from `lower_bound`. An
   element is a NUL-terminated UTF-8 text owned by the array, or null when it was not set. */
typedef struct MSPCSafeArray {
  int32_t lower_bound;
  int32_t count;
  char** elements;
} MSPCSafeArray;

/* What a variant holds. */
typedef enum MSPCVariantType {
  MSPC_VARIANT_EMPTY = 0,
  MSPC_VARIANT_DISPATCH = 1,       /* value.dispatch */
  MSPC_VARIANT_DISPATCH_BYREF = 2, /* value.dispatch_ref: a pointer to a dispatch pointer */
  MSPC_VARIANT_VARIANT_BYREF = 3,  /* value.variant_ref: a reference to another variant */
  MSPC_VARIANT_STRING_ARRAY = 4    /* value.array, owned by the variant */
} MSPCVariantType;

typedef struct MSPCVariant {
  int32_t type; /* an MSPCVariantType */
  union {
    MSPCDispatch* dispatch;
    MSPCDispatch** dispatch_ref;
    struct MSPCVariant* variant_ref;
    MSPCSafeArray* array;
  } value;
} MSPCVariant;

/* The number of models the analysis's current model object holds. `selector` is a row of the
   MSPC Startup list: 1 (PCA) and 4 (TMPCA) ask for the PCA-type models, 2 (PLS), 3 (BMPLS) and
   5 (TMPLS) for the PLS-type models; any other selector leaves `*count` untouched. Returns
   MSPC_OK, or MSPC_NO_ANALYSIS when `analysis` does not lead to an analysis object. */
MSPC_EXPORT int32_t GetNumberOfModels(const MSPCVariant* analysis,
                                      int32_t* count,
                                      int32_t selector);

/* A list of observation names of the analysis's current model, written into `answer` as a new
   MSPC_VARIANT_STRING_ARRAY with lower bound 0 (a string array `answer` held before is freed).
   `selector` 1: the observations the model was fitted to (deployment: the cases it scored);
   2: the observations screening removed. Any other selector writes nothing and returns MSPC_OK.
   Returns MSPC_OK, MSPC_NO_ANALYSIS, or MSPC_OUT_OF_MEMORY when the array cannot be made. */
MSPC_EXPORT int32_t GetObservationList(const MSPCVariant* analysis,
                                       MSPCVariant* answer,
                                       int32_t selector);

/* Free what a variant owns (a string array) and make it empty. */
MSPC_EXPORT void MSPCVariantClear(MSPCVariant* variant);

/* An automation reference to `analysis` (a CMSPC made by Kvs6NewAnalysis), for hosts and tests
   that have the object itself; free it with Kvs6DeleteAnalysisDispatch before the analysis. */
MSPC_EXPORT MSPCDispatch* Kvs6NewAnalysisDispatch(void* analysis);
MSPC_EXPORT void Kvs6DeleteAnalysisDispatch(MSPCDispatch* dispatch);

#ifdef __cplusplus
}
#endif

#endif /* KRV_MSPC_MODEL_LIST_EXPORTS_H */
