#pragma once

#include <string>
#include <string_view>
#include <type_traits>

namespace mspc {

/// Resource ids of every text the module shows: messages, captions, report titles and headers.
/// The texts live in one table (messages.cpp) and are looked up by id; code never spells them.
/// Ranges: 2000 names and captions, 2100 removal causes, 2200 screening, 2300 selection checks,
/// 2400 options, 2500 removal reports and shared report texts, 2600 automation and frame,
/// 3000 PCA, 3100 monitoring limits, 3200 contributions, 3300 PCA reports, 4000 PLS, 5000 batch,
/// 6000 export, 7000 deployment, 8000 the command-line host's own messages.
enum class MessageId : int {
  // Names and captions.
  kAnalysisName = 2000,
  kRowMSPCDeployment = 2002,
  kRowPCA = 2005,
  kRowPLS = 2013,
  kRowTMPCA = 2021,
  kRowTMPLS = 2025,
  kRowBMPLS = 2035,
  kRowDeployment = 2040,
  kReadingData = 2050,
  kComputing = 2051,

  // Removal causes: id = kCauseBase + cause code; kCauseReserved for any other code.
  kCauseBase = 2100,
  kCauseMissingData = 2101,
  kCauseReserved = 2199,

  // Screening.
  kNoteRemoveCases = 2201,
  kNoteRemoveVariables = 2202,
  kCaseTooFewValidVariables = 2210,
  kBatchTooFewValidVariables = 2211,
  kCaseTooLowPercentValidVariables = 2212,
  kBatchTooLowPercentValidVariables = 2213,
  kVariableTooFewValidCases = 2214,
  kVariableTooLowPercentValidCases = 2215,
  kVariableNoVariance = 2216,
  kVariableNoVarianceAfterCaseRemoval = 2217,
  kTooFewVariablesLeft = 2220,
  kTooFewPredictorsLeft = 2221,
  kNoDependentLeft = 2222,
  kTooFewCasesLeft = 2223,
  kMemoryAllocationFailed = 2230,

  // Checks of the selection.
  kTooManyVariables = 2300,
  kTooFewVariables = 2301,
  kTooManyPredictors = 2302,
  kTooFewPredictors = 2303,
  kTooManyTrainingCases = 2304,
  kTooFewTrainingCases = 2305,
  kNonIntegerCategoryCodes = 2306,
  kTooManyVariablesOrCategories = 2307,
  kVariableNotInTable = 2310,
  kNoDataTable = 2311,
  kUserScaleMissing = 2312,
  kUserScaleInvalid = 2313,

  // Options.
  kMemoryLimitInappropriate = 2400,
  kMemoryLimitTooBig = 2401,
  kMemoryLimitTooSmall = 2402,
  kMinPercentValidCasesTooLow = 2403,
  kMinPercentValidCasesTooHigh = 2404,
  kMinPercentValidVarsTooLow = 2405,
  kMinPercentValidVarsTooHigh = 2406,
  kMaxIterationsOutOfRange = 2407,
  kConvergenceCriterionOutOfRange = 2408,
  kFoldsBelowTwo = 2409,
  kPercentValidVarsOutOfRange = 2410,
  kPercentValidCasesOutOfRange = 2411,
  kControlLimitOutOfRange = 2412,
  kWarningLimitOutOfRange = 2413,
  kBlocksInappropriate = 2414,
  kBlocksTooSmall = 2415,
  kBlocksTooBig = 2416,
  kTooManyUserDefinedScales = 2417,
  kDataSizeExceedsLimit = 2460,

  // Removal reports and texts shared by many reports.
  kRemovedVariablesTitle = 2500,
  kRemovedVariablesCount = 2501,
  kRemovedVariableHeader = 2502,
  kRemovedCasesTitle = 2503,
  kRemovedCasesCount = 2504,
  kRemovedCaseHeader = 2505,
  kColumnName = 2506,
  kColumnCause = 2507,
  kColumnCurrent = 2508,
  kColumnMinimum = 2509,

