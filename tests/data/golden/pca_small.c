// Korvane MSPC, Multivariate Statistical Process Control
//Principal Components Analysis C/C++/C# deployment code
//  Data used in estimation: plant.csv
// When calling this function, the values for predictors should
// be placed in the same sequential position of the input array,
// as they appeared in the input data file. Also, location or
// variable 0 (zero) is reserved for case numbers, so the routine
// expects the locations of variables to be referenced to 1,
// instead of the customary (in C) 0 (zero). The second parameter
// is the pointer of the components calculated. It should be a pointer 
// pre-allocated when it is passed in. Otherwise, the function returns 0. 
// The user is responsible for release this pointer. The return value of
// this function is the number of components.
// See the Electronic Manual for additional information.
// Continuous variable name : feed ; Location = 1
// Continuous variable name : steam <kg/h> ; Location = 2
// Continuous variable name : valve ; Location = 3

#include <math.h>
#include <stddef.h>

#define MSPC_PCA_VARIABLES 3
#define MSPC_PCA_COMPONENTS 2

static const int kLocation[3] = { 1, 2, 3, };
static const int kCategorical[3] = { 0, 0, 0, };
static const double kCategoryCode[3] = {
    0.00000000000000e+00,
    0.00000000000000e+00,
    0.00000000000000e+00,
};
static const double kMean[3] = {
    3.50000000000000e+00,
    7.00000000000000e+00,
    1.41666666666667e+00,
};
static const double kScale[3] = {
    1.87082869338697e+00,
    3.77624151769984e+00,
    1.15830335692627e+00,
};
static const double kLoading[6] = {
    6.10083428477660e-01,
    6.11231048691422e-01,
    5.04177365033901e-01,
    -3.61623876423708e-01,
    -3.51379297015291e-01,
    8.63574410013017e-01,
};
static const double kScoreStd[2] = {
    1.58620729882075e+00,
    6.95203546659169e-01,
};
/* Score chart lines per component; warning lines are not-a-number when not set. */
const double MSPCPCAScoreControlUpper[2] = {
    6.39581463040420e+00,
    2.80316010280448e+00,
};
const double MSPCPCAScoreControlLower[2] = {
    -6.39581463040420e+00,
    -2.80316010280448e+00,
};
const double MSPCPCAScoreWarningUpper[2] = {
    4.07747566990238e+00,
    1.78707760911200e+00,
};
const double MSPCPCAScoreWarningLower[2] = {
    -4.07747566990238e+00,
    -1.78707760911200e+00,
};
/* T-squared and SPE(Q) lines; a warning line is not-a-number when not set. */
const double MSPCPCATSControlLine = 5.25000000000000e+01;
const double MSPCPCATSWarningLine = 2.02541264041642e+01;
const double MSPCPCASPEControlLine = 2.31971469849899e-03;
const double MSPCPCASPEWarningLine = 1.53358237813788e-03;

int MSPCPCAStatistics(const double *x, double *components, double *t2, double *spe);
int MSPCPCAComponents(const double *x, double *components);

/* Centre and scale the model's columns of case x; present[j] is 0 for a missing cell. */
static void MSPCPCAScale(const double *x, double *value, int *present) {
  int j;
  for (j = 0; j < MSPC_PCA_VARIABLES; ++j) {
    double cell = x[kLocation[j]];
    present[j] = cell == cell && cell - cell == 0.0;
    if (!present[j]) {
      value[j] = 0.0;
      continue;
    }
    if (kCategorical[j]) cell = cell == kCategoryCode[j] ? 1.0 : 0.0;
    cell -= kMean[j];
    value[j] = kScale[j] != 0.0 ? cell / kScale[j] : cell;
  }
}

int MSPCPCAStatistics(const double *x, double *components, double *t2, double *spe) {
  double value[MSPC_PCA_VARIABLES + 1];
  int present[MSPC_PCA_VARIABLES + 1];
  int a;
  int j;
  if (x == NULL || components == NULL || t2 == NULL || spe == NULL) return 0;
  MSPCPCAScale(x, value, present);
  *t2 = 0.0;
  for (a = 0; a < MSPC_PCA_COMPONENTS; ++a) {
    const double *p = kLoading + a * MSPC_PCA_VARIABLES;
    double numerator = 0.0;
    double denominator = 0.0;
    double score;
    for (j = 0; j < MSPC_PCA_VARIABLES; ++j) {
      if (!present[j]) continue;
      numerator += value[j] * p[j];
      denominator += p[j] * p[j];
    }
    score = denominator != 0.0 ? numerator / denominator : 0.0;
    components[a] = score;
    for (j = 0; j < MSPC_PCA_VARIABLES; ++j) {
      if (present[j]) value[j] -= score * p[j];
    }
    if (kScoreStd[a] != 0.0) *t2 += (score / kScoreStd[a]) * (score / kScoreStd[a]);
  }
  *spe = 0.0;
  for (j = 0; j < MSPC_PCA_VARIABLES; ++j) {
    if (present[j]) *spe += value[j] * value[j];
  }
  return MSPC_PCA_COMPONENTS;
}

int MSPCPCAComponents(const double *x, double *components) {
  double t2;
  double spe;
  return MSPCPCAStatistics(x, components, &t2, &spe);
}
