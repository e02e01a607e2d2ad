// Fourier differentiation of a landscape on its periodic grid with FFTW.
#include "quorix-fft.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <cstdint>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include "quorix-cube.hpp"
#include "quorix-la.hpp"
#include "quorix-threads.hpp"

namespace {

constexpr double kTwoPi = 6.2831853;  // the truncated constant of the derivative factors

// Number of points of a grid, or -1 when a count is not positive or the total overflows.
long grid_points(const long* n) {
    long total = 1;
    for (int d = 0; d < 3; d++)
        if (n[d] <= 0 || __builtin_mul_overflow(total, n[d], &total)) return -1;
    return total;
}

long grid_points(const QUORIX_FFTCUBE* fftcube) { return grid_points(fftcube->n); }

fftw_complex* complex_array_new(long count) {
    if (count <= 0 || static_cast<unsigned long>(count) > SIZE_MAX / sizeof(fftw_complex)) return nullptr;
    return static_cast<fftw_complex*>(fftw_malloc(sizeof(fftw_complex) * count));
}

struct ComplexArrayFree {
    void operator()(fftw_complex* p) const noexcept { fftw_free(p); }
};
using ComplexArray = std::unique_ptr<fftw_complex[], ComplexArrayFree>;

void copy_geometry(double a[3][3], double a_i[3][3], const double src_a[3][3], const double src_a_i[3][3]) {
    std::memcpy(a, src_a, sizeof(double[3][3]));
    std::memcpy(a_i, src_a_i, sizeof(double[3][3]));
}

// An out-of-place transform of one grid size. FFTW_ESTIMATE plans without touching the arrays, and
// the plan may run on any other pair of arrays of the same alignment (all fftw_malloc arrays are).
class DftPlan {
public:
    DftPlan(const long* n, int sign, fftw_complex* in, fftw_complex* out)
        : plan_(n[0] <= INT_MAX && n[1] <= INT_MAX && n[2] <= INT_MAX
                    ? fftw_plan_dft_3d(static_cast<int>(n[0]), static_cast<int>(n[1]), static_cast<int>(n[2]), in,
                                       out, sign, FFTW_ESTIMATE)
                    : nullptr),
          alignment_in_(fftw_alignment_of(reinterpret_cast<double*>(in))),
          alignment_out_(fftw_alignment_of(reinterpret_cast<double*>(out))) {}
    ~DftPlan() {
        if (plan_) fftw_destroy_plan(plan_);
    }
    DftPlan(const DftPlan&) = delete;
    DftPlan& operator=(const DftPlan&) = delete;

