#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/output_sink.hpp"

namespace mspc {

struct BatchData;
struct WorkingData;

/// The name of time interval `time` in plots: "Time: <label>" when a time variable gives the
/// intervals their codes, "Time: <number>" for intervals that are only counted.
std::string TimeName(const BatchData& data, std::size_t time);

/// Descriptive statistics of the unfolded process columns `columns` (the model's columns), one
/// row per variable and time: valid count, mean, standard deviation and scaling factor; with
/// categorical variables also the variable's 1-based place in the selection and the category
/// code of each dummy column.
Spreadsheet DescriptiveStatisticsOverTime(const BatchData& batches,
                                          const WorkingData& data,
                                          const std::vector<std::size_t>& columns);

/// The score contribution of one process variable (0 <= variable < J) of one batch, followed
/// over the times: `by_column[k × J + variable]` at time k (not-a-number for a removed column),
/// titled with the component, the variable and the batch (`batch`, case number `case_number`).
Graph BatchScoreContributionOverTime(const BatchData& data,
                                     const std::vector<double>& by_column,
                                     int components,
                                     int case_number,
                                     const std::string& batch,
                                     int component,
                                     std::size_t variable);

}  // namespace mspc
