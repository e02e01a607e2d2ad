// A smooth pair function of the distance d, tabulated so that a pair sum needs no exponential or
// error function per pair: polynomials of degree 5 interpolating the function at the Chebyshev
// points of intervals 1/64 A wide, within about 1e-12 of its largest value on the table for the
// pair terms of the force field beyond 1 A. Zero from the end of the table on.
#pragma once

#include <functional>
#include <vector>

#include "quorix-lanes.hpp"

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
        return ((c[0] + c[1] * t) + t2 * (c[2] + c[3] * t)) + t4 * (c[4] + c[5] * t);
    }

    // The table without ownership, cheap to copy into a force loop.
    class View {
    public:
        View(const double* coefficients, long intervals) : coefficients_(coefficients), intervals_(intervals) {}

        // f at kQuorixLanes distances at once, all >= kStart.
        QuorixLanes operator()(QuorixLanes d) const {
            // Past the end (or not a number), the start of the interval of zeros after the last.
            const QuorixLanes scaled =
                quorix_lanes_min((d - kStart) * kPerUnit, quorix_lanes_broadcast(static_cast<double>(intervals_)));
            const QuorixIntLanes interval = __builtin_convertvector(scaled, QuorixIntLanes);
            const QuorixLanes t = 2.0 * (scaled - __builtin_convertvector(interval, QuorixLanes)) - 1.0;
            static_assert(kQuorixLanes == 2, "one row of coefficients per lane");
            const double* row0 = &coefficients_[static_cast<size_t>(interval[0]) * kTerms];
            const double* row1 = &coefficients_[static_cast<size_t>(interval[1]) * kTerms];
            QuorixLanes c[kTerms];
            for (int k = 0; k < kTerms; k++) c[k] = QuorixLanes{row0[k], row1[k]};
            const QuorixLanes t2 = t * t, t4 = t2 * t2;
            return ((c[0] + c[1] * t) + t2 * (c[2] + c[3] * t)) + t4 * (c[4] + c[5] * t);
        }

    private:
        const double* coefficients_;
        long intervals_;
    };
    View view() const { return View(coefficients_.data(), intervals_); }

private:
    static constexpr int kPerUnit = 64;
    static constexpr int kTerms = 6;
    long intervals_ = 0;
    std::vector<double> coefficients_ = std::vector<double>(kTerms, 0.0);  // unbuilt: zero everywhere
};
