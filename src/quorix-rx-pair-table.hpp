// A smooth pair function of the distance d, tabulated so that a pair sum needs no exponential or
// error function per pair: polynomials of degree 7 interpolating the function at the Chebyshev
// points of intervals 1/32 A wide, within about 1e-14 (relative) of it for the pair terms of the
// force field beyond 1 A. Zero from the end of the table on.
#pragma once

#include <functional>
#include <vector>

class QuorixPairTable {
public:
    static constexpr double kStart = 1.0;  // A: below this the caller evaluates the function itself

    // Tabulates f on [kStart, d_end); f is taken as zero from d_end on.
    void build(double d_end, const std::function<double(double)>& f);

    // f(d) for d >= kStart.
    double operator()(double d) const {
        const double scaled = (d - kStart) * kPerUnit;
        const long interval = static_cast<long>(scaled);
        if (interval >= intervals_) return 0.0;
        const double t = 2.0 * (scaled - interval) - 1.0;
        const double* c = &coefficients_[interval * kTerms];
        // Estrin's scheme: a shorter chain of dependent operations than Horner's.
        const double t2 = t * t, t4 = t2 * t2;
        return ((c[0] + c[1] * t) + t2 * (c[2] + c[3] * t)) + t4 * ((c[4] + c[5] * t) + t2 * (c[6] + c[7] * t));
    }

private:
    static constexpr int kPerUnit = 32;
    static constexpr int kTerms = 8;
    long intervals_ = 0;
    std::vector<double> coefficients_;
};