  // Automation and frame.
  kExceptionInAnalysisMethod = 2600,
  kUnexpectedErrorInAnalysisMethod = 2601,
  kFittingNotAvailable = 2602,
  kAutomationWrongType = 2603,
  kAutomationIntegerOutOfRange = 2604,
  kAutomationUnknownVariable = 2605,
  kAutomationVariableTwice = 2606,
  kAutomationNoDataTable = 2607,
  kAutomationMalformedFactorCodes = 2608,
  kNoModelForStartup = 2609,

  // PCA engine and cross-validation.
  kNoAdditionalModel = 3000,
  kDegreesOfFreedomNotEnough = 3001,
  kPCAModelingIteration = 3002,
  kCrossValidationFold = 3003,
  kKrzanowskiTrainingRow = 3004,
  kSignificant = 3010,
  kNotSignificant = 3011,
  kSignificanceUnknown = 3012,

  // Monitoring statistics and their limits.
  kScoreControlPValueOutOfRange = 3100,
  kScoreWarningPValueOutOfRange = 3101,
  kNoValidSampleForChart = 3102,
  kCriticalValueControl = 3103,
  kCriticalValueWarning = 3104,
  kScoreControlLimitStdDev = 3105,
  kScoreControlLimitPValue = 3106,
  kScoreWarningLimitStdDev = 3107,
  kScoreWarningLimitPValue = 3108,
  kNormalizedDistance = 3110,
  kDistanceColumn = 3111,
  kDistanceToModelTitle = 3112,

  // Contributions.
  kScoreContributionTitle = 3200,
  kScoreContributionTitleNamed = 3201,
  kScoreContributionSeries = 3202,
  kScoreContributionSeriesNamed = 3203,
  kT2ContributionHeader = 3204,
  kContributionSeries = 3205,
  kT2ContributionTitle = 3206,
  kT2ContributionTitleNamed = 3207,
  kSPEContributionHeader = 3210,
  kSPEContributionTitle = 3211,
  kSPEContributionTitleNamed = 3212,
  kSquaredResidualSeries = 3213,
  kResidualSeries = 3214,

