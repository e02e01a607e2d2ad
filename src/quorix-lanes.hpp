// Two doubles in one vector register, for pair sums that take two pairs at a time.
#pragma once

#include <cmath>
#include <cstring>

constexpr int kQuorixLanes = 2;
typedef double QuorixLanes __attribute__((vector_size(8 * kQuorixLanes)));
typedef int QuorixIntLanes __attribute__((vector_size(4 * kQuorixLanes)));

// The doubles at p .. p + kQuorixLanes - 1.
inline QuorixLanes quorix_lanes_load(const double* p) {
    QuorixLanes lanes;
    std::memcpy(&lanes, p, sizeof lanes);
    return lanes;
}

inline QuorixLanes quorix_lanes_broadcast(double value) { return QuorixLanes{} + value; }

inline double quorix_lanes_sum(QuorixLanes lanes) {
    double sum = 0;
    for (int k = 0; k < kQuorixLanes; k++) sum += lanes[k];
    return sum;
}

// Square roots of both lanes, correctly rounded like std::sqrt.
inline QuorixLanes quorix_lanes_sqrt(QuorixLanes lanes) {
#if defined(__SSE2__)
    return __builtin_ia32_sqrtpd(lanes);
#else
    return QuorixLanes{std::sqrt(lanes[0]), std::sqrt(lanes[1])};
#endif
}

// The smaller of a and b in every lane; b where a is not a number.
inline QuorixLanes quorix_lanes_min(QuorixLanes a, QuorixLanes b) {
#if defined(__SSE2__)
    return __builtin_ia32_minpd(a, b);
#else
    for (int k = 0; k < kQuorixLanes; k++) a[k] = a[k] < b[k] ? a[k] : b[k];
    return a;
#endif
}
