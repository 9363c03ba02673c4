#include "host/messages.hpp"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <utility>
#include <vector>

namespace mspc {
namespace {

struct Entry {
  int id;
  const char* text;
};

// The one string table. Every quoted text of the module appears here and nowhere else.
constexpr Entry kTable[] = {
    {2000, "Multivariate Statistical Process Control"},
    {2002, "MSPC Deployment"},
    {2005, "Principal components analysis (PCA)"},
    {2013, "Partial least squares (PLS)"},
    {2021, "Time-wise multi-way principal components analysis (TMPCA)"},
    {2025, "Time-wise multi-way partial least squares (TMPLS)"},
    {2035, "Batch-wise multi-way partial least squares (BMPLS)"},
    {2040, "Deployment"},
    {2050, "Reading data..."},
    {2051, "Computing..."},

    {2101, "Variable/case has been deleted because of missing data."},
    {2102,
     "The case has been deleted because the number of valid variables is fewer than required "
     "for the principal component analysis."},
    {2103,
     "The case has been deleted because the percentage of the valid variables is fewer than "
     "required for the principal component analysis."},
    {2104,
     "The variable has been deleted because the number of valid cases is fewer than required "
     "for the principal component analysis."},
    {2105,
     "The variable has been deleted because the percentage of valid cases is fewer than "
     "required for the principal component analysis."},
    {2106, "The variable has been deleted because it has no variance."},
    {2112,
     "The case has been deleted because the number of valid independent variables is fewer "
     "than required for the partial least squares analysis."},
    {2113,
     "The case has been deleted because the percentage of the valid independent variables is "
     "less than required for the partial least squares analysis."},
    {2114,
     "The independent variable has been deleted because the number of valid cases is fewer "
     "than required for the partial least squares analysis."},
    {2115,
     "The independent variable has been deleted because the percentage of valid cases is less "
     "than required for the partial least squares analysis."},
    {2116, "The independent variable has been deleted because it has no variance."},
    {2117,
     "The case has been deleted because the number of valid dependent variables is fewer than "
     "required for the partial least squares analysis."},
    {2118,
     "The case has been deleted because the percentage of the valid dependent variables is "
     "less than required for the partial least squares analysis."},
    {2119,
     "The dependent variable has been deleted because the number of valid cases is fewer than "
     "required for the partial least squares analysis."},
    {2120,
     "The dependent variable has been deleted because the percentage of valid cases is less "
     "than required for the partial least squares analysis."},
    {2121, "The dependent variable has been deleted because it has no variance."},
    // The batch causes are stored as their untranslated keys and shown as they stand.
    {2122, "DontTranslate!!scTMPLS_Fewer_XVars, "},
    {2123, "DontTranslate!!scTMPLS_Less_Percentage_XVars, "},
    {2124, "DontTranslate!!scTMPLS_Fewer_XCases, "},
    {2125, "DontTranslate!!scTMPLS_Less_Percentage_XCases, "},
    {2126, "DontTranslate!!scTMPLS_zero_XVariance, "},
    {2127, "DontTranslate!!scTMPLS_Fewer_YVars, "},
    {2128, "DontTranslate!!scTMPLS_Less_Percentage_YVars, "},
    {2129, "DontTranslate!!scTMPLS_Fewer_YCases, "},
    {2130, "DontTranslate!!scTMPLS_Less_Percentage_YCases, "},
    {2131, "DontTranslate!!scTMPLS_zero_YVariance, "},
    {2132, "DontTranslate!!scBMPLS_Fewer_XVars, "},
    {2133, "DontTranslate!!scBMPLS_Less_Percentage_XVars, "},
    {2134, "DontTranslate!!scBMPLS_Fewer_XCases, "},
    {2135, "DontTranslate!!scBMPLS_Less_Percentage_XCases, "},
    {2136, "DontTranslate!!scBMPLS_zero_XVariance, "},
    {2137, "DontTranslate!!scBMPLS_Fewer_YVars, "},
    {2138, "DontTranslate!!scBMPLS_Less_Percentage_YVars, "},
    {2139, "DontTranslate!!scBMPLS_Fewer_YCases, "},
    {2140, "DontTranslate!!scBMPLS_Less_Percentage_YCases, "},
    {2141, "DontTranslate!!scBMPLS_zero_YVariance"},
    {2199, "Reserved"},

    {2201, "Unqualified cases will be removed automatically."},
    {2202, "Unqualified variables will be removed automatically."},
    {2210,
     "The number of valid variables selected (%d) for case %d is fewer than the required "
     "minimum number of valid variables (%d). The analysis stops."},
    {2211,
     "The number of valid variables selected (%d) for batch %s is fewer than the required "
     "minimum number of valid variables (%d). The analysis stops."},
    {2212,
     "The percentage of valid variables selected (%.2f%%) for case %d is fewer than the "
     "required minimum percentage of valid variables (%.2f%%). The analysis stops."},
    {2213,
     "The percentage of valid variables selected (%.2f%%) for batch %s is less than the "
     "required minimum percentage of valid variables (%.2f%%). The analysis stops."},
    {2214,
     "The number of valid cases (%d) for variable %s is fewer than the required minimum number "
     "of valid cases (%d). The analysis stops."},
    {2215,
     "The percentage of valid cases (%.2f%%) for variable %s is fewer than the required "
     "minimum percentage of valid cases (%.2f%%). The analysis stops."},
    {2216,
     "Variable %s has no variance. To perform meaningful analysis, all variables selected must "
     "have variability."},
    {2217,
     "After initial removal of sparse cases, variable %s has no variance. The analysis stops."},
    {2220,
     "There are less than two variables in the analysis due to missing data exclusion. At "
     "least two variables should be included for the analysis."},
    {2221,
     "There are fewer than two independent variables in the analysis due to missing data "
     "exclusion. At least two independent variables should be included for the analysis."},
    {2222,
     "There is no dependent variable in the analysis due to missing data exclusion. At least "
     "one dependent variable should be included for the analysis."},
    {2223,
     "There are fewer than four cases in the analysis due to missing data exclusion. At least "
     "four cases should be included for the analysis."},
    {2230, "Memory allocation failed; close other applications and try again."},

    {2300,
     "Too many variables selected. The total number of variables must be fewer than or equal "
     "to %d."},
    {2301,
     "Too few variables selected. At least 2 variables should be selected to perform the "
     "meaningful analysis."},
    {2302,
     "Too many predictor variables selected. The total number of predictor variables must be "
     "fewer than or equal to %d."},
    {2303,
     "Too few predictor variables selected. At least 2 predictor variables should be selected "
     "to perform the meaningful analysis."},
    {2304, "Too many training cases selected. The maximum number of training cases is %d."},
    {2305,
     "Too few training cases. There should be at least 4 training cases to perform the "
     "meaningful analysis."},
    {2306,
     "At least one categorical variable contains non-integer values. Cases with non-integer "
     "values within the categorical variable will be ignored. Please interpret the results "
     "carefully."},
    {2307,
     "Number of variables and/or categories exceeded. Check number of variables and/or "
     "categories per variable that is included in analysis. "},
    {2310, "Variable %s is not in the data table."},
    {2311, "No data table is open. Open a data file and try again."},
    {2312, "No user-defined standard deviation is given for variable %s."},
    {2313,
     "The user-defined standard deviation of variable %s must be a finite number greater than "
     "zero."},

    {2400, "The maximum data size in MB is inappropriate and will be set to the default value 80."},
    {2401,
     "The maximum data size in MB is too big and will be set to the biggest allowed value "
     "32000."},
    {2402,
     "The maximum data size in MB is too small and will be set to the smallest allowed value "
     "4."},
    {2403,
     "Minimum percentage of valid cases per variable (%) must be greater than or equal to 20."},
    {2404, "Minimum percentage of valid cases per variable (%) must be less than or equal to 100."},
    {2405,
     "Minimum percentage of valid variables per case (%) must be greater than or equal to 20."},
    {2406, "Minimum percentage of valid variables per case (%) must be less than or equal to 100."},
    {2407, "The maximum number of iterations must be between 1 and 1000."},
    {2408, "Convergence criterion value must be between 0 and 1."},
    {2409,
     "You cannot use cross-validation method with folds less than 2. Please change the v value "
     "and try again."},
    {2410,
     "Minimum percentage of valid variables per case must be between 20 and 100. Please check "
     "the parameter carefully and try again."},
    {2411,
     "Minimum percentage of valid cases per variable must be between 20 and 100. Please check "
     "the parameter carefully and try again."},
    {2412,
     "Control limit for Hotelling T\xC2\xB2 and SPE(Q) chart must be greater than or equal to "
     "50% and less than 100%."},
    {2413,
     "Warning limit for Hotelling T\xC2\xB2 and SPE(Q) chart must be greater than or equal to "
     "50% and less than 100%, and it must be less than control limit."},
    {2414,
     "The maximum number of user-defined blocks is inappropriate and will be set to the "
     "default value 8."},
    {2415,
     "The maximum number of user-defined blocks is too small and will be set to the smallest "
     "allowed value 2."},
    {2416,
     "The maximum number of user-defined blocks is too big and will be set to the biggest "
     "allowed value."},
    {2417,
     "Too many variables to scale by user-defined scales. The maximum number of variables to "
     "scale is %d."},
    {2460,
     "The size of the dataset exceeds the maximum data size specified on the Options tab of "
     "the startup dialog. Increase the maximum data size, or select fewer variables or cases."},

    {2500, "Removed variables and causes."},
    {2501, "Number of variables removed: %d"},
    {2502, "Removed variable"},
    {2503, "Removed cases and causes."},
    {2504, "Number of cases removed: %d"},
    {2505, "Removed case"},
    {2506, "Name"},
    {2507, "Cause"},
    {2508, "Current"},
    {2509, "Minimum"},

    {2600, "Exception in analysis method:"},
    {2601, "Unexpected error in analysis method"},
    {2602,
     "The data have been read, screened and scaled. Fitting this kind of model is not "
     "available in this build."},
    {2603, "The property %s takes a value of type %s."},
    {2604, "The value given to the property %s is out of the range of an integer."},
    {2605, "The property %s names \"%s\", which is not a variable of the data table."},
    {2606, "The property %s names the variable \"%s\" more than once."},
    {2607, "The property %s names variables, but no data table is open."},
    {2608,
     "The property FactorCodes takes entries of the form \"variable: code, code, ...\"; "
     "\"%s\" is not one."},
    {2609,
     "The analysis has no model of this kind. Choose the kind of analysis again in the first "
     "dialog."},

    {3000, "No additional model can be fit to the data."},
    {3001, "The degrees of freedom is not enough to fit another model."},
    {3002, "PCA modeling: Model %d, Iteration: %d"},
    {3003, "Cross-validation: Model %d, Fold %d"},
    {3004, "Krzanowski training: Model %d, row %d"},
    {3010, "S"},
    {3011, "NS"},
    {3012, "UNKNOWN"},

    {3100,
     "The p-value of computing the control limits for score lineplots and scatterplots are out "
     "of range. It must be greater than 0.5 and less than 1.0."},
    {3101,
     "The p-value of computing the warning limits for score lineplots and scatterplots are out "
     "of range. It must be greater than 0.5 and less than 1.0."},
    {3102, "There are is no valid sample for the quality control chart."},
    {3103, "Critical value = %.4f (%.2f%% Control limit)"},
    {3104, "Critical value = %.4f (%.2f%% Warning limit)"},
    {3105, "Control Limit: +/-%g*Std.Dev"},
    {3106, "Control Limit: %g%%"},
    {3107, "Warning Limit: +/-%g*Std.Dev"},
    {3108, "Warning Limit: %g%%"},
    {3110, "The normalized distance to the model is %.3f"},
    {3111, "Distance"},
    {3112, "Distance to model"},

    {3200, "Score contribution plot (t%d)"},
    {3201, "Score contribution plot (t%d, %s)"},
    {3202, "Score contribution (Obs %d - Average)"},
    {3203, "Score contribution (%s - Average)"},
    {3204, "T\xC2\xB2 Contribution"},
    {3205, "Contribution"},
    {3206, "T\xC2\xB2 Contribution (Obs  %d)"},
    {3207, "T\xC2\xB2 Contribution (Obs  %s)"},
    {3210, "SPE(Q) Contribution"},
    {3211, "SPE(Q) Contribution (Obs  %d)"},
    {3212, "SPE(Q) Contribution (Obs  %s)"},
    {3213, "Squared residual"},
    {3214, "Residual"},

    {4000, "Regression"},
    {4001, "Classification"},
    {4002,
     "The variable %s is selected both as a dependent and as a predictor variable. A variable "
     "can take only one role in the partial least squares analysis."},
    {4003,
     "No dependent variable is selected. Select at least one dependent variable for the partial "
     "least squares analysis."},
    {4200, "Partial Least Squares Summary"},
    {4201, "R\xC2\xB2Y"},
    {4202, "R\xC2\xB2Y(Cumul.)"},
    {4203, "Partial Least Squares Summary Overview"},
    {4204, "%.4f%% of the sum of squares of Y has been explained by all the extracted components."},
    {4205, "Y score spreadsheet"},
    {4206, "u%d"},
    {4207, "X weight spreadsheet"},
    {4208, "w%d"},
    {4209, "X loading spreadsheet"},
    {4210, "Y loading spreadsheet"},
    {4211, "q%d"},
    {4212, "X score spreadsheet"},
    {4213, "Regression coefficients (scaled)"},
    {4214, "Regression coefficients (data units)"},
    {4215, "Intercept"},
    {4216, "Predictions"},
    {4217, "%s observed"},
    {4218, "%s predicted"},
    {4219, "%s residual"},
    {4220, "Predicted class of %s"},
    {4221, "X residuals"},
    {4222, "Y residuals"},
    {4223, "1 - Importance"},
    {4224, "VIP"},
    {4225, "Cumulative importance"},
    {4226, "Score limits of the X scores"},
    {4227, "Score limits of the Y scores"},
    {4228, "Upper control limit"},
    {4229, "Lower control limit"},
    {4230, "Upper warning limit"},
    {4231, "Lower warning limit"},
    {4232, "Dependent statistics of component %d"},
    {4233, "Descriptive statistics of the dependents"},
    {4234, "Descriptive statistics of the predictors"},
    {4235, "ScoreType must be 0 (the X scores) or 1 (the Y scores)."},
    {4236, "Time predicted"},
    {4237, "Trajectory spreadsheet of t%d"},
    {4238, "Trajectory plot of t%d"},
    {4239, "SPE(Q) by time"},
    {4240, "Degrees of freedom"},
    {4241, "Control line"},
    {4242, "Warning line"},
    {3300, "Number of components is %d"},
    {3301, "Principal Components Analysis Summary"},
    {3302, "%.4f%% of sum of squares has been explained by all the extracted components."},
    {3303, "Comp."},
    {3304, "R\xC2\xB2X"},
    {3305, "R\xC2\xB2X(Cumul.)"},
    {3306, "Eigenvalues"},
    {3307, "Q\xC2\xB2"},
    {3308, "Q\xC2\xB2(Cumul.)"},
    {3309, "Limit"},
    {3310, "Iterations"},
    {3311, "Significance"},
    {3312, "Principal Components Analysis Summary Overview"},
    {3313, "Descriptive statistics"},
    {3314, "Valid N."},
    {3315, "Mean"},
    {3316, "Std.Dev"},
    {3317, "Scaling factor"},
    {3318, "Principal Components Analysis Eigenvalues"},
    {3319, "Principal Components Analysis sum of variance %.4f"},
    {3320, "Component"},
    {3321, "% Total variance"},
    {3322, "Cumulative eigenvalue"},
    {3323, "Cumulative %"},
    {3324, "Eigenvalues scree plot"},
    {3325, "Variable importance"},
    {3326, "Power"},
    {3327, "Importance"},
    {3328, "Variable"},
    {3329, "Case"},
    {3330, "Loading spreadsheet"},
    {3331, "Loading lineplot (p%d)"},
    {3332, "Loading scatterplot (p%d vs. p%d)"},
    {3333, "p%d"},
    {3334, "p%d vs. p%d"},
    {3335, "Score spreadsheet"},
    {3336, "Score lineplot (t%d)"},
    {3337, "Score scatterplot (t%d vs. t%d)"},
    {3338, "t%d"},
    {3339, "t%d vs. t%d"},
    {3340, "Standard deviation of t%d: %.3f"},
    {3341, "Hotelling T\xC2\xB2 Control Chart"},
    {3342, "T\xC2\xB2"},
    {3343, "SPE(Q) Chart"},
    {3344, "Q"},
    {3345, "Principal Components Analysis Residuals"},
    {3346, "Scaled data"},
    {3347, "Upper control limit = %.4f"},
    {3348, "Lower control limit = %.4f"},
    {3349, "Upper warning limit = %.4f"},
    {3350, "Lower warning limit = %.4f"},
    {3360, "The model has no component yet; add one to produce this report."},
    {3361, "The model has no component to remove."},
    {3362,
     "A scatterplot needs two components: set ComponentsToPlot to two component numbers of a "
     "model with at least two components."},
    {3363, "Observation %s is not a case of the model."},
    {3364, "ComponentsToPlot must hold one or two component numbers between 1 and %d."},
    {3365, "The number of eigenvalues to plot cannot be negative."},
    {3366, "The component must be between 1 and %d."},
    {3370, "Variable statistics of component %d"},
    {3371, "PRESS"},

    {6000, "version"},
    {6001, "KRV_MSPC model document: variable scaling, components and control limits"},
    {6002, "Principal Components Analysis PMML deployment code"},
    {6003, "Partial Least Squares PMML deployment code"},
    {6004, "Time-wise Multi-way Principal Components Analysis PMML deployment code"},
    {6005, "Time-wise Multi-way Partial Least Squares PMML deployment code"},
    {6006, "Batch-wise Multi-way Partial Least Squares PMML deployment code"},
    {6010, "The model document \"%s\" could not be saved: %s"},
    {6100, "// Korvane MSPC, %s\n"},
    {6101, "//Principal Components Analysis C/C++/C# deployment code"},
    {6102, "\n//  Data used in estimation: "},
    {6103, "// When calling this function, the values for predictors should\n"},
    {6104, "// be placed in the same sequential position of the input array,\n"},
    {6105, "// as they appeared in the input data file. Also, location or\n"},
    {6106, "// variable 0 (zero) is reserved for case numbers, so the routine\n"},
    {6107, "// expects the locations of variables to be referenced to 1,\n"},
    {6108, "// instead of the customary (in C) 0 (zero). The second parameter\n"},
    {6109, "// is the pointer of the components calculated. It should be a pointer \n"},
    {6110, "// pre-allocated when it is passed in. Otherwise, the function returns 0. \n"},
    {6111, "// The user is responsible for release this pointer. The return value of\n"},
    {6112, "// this function is the number of components.\n"},
    {6113, "// See the Electronic Manual for additional information.\n"},
    {6114, "// Continuous variable name : "},
    {6115, "// Categorical variable name : "},
    {6116, " ; Location = %d\n"},
    {6120, "Principal Components Analysis C/C++/C# deployment code"},
    {6121, "Principal Components Analysis KVB deployment code"},
    {6122, "'Principal Components Analysis KVB deployment code"},
    {6123, " Data used in estimation: "},
    {6130, " 1. Checking the InputDescriptor DataIn()."},
    {6131, " 2. Checking input data descriptor, variable selections, etc."},
    {6132, " 3. Defining the variables."},
    {6133, " 4. Model"},
    {6134, " 7. Error messages"},
    {6135, " 8. Error checking function"},
    {6136, "Check continuous and categorical variables for PCA"},
    {6137, "Dim %s As %s"},
    {6140, "Private Function FormatDouble( mean As Double, NDigits As Integer ) As String"},
    {6141, "FormatDouble = \"#.##\""},
    {6142, "Dim MeanStr As String"},
    {6143, "Dim DigitStr As String"},
    {6144, "Dim FormatStr As String"},
    {6145, "DigitStr = \"0.0000000000000000\""},
    {6146, "DigitStr = Left( DigitStr, NDigits )"},
    {6147, "FormatStr = \"#,##0.00000000000000000\" \';(#,##0.00000000000000000)\""},
    {6148, "FormatStr = Left(FormatStr, NDigits+4)"},
    {6149, "FormatStr = FormatStr \' + \";(\" + FormatStr + \")\""},
    {6150, "If Abs(mean) > 10^NDigits Or Abs(mean) < 0.1^NDigits Then"},
    {6151, "If mean <> 0 Then"},
    {6152, "MeanStr = Format( mean, DigitStr+\"E+00\" )"},
    {6153, "Else"},
    {6154, "MeanStr = Format( mean, Left(DigitStr,NDigits) )"},
    {6155, "End If"},
    {6156, "Else"},
    {6157, "MeanStr = Format( mean, FormatStr )"},
    {6158, "End If"},
    {6159, "FormatDouble = MeanStr"},
    {6160, "End Function"},
    {6170, "Private Sub TSquareControlChart ( ss As Spreadsheet, _"},
    {6171, "NumberOfComponents As Long, _"},
    {6172, "TSControl As Integer, TSControlLimit As Double, TSControlLine As Double, _"},
    {6173, "TSWarning As Integer, TSWarningLimit As Double, TSWarningLine As Double )"},
    {6174, "Number of components is "},
    {6175, "Control Limit: "},
    {6176, "%; Warning Limit: "},
    {6177, "%"},
    {6180, "TSControl=1"},
    {6181, "TSControlLimit="},
    {6182, "TSControlLine="},
    {6183, "TSWarning=0"},
    {6184, "TSWarning=1"},
    {6185, "TSWarningLimit="},
    {6186, "TSWarningLine="},
    {6187, "SPEControl=1"},
    {6188, "SPEControlLimit="},
    {6189, "SPEControlLine="},
    {6190, "SPEWarning=0"},
    {6191, "SPEWarning=1"},
    {6192, "SPEWarningLimit="},
    {6193, "SPEWarningLine="},
    {6194, "XScoreStds (%d) = %.14e"},
    {6195, "XScoreControlUpper (%d) = %.14e"},
    {6196, "XScoreControlLower (%d) = %.14e"},
    {6197, "XScoreWarningUpper (%d) = %.14e"},
    {6198, "XScoreWarningLower (%d) = %.14e"},
    {6199, "YScoreStds (%d) = %.14e"},
    {6200, "YScoreControlUpper (%d) = %.14e"},
    {6201, "YScoreControlLower (%d) = %.14e"},
    {6202, "YScoreWarningUpper (%d) = %.14e"},
    {6203, "YScoreWarningLower (%d) = %.14e"},
    {6210, "Partial Least Squares C/C++/C# deployment code"},
    {6211, "Partial Least Squares KVB deployment code"},
    {6212, "Time-wise Multi-way Principal Components Analysis C/C++/C# deployment code"},
    {6213, "Time-wise Multi-way Principal Components Analysis KVB deployment code"},
    {6214, "Time-wise Multi-way Partial Least Squares C/C++/C# deployment code"},
    {6215, "Time-wise Multi-way Partial Least Squares KVB deployment code"},
    {6216, "Batch-wise Multi-way Partial Least Squares C/C++/C# deployment code"},
    {6217, "Batch-wise Multi-way Partial Least Squares KVB deployment code"},
    {6220, "// C deployment of PLS models is not supported (for all types of models)\n"},
    {6221, "// in this version.Please contact Velmora to obtain the most updated version\n"},
    {6222, "// of the MSPC module, and for details on C deployment of PLS models."},
    {6223, "Check continuous and categorical variables for PLS"},
    {7001, "Could not load PMML file %s successfully. Please check the file carefully."},
    {7002,
     "Could not load one or more PMML code(s) successfully. Please check the PMML string "
     "carefully."},
    {7003,
     "There is no appropriate model in PMML file %s. Please check the PMML file carefully and try "
     "again."},
    {7004,
     "There is no appropriate model in PMML code(s). Please check the PMML string carefully and "
     "try again."},
    {7005, "There are more than one models in PMML file %s. Only one model allowed per PMML file."},
    {7006,
     "Loading multiple types of models failed. Single type of models required for multiple PMML "
     "files."},
    {7007, "No valid file name selected. Please try again."},
    {7008, "No valid deployment successfully loaded. Please try again."},
    {7010, "No model has been loaded."},
    {7011, "1 PCA model has been loaded."},
    {7012, "%d PCA models have been loaded."},
    {7013, "1 PLS model has been loaded."},
    {7014, "%d PLS models have been loaded."},
    {7015, "1 TMPCA model has been loaded."},
    {7016, "%d TMPCA models have been loaded."},
    {7017, "1 TMPLS model has been loaded."},
    {7018, "%d TMPLS models have been loaded."},
    {7019, "1 BMPLS model has been loaded."},
    {7020, "%d BMPLS models have been loaded."},
    {7030, "Open PMML files"},
    {7031, "XML files (*.xml)|*.xml|All files (*.*)|*.*||"},
    {7040, "Too many variables selected in the XML file."},
    {7041, "No variables selected in the XML file."},
    {7042,
     "The number of variables selected in the XML file does not match the number of variables "
     "selected."},
    {7043, "Too many continuous predictors selected by the PMML file."},
    {7044, "Too many categorical predictors selected by the PMML file."},
    {7045, "The variables via PMML do not match the selected variables."},
    {7046,
     "The loading vector is not the same size as the number of variables. Please check the PMML "
     "file carefully."},
    {7047, "Non consistent dependent variables selected."},
    {7048, "Variables from the PMML file and selected variables do not match."},
    {7050,
     "The PMML file is not appropriate for aggregated data. It must have 4 variables selected, "
     "batch variable, time variable, process variable, and measurement variable."},
    {7060, "The model document has no %s element inside %s."},
    {7061, "The attribute \"%s\" of the %s element is missing or not a finite number."},
    {7062, "The %s element declares %d %s but holds %d."},
    {7064, "The variable \"%s\" of the model document is not in the table."},
    {7065, "The %s element has no valid \"%s\" attribute."},
    {7100, "T\xC2\xB2 contributions of the cases above a control limit"},
    {7101, "SPE(Q) contributions of the cases above a control limit"},
    {7102, "Deployment scores"},
    {7103, "Model: %s"},
    {7104, "T\xC2\xB2 and SPE(Q) of every loaded model"},
    {7105, "%s (model %d)"},
    {5000,
     "The missing value in the time stamp variable causes the case to be ignored. Please "
     "carefully interpret the analysis results."},
    {5001,
     "The missing value in the batch variable causes the case be ignored. Please carefully "
     "interpret the analysis results."},
    {5002,
     "The number of batches is fewer than required (%d) for the analysis. Please check your "
     "data carefully and try again."},
    {5003,
     "The batch process requires equal number of time intervals for each batch. Non-equal time "
     "intervals have been found and the analysis stops."},
    {5004,
     "Please check the time codes. If the data is in raw form, please use the data in raw form "
     "option for pre processing the raw data."},
    {5005,
     "The batch process requires equal number of dependent values for each batch. Non-equal "
     "number of dependent values have been found and the analysis stops."},
    {5006,
     "There is no time variance for batches. In order to fit Batch-wise Multi-way Partial Least "
     "Squares model, you need to have time variance for all batches."},
    {5007, "Some repeated cases"},
    {5008, "Number of time intervals cannot be less than 2."},
    {5009, "The Data-in-raw-form option was set, and after data pre-processing,"},
    {5010, "Click OK to see the pre-processed data, or Cancel."},
    {5011,
     "The time code for the dependent variables is not valid or out of the range (-3200 to "
     "3200); please check the variable carefully. If the time code is out of the range, you can "
     "manually set up a time variable."},
    {5012,
     "Non-integer values are not allowed for the categorical dependent variables in Time-wise "
     "Multi-way Partial Least Squares (TMPLS)."},
    {5013, "%s {%s}"},
    {5014,
     "No batch variable is selected. Select the variable that identifies the batch of each case."},
    {5015,
     "Aggregated data need a time variable: each case holds one value of one process variable "
     "at one time of one batch."},
    {5016, "Pre-processed data"},
    {5017, "Batch"},
    {5018, "Time"},
    {5019,
     "Dependent identifier is not matching the batch definition. Please check your data "
     "carefully."},
    {5020,
     "Multiple dependent values have been found in the same batch. The analysis doesn't support "
     "this data."},

    {5100, "Time-wise Multi-way Principal Components Analysis Eigenvalues"},
    {5101, "Component %d"},
    {5102, "Eigenvector spreadsheet"},
    {5103, "Time: %s"},
    {5104, "Time: %d"},
    {5105, "Scaled (processed) data"},
    {5106, "Time-wise multi-way principal component analysis residuals, original data"},
    {5107, "Time-wise multi-way principal component analysis residuals, scaled data"},
    {5108, "Variable number"},
    {5109, "Category value"},
    {5110, "Trajectory spreadsheet of variable: %s"},
    {5111, "Trajectory plot of variable: %s"},
    {5112, "Control: Mean \xC2\xB1 %g SD"},
    {5113, "Warning: Mean \xC2\xB1 %g SD"},
    {5114, "Please select the batches to display in variable trajectory plot."},
    {5116, "Score contribution plot (t%d, %s) for batch %s"},
    {5117, "Number of batches: %d"},
    {5118, "Trajectory"},
    {5120, "VariableForTrajectory: \"%s\" is not a process variable of the model."},
    {5122,
     "The constants of the trajectory limits must be greater than 0, and the warning constant "
     "less than the control constant."},

    {8000, "%s:%d: the open dialog is %s, but the script entry names %s."},
    {8001, "%s:%d: %s has no property \"%s\"."},
    {8002, "%s:%d: %s.%s takes a %s."},
    {8003, "%s:%d: %s has no command \"%s\"."},
    {8004, "%s:%d: %s.%s: %s"},
    {8005, "%s:%d: %s.%s cannot be set."},
    {8006, "%s:%d: the analysis ended before the script entry for %s."},
    {8007, "%s:%d: %s.%s comes after a command that closed the dialog."},
    {8010, "%s"},
    {8011, "%s"},
    {8012, "Could not write %s: %s"},
    {8013, "The analysis was cancelled by the user; the components accepted so far are kept."},
    {8100, "%s: cannot open the file (%s)."},
    {8101, "%s: cannot read the file (%s)."},
    {8102, "%s: the file is larger than %d MB."},
    {8103, "%s: cannot create a temporary file beside it (%s)."},
    {8104, "%s: cannot write the file (%s)."},
    {8105, "%s: cannot move the finished file into place (%s)."},
    {8106, "%s: cannot create the folder (%s)."},
    {8107, "\"%s\" is not a plain file name; documents are written into the output folder."},
    {8110, "%s: the file is empty; its first line must name the variables."},
    {8111, "%s: the file is UTF-16 encoded; save it as UTF-8."},
    {8112, "%s:%d: column %d has no name."},
    {8113, "%s:%d: column \"%s\" (%d): the name is used by column %d as well."},
    {8114, "%s:%d: the row has %d fields; the header has %d."},
    {8115, "%s:%d: a quoted field is not closed."},
    {8116, "%s:%d: column %d: text follows the closing quote of the field."},
    {8117, "%s:%d: column \"%s\" (%d): \"%s\" is not a number"},
    {8120, "%s: the case-selection variable \"%s\" is not in the table."},
    {8121, "%s: \"%s\" is not a value of the case-selection variable \"%s\"."},
    {8122, "%s: the case-weight variable \"%s\" is not in the table."},
    {8123, "%s: the case-weight variable \"%s\" is categorical; weights must be numbers."},
    {8124, "%s: the case-name variable \"%s\" is not in the table."},
    {8125, "%s: the variable \"%s\" declared categorical is not in the table."},
    {8126, "%s: the variable \"%s\" given a missing-data code is not in the table."},
    {8130, "The document has a document type declaration, which is not allowed."},
    {8131, "The document nests its elements deeper than %d levels."},
    {8132, "XML parse error at offset %d: %s."},
    {8200, "Contents"},
    {8201, "Showing the first %d of %d rows."},
    {8202, "Showing the first %d of %d rows; the workbook report.xlsx has them all."},
    {8203, "Points beyond the control limit"},
    {8204, "%s beyond the control limit"},
    {8205, "Label"},
    {8206, "No values to plot."},
    {8207, "Report %d"},
    {8208, "Only the first %d of %d rows fit in a worksheet; reports.json has them all."},
    {8209, "Only the first %d of %d columns fit in a worksheet; reports.json has them all."},
    {8220, "--format: \"%s\" is not a report format; choose from json, xlsx and html."},
    {8240, "%s: the file cannot be read as a SAS data file (%s)."},
    {8241, "%s: the file cannot be read as an SPSS data file (%s)."},
    {8242, "%s: the file cannot be read as a Stata data file (%s)."},
    {8243, "%s: the file has no variables."},
};

// Sorted copy for lookup by id; the table above stays in reading order.
const std::vector<Entry>& SortedTable() {
  static const std::vector<Entry> sorted = [] {
    std::vector<Entry> entries(std::begin(kTable), std::end(kTable));
    std::sort(
        entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.id < b.id; });
    return entries;
  }();
  return sorted;
}

}  // namespace

std::string_view MessageText(MessageId id) {
  const auto& table = SortedTable();
  const int key = static_cast<int>(id);
  const auto found =
      std::lower_bound(table.begin(), table.end(), key, [](const Entry& entry, int value) {
        return entry.id < value;
      });
  if (found == table.end() || found->id != key) return {};
  return found->text;
}

std::string_view CauseText(int cause_code) {
  constexpr int kFirstCause = 1;
  constexpr int kLastCause = 41;
  if (cause_code < kFirstCause || cause_code > kLastCause) {
    return MessageText(MessageId::kCauseReserved);
  }
  const std::string_view text =
      MessageText(static_cast<MessageId>(static_cast<int>(MessageId::kCauseBase) + cause_code));
  return text.empty() ? MessageText(MessageId::kCauseReserved) : text;
}

namespace detail {

std::string FormatPrintf(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  va_list copy;
  va_copy(copy, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  std::string result;
  if (length > 0) {
    result.resize(static_cast<std::size_t>(length) + 1);
    std::vsnprintf(result.data(), result.size(), format, arguments);
    result.resize(static_cast<std::size_t>(length));
  }
  va_end(arguments);
  return result;
}

}  // namespace detail
}  // namespace mspc