    bool valid() const { return plan_ != nullptr; }
    bool fits(fftw_complex* in, fftw_complex* out) const {
        return fftw_alignment_of(reinterpret_cast<double*>(in)) == alignment_in_ &&
               fftw_alignment_of(reinterpret_cast<double*>(out)) == alignment_out_;
    }
    void execute(fftw_complex* in, fftw_complex* out) { fftw_execute_dft(plan_, in, out); }

private:
    fftw_plan plan_;
    int alignment_in_;
    int alignment_out_;
};

// Factor of one derivative direction at every index along its axis: 0 + i*m*2pi/L with the signed
// wave number m, or 0 where the Nyquist term is dropped. The three rules differ on purpose.
enum class WaveRule { First, Mixed, Repeated };

std::vector<std::array<double, 2>> derivative_factors(long n, double length, WaveRule rule) {
    std::vector<std::array<double, 2>> factors(n);
    const bool even = n % 2 == 0;
    for (long i = 0; i < n; i++) {
        if (rule != WaveRule::Repeated && even && i == n / 2) {
            factors[i] = {0.0, 0.0};
            continue;
        }
        long m;
        if (rule == WaveRule::First)
            m = i < n / 2 ? i : i - n;
        else
            m = i > n / 2 ? i - n : i;
        factors[i] = {0.0, m * kTwoPi / length};
    }
    return factors;
}

void multiply(fftw_complex value, const std::array<double, 2>& factor) {
    const double re = value[0] * factor[0] - value[1] * factor[1];
    const double im = value[0] * factor[1] + value[1] * factor[0];
    value[0] = re;
    value[1] = im;
}

// Checks the order, directions and lattice lengths of a derivative, printing why it cannot be taken.
bool derivative_possible(const QUORIX_FFTCUBE* spectrum, int order, const int* sub) {
    if (order < 0 || order > 2) {
        std::fprintf(stderr, "Error: order must be 1 or 2.\n");
        return false;
    }
    if (order > 0 && !sub) {
        std::fprintf(stderr, "Error: derivative direction must be 0, 1 or 2.\n");
        return false;
    }
    for (int s = 0; s < order; s++) {
        if (sub[s] < 0 || sub[s] > 2) {
            std::fprintf(stderr, "Error: derivative direction must be 0, 1 or 2.\n");
            return false;
        }
        if (!(quorix_vector3_double_length(spectrum->a[sub[s]]) > 0.0)) {
            std::fprintf(stderr, "Error: lattice vector %d has no length.\n", sub[s]);
            return false;
        }
    }
    return true;
}

// out = spectrum times the derivative factors; order and directions already checked.
void apply_derivative(const QUORIX_FFTCUBE* spectrum, fftw_complex* out, int order, const int* sub) {
    const long total = grid_points(spectrum);
    if (out != spectrum->value) std::memcpy(out, spectrum->value, sizeof(fftw_complex) * total);
    if (order == 0) return;
    const WaveRule rule = order == 1 ? WaveRule::First : sub[0] == sub[1] ? WaveRule::Repeated : WaveRule::Mixed;
    std::vector<std::array<double, 2>> factors[2];
    for (int s = 0; s < order; s++) {
        const int d = sub[s];
        factors[s] = derivative_factors(spectrum->n[d], quorix_vector3_double_length(spectrum->a[d]), rule);
    }
    const long* n = spectrum->n;
    long index[3];
    long p = 0;
    for (index[0] = 0; index[0] < n[0]; index[0]++)
        for (index[1] = 0; index[1] < n[1]; index[1]++)
            for (index[2] = 0; index[2] < n[2]; index[2]++, p++)
                for (int s = 0; s < order; s++) multiply(out[p], factors[s][index[sub[s]]]);
}

// A record of the same size and geometry without values.
QUORIX_FFTCUBE* fftcube_record_like(const QUORIX_FFTCUBE* like) {
    auto* fftcube = static_cast<QUORIX_FFTCUBE*>(std::calloc(1, sizeof(QUORIX_FFTCUBE)));
    if (!fftcube) return nullptr;
    std::memcpy(fftcube->n, like->n, sizeof(fftcube->n));
    copy_geometry(fftcube->a, fftcube->a_i, like->a, like->a_i);
    return fftcube;
}

// A new grid of the same size and geometry with uninitialised values.
QUORIX_FFTCUBE* fftcube_new_like(const QUORIX_FFTCUBE* like) {
    QUORIX_FFTCUBE* fftcube = quorix_fftcube_new(like->n);
    if (fftcube) copy_geometry(fftcube->a, fftcube->a_i, like->a, like->a_i);
    return fftcube;
}

// Grids smaller than this per worker are differentiated on fewer threads.
constexpr long kPointsPerWorker = 32768;

// The derivative set from one forward spectrum of the energy: each derivative is the backward
// transform of the spectrum times its factors. Each worker (thread) has its own scratch array and
// plan for the grid size; the planner, which is not thread-safe, runs under a lock.
class Differentiator {
public:
    Differentiator(const QUORIX_FFTCUBE* en, unsigned workers) : spectrum_(quorix_fftcube_dft(en, 1)) {
        for (unsigned w = 0; w < workers; w++) workers_.push_back({ComplexArray(complex_array_new(grid_points(en))), {}});
    }
    ~Differentiator() {
        workers_.clear();
        fftw_cleanup();
    }
    Differentiator(const Differentiator&) = delete;
    Differentiator& operator=(const Differentiator&) = delete;

    bool ready() const {
        if (!spectrum_) return false;
        for (const Worker& worker : workers_)
            if (!worker.scratch) return false;
        return true;
    }

    // Checks a derivative before any is taken, printing why it cannot be.
    bool possible(int order, const int* sub) const { return derivative_possible(spectrum_.get(), order, sub); }