  // PLS engine.
  kPLSRegression = 4000,
  kPLSClassification = 4001,
  kPLSVariableInBothRoles = 4002,
  kPLSNoDependentSelected = 4003,
  // PLS results and details reports.
  kPLSSummaryTitle = 4200,
  kColumnR2Y = 4201,
  kColumnR2YCumulative = 4202,
  kPLSSummaryOverviewTitle = 4203,
  kPLSSummaryFootnote = 4204,
  kYScoreSpreadsheetTitle = 4205,
  kYScoreLabel = 4206,
  kXWeightSpreadsheetTitle = 4207,
  kXWeightLabel = 4208,
  kXLoadingSpreadsheetTitle = 4209,
  kYLoadingSpreadsheetTitle = 4210,
  kYLoadingLabel = 4211,
  kXScoreSpreadsheetTitle = 4212,
  kScaledCoefficientsTitle = 4213,
  kDataCoefficientsTitle = 4214,
  kRowHeaderIntercept = 4215,
  kPredictionsTitle = 4216,
  kObservedColumn = 4217,
  kPredictedColumn = 4218,
  kResidualColumn = 4219,
  kPredictedClassColumn = 4220,
  kXResidualsTitle = 4221,
  kYResidualsTitle = 4222,
  kColumnOneMinusImportance = 4223,
  kColumnVIP = 4224,
  kColumnCumulativeImportance = 4225,
  kXScoreLimitsTitle = 4226,
  kYScoreLimitsTitle = 4227,
  kColumnUpperControl = 4228,
  kColumnLowerControl = 4229,
  kColumnUpperWarning = 4230,
  kColumnLowerWarning = 4231,
  kDependentStatisticsTitle = 4232,
  kDescriptiveStatisticsDependents = 4233,
  kDescriptiveStatisticsPredictors = 4234,
  kScoreTypeOutOfRange = 4235,
  // Reports of the batch PLS models.
  kTimePredictedColumn = 4236,
  kScoreTrajectorySpreadsheetTitle = 4237,
  kScoreTrajectoryPlotTitle = 4238,
  kSPEByTimeTitle = 4239,
  kColumnDegreesOfFreedom = 4240,
  kSeriesControlLine = 4241,
  kSeriesWarningLine = 4242,
  // PCA results and details reports.
  kNumberOfComponents = 3300,
  kPCASummaryTitle = 3301,
  kPCASummaryFootnote = 3302,
  kColumnComponentShort = 3303,
  kColumnR2X = 3304,
  kColumnR2XCumulative = 3305,
  kColumnEigenvalues = 3306,
  kColumnQ2 = 3307,
  kColumnQ2Cumulative = 3308,
  kColumnLimit = 3309,
  kColumnIterations = 3310,
  kColumnSignificance = 3311,
  kPCASummaryOverviewTitle = 3312,
  kDescriptiveStatisticsTitle = 3313,
  kColumnValidN = 3314,
  kColumnMean = 3315,
  kColumnStdDev = 3316,
  kColumnScalingFactor = 3317,
  kPCAEigenvaluesTitle = 3318,
  kPCASumOfVariance = 3319,
  kColumnComponent = 3320,
  kColumnPercentTotalVariance = 3321,
  kColumnCumulativeEigenvalue = 3322,
  kColumnCumulativePercent = 3323,
  kScreePlotTitle = 3324,
  kVariableImportanceTitle = 3325,
  kColumnPower = 3326,
  kColumnImportance = 3327,
  kRowHeaderVariable = 3328,
  kRowHeaderCase = 3329,
  kLoadingSpreadsheetTitle = 3330,
  kLoadingLineplotTitle = 3331,
  kLoadingScatterplotTitle = 3332,
  kLoadingLabel = 3333,
  kLoadingPairLabel = 3334,
  kScoreSpreadsheetTitle = 3335,
  kScoreLineplotTitle = 3336,
  kScoreScatterplotTitle = 3337,
  kScoreLabel = 3338,
  kScorePairLabel = 3339,
  kScoreStandardDeviation = 3340,
  kT2ChartTitle = 3341,
  kT2Series = 3342,
  kSPEChartTitle = 3343,
  kSPESeries = 3344,
  kPCAResidualsTitle = 3345,
  kScaledDataTitle = 3346,
  kUpperControlLine = 3347,
  kLowerControlLine = 3348,
  kUpperWarningLine = 3349,
  kLowerWarningLine = 3350,
  kReportNeedsComponent = 3360,
  kNoComponentToRemove = 3361,
  kScatterplotNeedsTwoComponents = 3362,
  kObservationNotInModel = 3363,
  kComponentsToPlotOutOfRange = 3364,
  kEigenvaluesToPlotNegative = 3365,
  kDetailsComponentOutOfRange = 3366,
  kVariableStatisticsTitle = 3370,
  kColumnPRESS = 3371,

  // Batch data: unfolding, its checks and the batch reports.
  kTimeStampMissing = 5000,
  kBatchCodeMissing = 5001,
  kTooFewBatches = 5002,
  kUnequalTimeIntervals = 5003,
  kCheckTimeCodes = 5004,
  kUnequalDependentValues = 5005,
  kNoTimeVariance = 5006,
  kRepeatedCases = 5007,
  kTooFewTimeIntervals = 5008,
  kRawDataPrefix = 5009,
  kRawDataClickOK = 5010,
  kDependentTimeCodeRange = 5011,
  kCategoricalDependentNotInteger = 5012,
  kVariableAtTime = 5013,
  kNoBatchVariable = 5014,
  kStackedNeedsTimeVariable = 5015,
  kPreprocessedDataTitle = 5016,
  kBatchHeader = 5017,
  kTimeHeader = 5018,
  kDependentIdentifierNotMatching = 5019,
  kMultipleDependentValues = 5020,

