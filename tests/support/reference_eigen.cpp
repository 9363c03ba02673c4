#include "support/reference_eigen.hpp"

#include <stdexcept>

extern "C" void dsyev_(const char* jobz,
                       const char* uplo,
                       const int* n,
                       double* a,
                       const int* lda,
                       double* w,
                       double* work,
                       const int* lwork,
                       int* info);

namespace mspc::testing {

SymmetricEigen DecomposeSymmetric(const std::vector<double>& matrix, std::size_t n) {
  std::vector<double> a = matrix;  // symmetric, so row- and column-major agree
  std::vector<double> w(n);
  const int order = static_cast<int>(n);
  int info = 0;
  int lwork = -1;
  double optimal_work = 0.0;
  dsyev_("V", "U", &order, a.data(), &order, w.data(), &optimal_work, &lwork, &info);
  lwork = static_cast<int>(optimal_work);
  std::vector<double> work(static_cast<std::size_t>(lwork));
  dsyev_("V", "U", &order, a.data(), &order, w.data(), work.data(), &lwork, &info);
  if (info != 0) throw std::runtime_error("dsyev failed");

  // dsyev returns ascending eigenvalues with the eigenvectors in the columns of a
  // (column-major, so column c is a[c * n .. c * n + n)).
  SymmetricEigen result;
  for (std::size_t k = n; k-- > 0;) {
    result.values.push_back(w[k]);
    result.vectors.emplace_back(a.begin() + static_cast<std::ptrdiff_t>(k * n),
                                a.begin() + static_cast<std::ptrdiff_t>(k * n + n));
  }
  return result;
}

}  // namespace mspc::testing