    // The derivative, made with the scratch array and plan of `worker`. The last derivative
    // multiplies the spectrum in place and transforms it into worker 0's scratch array, which
    // becomes its grid: one grid less at the peak of memory. No other may run with or after it.
    QUORIX_FFTCUBE* derivative(int order, const int* sub, bool last, unsigned worker) {
        Worker& own = workers_[worker];
        FftcubePtr out(last ? fftcube_record_like(spectrum_.get()) : fftcube_new_like(spectrum_.get()));
        if (!out) return nullptr;
        fftw_complex* in = last ? spectrum_->value : own.scratch.get();
        fftw_complex* result = last ? own.scratch.get() : out->value;
        apply_derivative(spectrum_.get(), in, order, sub);
        if (!own.plan || !own.plan->fits(in, result)) {
            const std::lock_guard<std::mutex> planning(planner_);
            own.plan = std::make_unique<DftPlan>(spectrum_->n, FFTW_BACKWARD, in, result);
        }
        if (!own.plan->valid()) return nullptr;
        own.plan->execute(in, result);
        if (last) {
            out->value = own.scratch.release();
            spectrum_.reset();
        }
        return out.release();
    }

private:
    struct Worker {
        ComplexArray scratch;
        std::unique_ptr<DftPlan> plan;
    };
    FftcubePtr spectrum_;
    std::vector<Worker> workers_;
    std::mutex planner_;
};

// A copy of the energy grid whose every value is replaced by value(fft, p).
template <class Value>
QUORIX_FFTCUBE* derived_grid(const QUORIX_FFT* fft, Value value) {
    if (!quorix_fft_complete(fft)) {
        std::fprintf(stderr, "Error: QUORIX_FFT has not been properly initialized.\n");
        return nullptr;
    }
    QUORIX_FFTCUBE* grid = quorix_fftcube_copy(fft->en);
    if (!grid) {
        std::fprintf(stderr, "Error: quorix_fftcube_copy() returns NULL.\n");
        return nullptr;
    }
    const long total = grid_points(grid);
    for (long p = 0; p < total; p++) value(grid->value[p], p);
    return grid;
}

}  // namespace

QUORIX_FFTCUBE* quorix_fftcube_new(const long* n) {
    const long total = n ? grid_points(n) : -1;
    if (!n || n[0] <= 0 || n[1] <= 0 || n[2] <= 0) {
        std::fprintf(stderr, "Error: argument must be positive.\n");
        return nullptr;
    }
    auto* fftcube = static_cast<QUORIX_FFTCUBE*>(std::calloc(1, sizeof(QUORIX_FFTCUBE)));
    if (!fftcube) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_FFTCUBE.\n");
        return nullptr;
    }
    std::memcpy(fftcube->n, n, sizeof(fftcube->n));
    fftcube->value = complex_array_new(total);
    if (!fftcube->value) {
        std::fprintf(stderr, "Error: unable to allocate fftcube->value\n");
        std::free(fftcube);
        return nullptr;
    }
    return fftcube;
}

QUORIX_FFTCUBE* quorix_fftcube_copy(const QUORIX_FFTCUBE* fftcube) {
    if (!fftcube || !fftcube->value) {
        std::fprintf(stderr, "Error: QUORIX_FFTCUBE has not been properly initialized.\n");
        return nullptr;
    }
    QUORIX_FFTCUBE* copy = fftcube_new_like(fftcube);
    if (!copy) return nullptr;
    std::memcpy(copy->value, fftcube->value, sizeof(fftw_complex) * grid_points(fftcube));
    return copy;
}

void quorix_fftcube_free(QUORIX_FFTCUBE* fftcube) {
    if (!fftcube) return;
    if (fftcube->value) fftw_free(fftcube->value);
    std::free(fftcube);
}

QUORIX_FFTCUBE* quorix_fftcube_new_from_cube(const QUORIX_CUBE* cube) {
    if (!cube || !cube->en) {
        std::fprintf(stderr, "Error: QUORIX_CUBE has not been properly initialized.\n");
        return nullptr;
    }
    QUORIX_FFTCUBE* fftcube = quorix_fftcube_new(cube->n);
    if (!fftcube) {
        std::fprintf(stderr, "Error: quorix_fftcube_new() returns NULL.\n");
        return nullptr;
    }
    copy_geometry(fftcube->a, fftcube->a_i, cube->a, cube->a_i);
    long p = 0;
    for (long i = 0; i < cube->n[0]; i++)
        for (long j = 0; j < cube->n[1]; j++)
            for (long k = 0; k < cube->n[2]; k++, p++) {
                fftcube->value[p][0] = cube->en[i][j][k];
                fftcube->value[p][1] = 0.0;
            }
    return fftcube;
}