  // Reports of the time-wise multi-way PCA model.
  kTMPCAEigenvaluesTitle = 5100,
  kComponentNumberColumn = 5101,
  kEigenvectorSpreadsheetTitle = 5102,
  kTimeLabelName = 5103,
  kTimeNumberName = 5104,
  kScaledProcessedDataTitle = 5105,
  kTMPCAResidualsOriginalTitle = 5106,
  kTMPCAResidualsScaledTitle = 5107,
  kColumnVariableNumber = 5108,
  kColumnCategoryValue = 5109,
  kTrajectorySpreadsheetTitle = 5110,
  kTrajectoryPlotTitle = 5111,
  kTrajectoryControlLegend = 5112,
  kTrajectoryWarningLegend = 5113,
  kSelectBatchesToDisplay = 5114,
  kBatchScoreContributionTitle = 5116,
  kNumberOfBatches = 5117,
  kTrajectoryAxis = 5118,
  kTrajectoryVariableUnknown = 5120,
  kTrajectoryConstantsOutOfRange = 5122,

  // The command-line host's own messages.
  kScriptWrongDialog = 8000,
  kScriptUnknownProperty = 8001,
  kScriptWrongType = 8002,
  kScriptUnknownCommand = 8003,
  kScriptValueRefused = 8004,
  kScriptReadOnlyProperty = 8005,
  kScriptEntryAfterEnd = 8006,
  kScriptCommandAfterExit = 8007,
  kDataFileUnreadable = 8010,
  kScriptUnreadable = 8011,
  kOutputNotWritten = 8012,
  kCancelledByUser = 8013,

  // Export of models (6000-6999).
  kDocumentVersionAttribute = 6000,
  kDocumentNotice = 6001,
  kPCADocumentTitle = 6002,
  kPLSDocumentTitle = 6003,
  kTMPCADocumentTitle = 6004,
  kTMPLSDocumentTitle = 6005,
  kBMPLSDocumentTitle = 6006,
  kDocumentNotSaved = 6010,
  kCodeFirstLine = 6100,
  kCodePCACommentTitle = 6101,
  kCodeDataUsed = 6102,
  kCodeCallingConvention1 = 6103,
  kCodeCallingConvention2 = 6104,
  kCodeCallingConvention3 = 6105,
  kCodeCallingConvention4 = 6106,
  kCodeCallingConvention5 = 6107,
  kCodeCallingConvention6 = 6108,
  kCodeCallingConvention7 = 6109,
  kCodeCallingConvention8 = 6110,
  kCodeCallingConvention9 = 6111,
  kCodeCallingConvention10 = 6112,
  kCodeCallingConvention11 = 6113,
  kCodeContinuousVariable = 6114,
  kCodeCategoricalVariable = 6115,
  kCodeLocation = 6116,
  kPCACCodeTitle = 6120,
  kPCAKVBTitle = 6121,
  kKVBPCACommentTitle = 6122,
  kKVBDataUsed = 6123,
  kKVBSection1 = 6130,
  kKVBSection2 = 6131,
  kKVBSection3 = 6132,
  kKVBSection4 = 6133,
  kKVBSection7 = 6134,
  kKVBSection8 = 6135,
  kKVBCheckPCA = 6136,
  kKVBDeclaration = 6137,
  kKVBFormatDoubleFirst = 6140,  // the formatting function, one line per id up to the last
  kKVBFormatDoubleLast = 6160,
  kKVBChartHeader1 = 6170,
  kKVBChartHeader2 = 6171,
  kKVBChartHeader3 = 6172,
  kKVBChartHeader4 = 6173,
  kKVBComponentsSubtitle = 6174,
  kKVBControlLimitText = 6175,
  kKVBWarningLimitText = 6176,
  kKVBPercent = 6177,
  kKVBTSControl = 6180,
  kKVBTSControlLimit = 6181,
  kKVBTSControlLine = 6182,
  kKVBTSWarning0 = 6183,
  kKVBTSWarning1 = 6184,
  kKVBTSWarningLimit = 6185,
  kKVBTSWarningLine = 6186,
  kKVBSPEControl = 6187,
  kKVBSPEControlLimit = 6188,
  kKVBSPEControlLine = 6189,
  kKVBSPEWarning0 = 6190,
  kKVBSPEWarning1 = 6191,
  kKVBSPEWarningLimit = 6192,
  kKVBSPEWarningLine = 6193,
  kKVBXScoreStds = 6194,
  kKVBXScoreControlUpper = 6195,
  kKVBXScoreControlLower = 6196,
  kKVBXScoreWarningUpper = 6197,
  kKVBXScoreWarningLower = 6198,
  kKVBYScoreStds = 6199,
  kKVBYScoreControlUpper = 6200,
  kKVBYScoreControlLower = 6201,
  kKVBYScoreWarningUpper = 6202,
  kKVBYScoreWarningLower = 6203,
  // The code titles of the other kinds; the comment titles of generated code are these
  // behind the comment mark.
  kPLSCCodeTitle = 6210,
  kPLSKVBTitle = 6211,
  kTMPCACCodeTitle = 6212,
  kTMPCAKVBTitle = 6213,
  kTMPLSCCodeTitle = 6214,
  kTMPLSKVBTitle = 6215,
  kBMPLSCCodeTitle = 6216,
  kBMPLSKVBTitle = 6217,
  kCodePLSNotSupported1 = 6220,
  kCodePLSNotSupported2 = 6221,
  kCodePLSNotSupported3 = 6222,
  kKVBCheckPLS = 6223,

