// erfc from a table of Taylor polynomials, for the screened Coulomb terms of the landscape.
#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

namespace quorix_landscape {

// erfc(x) from Taylor polynomials of degree 6 about the midpoints of intervals 1/64 wide: several
// times cheaper than the library function, and within 1e-16 of it (the remainder is below
// (1/128)^7 / 7! * max|erfc^(7)| = 5e-17). Built as far as the calculation needs; beyond x = 27
// erfc is below the smallest double.
class ErfcTable {
public:
    // Tabulates erfc on [0, x_end), x_end at most 27.
    void cover(double x_end) {
        constexpr double kTwoOverSqrtPi = 1.1283791670955126;
        if (!(x_end > 0)) return;
        intervals_ = static_cast<int>(std::min(x_end, kEnd) * kPerUnit) + 1;
        coefficients_.resize(intervals_ * kTerms);
        for (int interval = 0; interval < intervals_; interval++) {
            const double m = (interval + 0.5) / kPerUnit;
            const double gauss = kTwoOverSqrtPi * std::exp(-m * m);
            double* c = &coefficients_[interval * kTerms];
            c[0] = std::erfc(m);
            // erfc^(n)(m) = -(2/sqrt(pi)) (-1)^(n-1) H_(n-1)(m) exp(-m^2), Hermite polynomials H.
            double h_previous = 0, h = 1, factorial = 1;
            for (int n = 1; n < kTerms; n++) {
                factorial *= n;
                c[n] = (n % 2 ? -1.0 : 1.0) * gauss * h / factorial;
                const double h_next = 2 * m * h - 2 * (n - 1) * h_previous;
                h_previous = h;
                h = h_next;
            }
        }
    }

    double operator()(double x) const {
        const double scaled = x * kPerUnit;
        if (!(scaled >= 0 && scaled < intervals_)) return std::erfc(x);
        const int interval = static_cast<int>(scaled);
        const double t = (scaled - interval - 0.5) / kPerUnit;
        const double* c = &coefficients_[interval * kTerms];
        // Estrin's scheme: a shorter chain of dependent operations than Horner's.
        const double t2 = t * t;
        return (c[0] + c[1] * t) + t2 * ((c[2] + c[3] * t) + t2 * ((c[4] + c[5] * t) + t2 * c[6]));
    }

private:
    static constexpr double kEnd = 27;
    static constexpr int kPerUnit = 64;
    static constexpr int kTerms = 7;
    int intervals_ = 0;
    std::vector<double> coefficients_;
};

}  // namespace quorix_landscape