QUORIX_CUBE* quorix_cube_new_from_fftcube(const QUORIX_FFTCUBE* fftcube, int option) {
    if (!fftcube || !fftcube->value) {
        std::fprintf(stderr, "Error: QUORIX_FFTCUBE has not been properly initialized.\n");
        return nullptr;
    }
    CubePtr cube(quorix_cube_new(fftcube->n));
    if (!cube) {
        std::fprintf(stderr, "Error: quorix_cube_new() returns NULL.\n");
        return nullptr;
    }
    if (option != FFTCUBE_REAL && option != FFTCUBE_IMAG && option != FFTCUBE_MODU) {
        std::fprintf(stderr, "Error: invalid fftcube_option %d.\n", option);
        return nullptr;
    }
    copy_geometry(cube->a, cube->a_i, fftcube->a, fftcube->a_i);
    long p = 0;
    for (long i = 0; i < cube->n[0]; i++)
        for (long j = 0; j < cube->n[1]; j++)
            for (long k = 0; k < cube->n[2]; k++, p++) {
                const fftw_complex& v = fftcube->value[p];
                cube->en[i][j][k] = option == FFTCUBE_REAL   ? v[0]
                                    : option == FFTCUBE_IMAG ? v[1]
                                                             : std::sqrt(v[0] * v[0] + v[1] * v[1]);
            }
    return cube.release();
}

QUORIX_FFTCUBE* quorix_fftcube_dft(const QUORIX_FFTCUBE* fftcube, int forward) {
    if (!fftcube || !fftcube->value) {
        std::fprintf(stderr, "Error: QUORIX_FFTCUBE has not been properly initialized.\n");
        return nullptr;
    }
    FftcubePtr out(quorix_fftcube_copy(fftcube));
    if (!out) {
        std::fprintf(stderr, "Error: quorix_fftcube_copy() returns NULL.\n");
        return nullptr;
    }
    const long total = grid_points(fftcube);
    ComplexArray in(complex_array_new(total));
    if (!in) {
        std::fprintf(stderr, "Error: unable to allocate input array.\n");
        return nullptr;
    }
    {
        DftPlan plan(fftcube->n, forward ? FFTW_FORWARD : FFTW_BACKWARD, in.get(), out->value);
        if (!plan.valid()) {
            std::fprintf(stderr, "Error: unable to plan the Fourier transform.\n");
            return nullptr;
        }
        std::memcpy(in.get(), fftcube->value, sizeof(fftw_complex) * total);
        plan.execute(in.get(), out->value);
    }
    if (forward) {
        const double scale = static_cast<double>(total);
        for (long p = 0; p < total; p++) {
            out->value[p][0] /= scale;
            out->value[p][1] /= scale;
        }
    }
    in.reset();
    fftw_cleanup();
    return out.release();
}

QUORIX_FFTCUBE* quorix_fftcube_differentiate_dft(const QUORIX_FFTCUBE* spectrum, int order, const int* sub) {
    if (!spectrum || !spectrum->value) {
        std::fprintf(stderr, "Error: QUORIX_FFTCUBE has not been properly initialized.\n");
        return nullptr;
    }
    if (!derivative_possible(spectrum, order, sub)) return nullptr;
    QUORIX_FFTCUBE* out = fftcube_new_like(spectrum);
    if (!out) {
        std::fprintf(stderr, "Error: quorix_fftcube_copy() returns NULL.\n");
        return nullptr;
    }
    apply_derivative(spectrum, out->value, order, sub);
    return out;
}

QUORIX_FFTCUBE* quorix_fftcube_differentiate(const QUORIX_FFTCUBE* fftcube, int order, const int* sub) {
    if (!fftcube || !fftcube->value) {
        std::fprintf(stderr, "Error: QUORIX_FFTCUBE has not been properly initialized.\n");
        return nullptr;
    }
    if (order < 0) {
        std::fprintf(stderr, "Error: order must not be negative.\n");
        return nullptr;
    }
    FftcubePtr spectrum(quorix_fftcube_dft(fftcube, 1));
    if (!spectrum) {
        std::fprintf(stderr, "Error: quorix_fftcube_dft() returns NULL.\n");
        return nullptr;
    }
    FftcubePtr derived(quorix_fftcube_differentiate_dft(spectrum.get(), order, sub));
    if (!derived) {
        std::fprintf(stderr, "Error: quorix_fftcube_differentiate_dft() returns NULL.\n");
        return nullptr;
    }
    QUORIX_FFTCUBE* out = quorix_fftcube_dft(derived.get(), 0);
    if (!out) std::fprintf(stderr, "Error: quorix_fftcube_dft() returns NULL.\n");
    return out;
}