  // Deployment of saved models (7000-7999).
  kDeployFileNotLoaded = 7001,
  kDeployTextNotLoaded = 7002,
  kDeployNoModelInFile = 7003,
  kDeployNoModelInText = 7004,
  kDeployMoreThanOneModel = 7005,
  kDeployMixedKinds = 7006,
  kDeployNoSourceChosen = 7007,
  kDeployNothingLoaded = 7008,
  kDeployNoModelLoaded = 7010,
  kDeployOnePCALoaded = 7011,
  kDeployPCAsLoaded = 7012,
  kDeployOnePLSLoaded = 7013,
  kDeployPLSsLoaded = 7014,
  kDeployOneTMPCALoaded = 7015,
  kDeployTMPCAsLoaded = 7016,
  kDeployOneTMPLSLoaded = 7017,
  kDeployTMPLSsLoaded = 7018,
  kDeployOneBMPLSLoaded = 7019,
  kDeployBMPLSsLoaded = 7020,
  kDeployOpenFilesTitle = 7030,
  kDeployOpenFilesFilter = 7031,
  kDeployTooManyVariables = 7040,
  kDeployNoVariables = 7041,
  kDeployVariableCountDiffers = 7042,
  kDeployTooManyContinuousPredictors = 7043,
  kDeployTooManyCategoricalPredictors = 7044,
  kDeployVariablesDoNotMatch = 7045,
  kDeployLoadingLength = 7046,
  kDeployDependentsDiffer = 7047,
  kDeploySelectionDisagrees = 7048,
  kDeployAggregatedNotAppropriate = 7050,
  kDeployMissingElement = 7060,
  kDeployBadNumber = 7061,
  kDeployCountDiffers = 7062,
  kDeployUnknownVariable = 7064,
  kDeployMissingAttribute = 7065,
  kDeployT2ContributionsTitle = 7100,
  kDeploySPEContributionsTitle = 7101,
  kDeployScoresTitle = 7102,
  kDeployModelSubtitle = 7103,
  kDeploySideBySideTitle = 7104,
  kDeployModelColumn = 7105,

