// Pair functions tabulated in the distance.
#include "quorix-rx-pair-table.hpp"

#include <cmath>

namespace {

// Monomial coefficients of the Chebyshev polynomials T_0 .. T_(n-1): row j holds T_j.
std::vector<std::vector<double>> chebyshev_monomials(int n) {
    std::vector<std::vector<double>> t(n, std::vector<double>(n, 0.0));
    t[0][0] = 1;
    if (n > 1) t[1][1] = 1;
    for (int j = 2; j < n; j++)
        for (int k = 0; k < n; k++) t[j][k] = (k > 0 ? 2 * t[j - 1][k - 1] : 0.0) - t[j - 2][k];
    return t;
}

}  // namespace

void QuorixPairTable::build(double d_end, const std::function<double(double)>& f) {
    constexpr double kPi = 3.14159265358979323846;
    intervals_ = d_end > kStart ? static_cast<long>(std::ceil((d_end - kStart) * kPerUnit)) : 0;
    coefficients_.assign((intervals_ + 1) * kTerms, 0.0);  // the last interval all zeros
    const std::vector<std::vector<double>> monomials = chebyshev_monomials(kTerms);
    for (long interval = 0; interval < intervals_; interval++) {
        const double low = kStart + static_cast<double>(interval) / kPerUnit;
        double node_t[kTerms], value[kTerms];
        for (int k = 0; k < kTerms; k++) {
            node_t[k] = std::cos(kPi * (k + 0.5) / kTerms);
            const double d = low + (node_t[k] + 1.0) / (2.0 * kPerUnit);
            value[k] = d < d_end ? f(d) : 0.0;
        }
        double* c = &coefficients_[interval * kTerms];
        for (int j = 0; j < kTerms; j++) {
            double chebyshev = 0;
            for (int k = 0; k < kTerms; k++) chebyshev += value[k] * std::cos(j * kPi * (k + 0.5) / kTerms);
            chebyshev *= (j == 0 ? 1.0 : 2.0) / kTerms;
            for (int p = 0; p < kTerms; p++) c[p] += chebyshev * monomials[j][p];
        }
    }
}