QUORIX_FFT* quorix_fft_new() {
    auto* fft = static_cast<QUORIX_FFT*>(std::calloc(1, sizeof(QUORIX_FFT)));
    if (!fft) std::fprintf(stderr, "Error: unable to allocate QUORIX_FFT.\n");
    return fft;
}

void quorix_fft_free(QUORIX_FFT* fft) {
    if (!fft) return;
    quorix_fftcube_free(fft->en);
    for (int i = 0; i < 3; i++) {
        quorix_fftcube_free(fft->f[i]);
        for (int j = 0; j < 3; j++) quorix_fftcube_free(fft->k[i][j]);
    }
    std::free(fft);
}

// Same grids as differentiating the energy twelve times, from one forward transform.
QUORIX_FFT* quorix_fft_new_from_cube(const QUORIX_CUBE* cube) {
    if (!cube) {
        std::fprintf(stderr, "Error: QUORIX_CUBE has not been properly initialized.\n");
        return nullptr;
    }
    FftPtr fft(quorix_fft_new());
    if (!fft) {
        std::fprintf(stderr, "Error: quorix_fft_new() returns NULL.\n");
        return nullptr;
    }
    fft->en = quorix_fftcube_new_from_cube(cube);
    if (!fft->en) {
        std::fprintf(stderr, "Error: quorix_fftcube_new_from_cube() returns NULL.\n");
        return nullptr;
    }
    // f0 f1 f2, then k00 ... k22 row by row; the last is taken when the others are done.
    struct Job {
        int order, sub[2];
        QUORIX_FFTCUBE** grid;
    };
    std::vector<Job> jobs;
    for (int d = 0; d < 3; d++) jobs.push_back({1, {d, d}, &fft->f[d]});
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++) jobs.push_back({2, {i, j}, &fft->k[i][j]});
    const unsigned workers =
        quorix_part_count(grid_points(fft->en), kPointsPerWorker, static_cast<long>(jobs.size()) - 1);
    Differentiator differentiator(fft->en, workers);
    const auto failed = [] {
        std::fprintf(stderr, "Error: quorix_fftcube_differentiate() returns NULL.\n");
        return nullptr;
    };
    if (!differentiator.ready()) return failed();
    for (const Job& job : jobs)
        if (!differentiator.possible(job.order, job.sub)) return failed();
    std::atomic<bool> missing{false};
    quorix_run_parts(workers, [&](unsigned worker) {
        for (size_t j = worker; j + 1 < jobs.size(); j += workers)
            if (!(*jobs[j].grid = differentiator.derivative(jobs[j].order, jobs[j].sub, false, worker))) missing = true;
    });
    if (missing) return failed();
    const Job& last = jobs.back();
    if (!(*last.grid = differentiator.derivative(last.order, last.sub, true, 0))) return failed();
    return fft.release();
}

bool quorix_fft_complete(const QUORIX_FFT* fft) {
    if (!fft || !fft->en || !fft->en->value) return false;
    for (int i = 0; i < 3; i++) {
        if (!fft->f[i] || !fft->f[i]->value) return false;
        for (int j = 0; j < 3; j++)
            if (!fft->k[i][j] || !fft->k[i][j]->value) return false;
    }
    return true;
}

QUORIX_FFTCUBE* quorix_fft_slope(const QUORIX_FFT* fft) {
    return derived_grid(fft, [fft](fftw_complex value, long p) {
        const double f[3] = {fft->f[0]->value[p][0], fft->f[1]->value[p][0], fft->f[2]->value[p][0]};
        value[0] = quorix_vector3_double_length(f);
        value[1] = 0.0;
    });
}

QUORIX_FFTCUBE* quorix_fft_laplacian(const QUORIX_FFT* fft) {
    return derived_grid(fft, [fft](fftw_complex value, long p) {
        value[0] = 0.0;
        value[1] = 0.0;
        for (int d = 0; d < 3; d++) {
            const fftw_complex& c = fft->k[d][d]->value[p];
            value[0] += c[0] * c[0] - c[1] * c[1];
            value[1] += c[0] * c[1] + c[1] * c[0];
        }
    });
}

QUORIX_FFTCUBE* quorix_fft_discriminant(const QUORIX_FFT* fft) {
    return derived_grid(fft, [fft](fftw_complex value, long p) {
        double k[3][3];
        for (int i = 0; i < 3; i++)
            for (int j = 0; j < 3; j++) k[i][j] = fft->k[i][j]->value[p][0];
        quorix_matrix33_double_symmetrize(k);
        value[0] = quorix_matrix33_double_determinant(k);
        value[1] = 0.0;
    });
}
