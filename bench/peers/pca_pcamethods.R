# The pcaMethods side of the PCA peer comparison: nipalsPca with 5 components on the data file
# (little-endian float64 row after row, NaN in the missing cells). Two timings:
#   - its own fit at its default criterion (threshold 1e-6), best of REPEATS;
#   - the time of one iteration: with threshold 0 the first component never converges and
#     nipalsPca stops with "Too many iterations" after exactly maxSteps iterations; the
#     difference between STEPS and 3·STEPS iterations, divided by 2·STEPS, leaves out the setup.
# Usage: Rscript pca_pcamethods.R FILE ROWS COLS REPEATS STEPS WHOLE_FIT(1 or 0)
suppressMessages(library(pcaMethods))
args <- commandArgs(trailingOnly = TRUE)
path <- args[1]; rows <- as.integer(args[2]); cols <- as.integer(args[3])
repeats <- as.integer(args[4]); max_steps <- as.integer(args[5])
whole_fit <- args[6] == "1"
components <- 5
values <- readBin(path, what = "double", n = rows * cols, size = 8, endian = "little")
x <- matrix(values, nrow = rows, ncol = cols, byrow = TRUE)
x[is.nan(x)] <- NA

timed <- function(components, threshold, steps) {
  best <- Inf
  for (r in seq_len(repeats)) {
    start <- proc.time()[["elapsed"]]
    try(nipalsPca(x, nPcs = components, threshold = threshold, maxSteps = steps), silent = TRUE)
    best <- min(best, proc.time()[["elapsed"]] - start)
  }
  best
}

if (whole_fit) cat(sprintf("pcamethods_seconds %.6f\n", timed(components, 1e-6, 5000)))
few <- timed(1, 0, max_steps)
many <- timed(1, 0, 3 * max_steps)
cat(sprintf("pcamethods_iteration_seconds %.9f\n", (many - few) / (2 * max_steps)))