  // The host's file handling: data tables, XML documents, written files (8100-8199).
  kFileCannotOpen = 8100,
  kFileCannotRead = 8101,
  kFileTooLarge = 8102,
  kFileCannotCreateTemporary = 8103,
  kFileCannotWrite = 8104,
  kFileCannotRename = 8105,
  kFileCannotCreateFolder = 8106,
  kDocumentNameNotPlain = 8107,
  kCsvEmptyFile = 8110,
  kCsvUtf16 = 8111,
  kCsvEmptyName = 8112,
  kCsvDuplicateName = 8113,
  kCsvRaggedRow = 8114,
  kCsvUnterminatedQuote = 8115,
  kCsvTextAfterQuote = 8116,
  kCsvNotANumber = 8117,
  kTableUnknownSelectionVariable = 8120,
  kTableUnknownSelectionValue = 8121,
  kTableUnknownWeightVariable = 8122,
  kTableCategoricalWeight = 8123,
  kTableUnknownCaseNameVariable = 8124,
  kTableUnknownCategoricalVariable = 8125,
  kTableUnknownMissingCodeVariable = 8126,
  kXmlDoctypeRefused = 8130,
  kXmlTooDeep = 8131,
  kXmlParseError = 8132,

  // Reports written as a workbook and a web page, output formats, SAS/SPSS/Stata tables
  // (8200-8299).
  kReportContents = 8200,
  kReportRowsShownInPart = 8201,
  kReportRowsShownInPartWorkbook = 8202,
  kReportPointsBeyondControl = 8203,
  kReportSeriesBeyondControl = 8204,
  kReportPointLabel = 8205,
  kReportNoValuesToPlot = 8206,
  kReportFallbackName = 8207,
  kReportRowsBeyondWorksheet = 8208,
  kReportColumnsBeyondWorksheet = 8209,
  kOutputFormatUnknown = 8220,
  kReadStatSasUnreadable = 8240,
  kReadStatSpssUnreadable = 8241,
  kReadStatStataUnreadable = 8242,
  kReadStatNoVariables = 8243,
};

/// The text of a resource id, or an empty view for an id the table does not hold.
std::string_view MessageText(MessageId id);

/// The text of a removal cause code: its sentence, or "Reserved" for a code without one.
std::string_view CauseText(int cause_code);

namespace detail {
std::string FormatPrintf(const char* format, ...);
template <typename T>
auto PrintfArgument(const T& value) {
  if constexpr (std::is_same_v<T, std::string> || std::is_same_v<T, std::string_view>) {
    return std::string(value);
  } else if constexpr (std::is_integral_v<T>) {
    return static_cast<int>(value);
  } else if constexpr (std::is_floating_point_v<T>) {
    return static_cast<double>(value);
  } else {
    return static_cast<const char*>(value);
  }
}
template <typename T>
auto PassArgument(const T& value) {
  if constexpr (std::is_same_v<T, std::string>) {
    return value.c_str();
  } else {
    return value;
  }
}
template <typename... Args>
std::string FormatConverted(std::string_view format, const Args&... converted) {
  const std::string format_string(format);
  return FormatPrintf(format_string.c_str(), PassArgument(converted)...);
}
}  // namespace detail

/// Format a resource text with printf semantics ("%d", "%s", "%.2f%%", ...). Integral arguments
/// become int, floating ones double, strings const char*. Without arguments the text is returned
/// as it stands, so a text such as "(%)" is never read as a conversion.
template <typename... Args>
std::string FormatText(std::string_view format, const Args&... args) {
  if constexpr (sizeof...(Args) == 0) {
    return std::string(format);
  } else {
    return detail::FormatConverted(format, detail::PrintfArgument(args)...);
  }
}

/// Format the text of a resource id with its arguments.
template <typename... Args>
std::string FormatMessage(MessageId id, const Args&... args) {
  return FormatText(MessageText(id), args...);
}

}  // namespace mspc
