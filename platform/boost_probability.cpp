#include "platform/boost_probability.hpp"

#include <boost/math/distributions/chi_squared.hpp>
#include <boost/math/distributions/fisher_f.hpp>
#include <boost/math/distributions/students_t.hpp>
#include <limits>

namespace mspc::platform {
namespace {

namespace policies = boost::math::policies;

// Boost reports a domain error (bad argument) as NaN and an overflow as infinity under this
// policy instead of throwing, so no exception leaves the quantile functions.
using QuietPolicy = policies::policy<policies::domain_error<policies::ignore_error>,
                                     policies::pole_error<policies::ignore_error>,
                                     policies::overflow_error<policies::ignore_error>,
                                     policies::underflow_error<policies::ignore_error>,
                                     policies::evaluation_error<policies::ignore_error>,
                                     policies::rounding_error<policies::ignore_error>,
                                     policies::indeterminate_result_error<policies::ignore_error>>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Written so that NaN fails the test as well.
bool IsOpenProbability(double p) { return p > 0.0 && p < 1.0; }
bool IsPositive(double degrees_of_freedom) { return degrees_of_freedom > 0.0; }

}  // namespace

double BoostProbability::FQuantile(double p, double d1, double d2) const {
  if (!IsOpenProbability(p) || !IsPositive(d1) || !IsPositive(d2)) return kNaN;
  return quantile(boost::math::fisher_f_distribution<double, QuietPolicy>(d1, d2), p);
}

double BoostProbability::ChiSquareQuantile(double p, double d) const {
  if (!IsOpenProbability(p) || !IsPositive(d)) return kNaN;
  return quantile(boost::math::chi_squared_distribution<double, QuietPolicy>(d), p);
}

double BoostProbability::StudentTQuantile(double p, double d) const {
  if (!IsOpenProbability(p) || !IsPositive(d)) return kNaN;
  return quantile(boost::math::students_t_distribution<double, QuietPolicy>(d), p);
}

}  // namespace mspc::platform
