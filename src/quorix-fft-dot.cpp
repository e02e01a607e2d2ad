// Critical points of a landscape: grid points where the gradient length is locally smallest,
// classified by the signs of the Hessian eigenvalues.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "quorix-alloc.hpp"
#include "quorix-fft.hpp"
#include "quorix-la.hpp"

namespace {

long linear_index(const long* n, long i, long j, long k) { return (i * n[1] + j) * n[2] + k; }

double gradient_length(const QUORIX_FFT* fft, long p) {
    const double f[3] = {fft->f[0]->value[p][0], fft->f[1]->value[p][0], fft->f[2]->value[p][0]};
    return quorix_vector3_double_length(f);
}

// False when some of the 26 periodic neighbours of x_i has a strictly smaller gradient length than g.
template <class LengthAt>
bool gradient_locally_smallest(double g, const long* n, const long* x_i, LengthAt length_at) {
    for (long di = -1; di <= 1; di++)
        for (long dj = -1; dj <= 1; dj++)
            for (long dk = -1; dk <= 1; dk++) {
                if (di == 0 && dj == 0 && dk == 0) continue;
                const long p = linear_index(n, quorix_mod_long(x_i[0] + di, n[0]), quorix_mod_long(x_i[1] + dj, n[1]),
                                            quorix_mod_long(x_i[2] + dk, n[2]));
                if (g > length_at(p)) return false;
            }
    return true;
}

fftdot_type type_by_eigenvalues(const double* eig) {
    int positive = 0;
    int negative = 0;
    for (int d = 0; d < 3; d++) {
        if (eig[d] > 0.0) positive++;
        if (eig[d] < 0.0) negative++;
    }
    if (positive == 3) return FFT_MIN;
    if (negative == 3) return FFT_MAX;
    if (negative == 1 && positive == 2) return FFT_SD1;
    if (negative == 2 && positive == 1) return FFT_SD2;
    return FFT_ERR;
}

bool is_critical(fftdot_type type) { return type >= FFT_MIN && type <= FFT_MAX; }

// Dots collected by the search; the array grows geometrically and is handed to the list.
class DotCollector {
public:
    ~DotCollector() { std::free(dot_); }
    bool append(const QUORIX_FFTDOT& dot) {
        if (total_ == capacity_) {
            const long capacity = capacity_ ? 2 * capacity_ : 64;
            auto* grown = static_cast<QUORIX_FFTDOT*>(std::realloc(dot_, sizeof(QUORIX_FFTDOT) * capacity));
            if (!grown) return false;
            dot_ = grown;
            capacity_ = capacity;
        }
        dot_[total_++] = dot;
        return true;
    }
    void hand_to(QUORIX_FFTDOT_LIST* list) {
        list->dot = dot_;
        list->total = total_;
        dot_ = nullptr;
    }

private:
    QUORIX_FFTDOT* dot_ = nullptr;
    long total_ = 0;
    long capacity_ = 0;
};

// Periodic distance of each index from the cell origin.
std::array<long, 3> origin_distance(const QUORIX_FFTDOT& dot, const long* n) {
    std::array<long, 3> m;
    for (int d = 0; d < 3; d++) m[d] = std::min(n[d] - dot.x_i[d], dot.x_i[d]);
    return m;
}

// Only dots touching across a corner count: on every axis the indices differ by one, periodically.
bool diagonal_neighbours(const QUORIX_FFTDOT& a, const QUORIX_FFTDOT& b, const long* n) {
    for (int d = 0; d < 3; d++) {
        const long distance = std::labs(a.x_i[d] - b.x_i[d]);
        if (distance != 1 && distance != n[d] - 1) return false;
    }
    return true;
}

// Marks one dot of each diagonal pair of equal type; returns the number marked.
long mark_merged(QUORIX_FFTDOT_LIST* list) {
    long marked = 0;
    QUORIX_FFTDOT* dot = list->dot;
    for (long i = 0; i < list->total; i++) {
        if (dot[i].type == FFT_ERR) continue;
        for (long j = i + 1; j < list->total; j++) {
            if (dot[j].type == FFT_ERR) continue;
            if (dot[j].type != dot[i].type) break;
            if (!diagonal_neighbours(dot[i], dot[j], list->n)) continue;
            marked++;
            if (origin_distance(dot[i], list->n) < origin_distance(dot[j], list->n)) {
                dot[i].type = FFT_ERR;
                break;
            }
            dot[j].type = FFT_ERR;
        }
    }
    return marked;
}

bool list_usable(const QUORIX_FFTDOT_LIST* list) { return list && (list->total <= 0 || list->dot); }

// A failed append has released the text already.
bool append_row(TextPtr& text, const std::string& row) {
    if (quorix_text_append(text.get(), row.c_str()) == 0) return true;
    std::fprintf(stderr, "Error: quorix_text_append() returns non-zero.\n");
    (void)text.release();
    return false;
}

void replace_dots(QUORIX_FFTDOT_LIST* list, QUORIX_FFTDOT* dot, long total) {
    quorix_fftdot_free(list->dot);
    list->dot = dot;
    list->total = total;
}

}  // namespace

QUORIX_FFTDOT* quorix_fftdot_new(long count) {
    if (count <= 0) {
        std::fprintf(stderr, "Error: total number should be positive.\n");
        return nullptr;
    }
    auto* dot = static_cast<QUORIX_FFTDOT*>(std::calloc(count, sizeof(QUORIX_FFTDOT)));
    if (!dot) std::fprintf(stderr, "Error: unable to allocate QUORIX_FFTDOT array.\n");
    return dot;
}

void quorix_fftdot_free(QUORIX_FFTDOT* dot) { std::free(dot); }

QUORIX_FFTDOT_LIST* quorix_fftdot_list_new(long count) {
    auto* list = static_cast<QUORIX_FFTDOT_LIST*>(std::calloc(1, sizeof(QUORIX_FFTDOT_LIST)));
    if (!list) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_FFTDOT_LIST.\n");
        return nullptr;
    }
    if (count > 0) {
        list->dot = quorix_fftdot_new(count);
        if (!list->dot) {
            std::fprintf(stderr, "Error: quorix_fftdot_new() returns NULL.\n");
            std::free(list);
            return nullptr;
        }
        list->total = count;
    }
    return list;
}

void quorix_fftdot_list_free(QUORIX_FFTDOT_LIST* list) {
    if (!list) return;
    quorix_fftdot_free(list->dot);
    std::free(list);
}

int quorix_fftdot_read_from_fft(QUORIX_FFTDOT* dot, const QUORIX_FFT* fft, long* x_i) {
    if (!dot || !x_i || !quorix_fft_complete(fft)) {
        std::fprintf(stderr, "Error: QUORIX_FFTDOT has not been properly initialized.\n");
        return 1;
    }
    const QUORIX_FFTCUBE* en = fft->en;
    for (int d = 0; d < 3; d++) x_i[d] = quorix_mod_long(x_i[d], en->n[d]);
    *dot = QUORIX_FFTDOT{};
    dot->type = FFT_UND;
    std::memcpy(dot->x_i, x_i, sizeof(dot->x_i));
    quorix_vector3_double_sum3(dot->x, en->a_i[0], static_cast<double>(x_i[0]), en->a_i[1],
                               static_cast<double>(x_i[1]), en->a_i[2], static_cast<double>(x_i[2]));
    const long p = linear_index(en->n, x_i[0], x_i[1], x_i[2]);
    dot->en = en->value[p][0];
    for (int i = 0; i < 3; i++) {
        dot->f[i] = fft->f[i]->value[p][0];
        for (int j = 0; j < 3; j++) dot->k[i][j] = fft->k[i][j]->value[p][0];
    }
    double k[3][3];
    quorix_matrix33_double_copy(k, dot->k);
    if (quorix_matrix33_double_eigensolver_symmetric(dot->eig, dot->eiv, k)) {
        std::fprintf(stderr, "Error: quorix_matrix33_double_eigensolver_symmetric() returns non-zero.\n");
        return 1;
    }
    quorix_fftdot_determine_type(dot, fft);
    return 0;
}

void quorix_fftdot_determine_type(QUORIX_FFTDOT* dot, const QUORIX_FFT* fft) {
    if (!dot || !quorix_fft_complete(fft)) return;
    const double g = quorix_vector3_double_length(dot->f);
    if (!gradient_locally_smallest(g, fft->en->n, dot->x_i, [fft](long p) { return gradient_length(fft, p); })) {
        dot->type = FFT_NOR;
        return;
    }
    dot->type = type_by_eigenvalues(dot->eig);
}

// Reads and diagonalises only the points whose gradient length is locally smallest: every other
// point is an ordinary one, so the list is the same as reading every point.
QUORIX_FFTDOT_LIST* quorix_fftdot_list_new_from_fft(const QUORIX_FFT* fft) {
    if (!quorix_fft_complete(fft)) {
        std::fprintf(stderr, "Error: QUORIX_FFT has not been properly initialized.\n");
        return nullptr;
    }
    FftdotListPtr list(quorix_fftdot_list_new(0));
    if (!list) {
        std::fprintf(stderr, "Error: quorix_fftdot_list_new() returns NULL.\n");
        return nullptr;
    }
    const QUORIX_FFTCUBE* en = fft->en;
    std::memcpy(list->n, en->n, sizeof(list->n));
    std::memcpy(list->a, en->a, sizeof(list->a));
    std::memcpy(list->a_i, en->a_i, sizeof(list->a_i));
    const long* n = en->n;
    std::vector<double> lengths(n[0] * n[1] * n[2]);
    for (long p = 0; p < static_cast<long>(lengths.size()); p++) lengths[p] = gradient_length(fft, p);

    DotCollector found;
    long p = 0;
    for (long i = 0; i < n[0]; i++)
        for (long j = 0; j < n[1]; j++)
            for (long k = 0; k < n[2]; k++, p++) {
                long x_i[3] = {i, j, k};
                if (!gradient_locally_smallest(lengths[p], n, x_i, [&lengths](long q) { return lengths[q]; }))
                    continue;
                QUORIX_FFTDOT dot;
                if (quorix_fftdot_read_from_fft(&dot, fft, x_i)) {
                    std::fprintf(stderr, "Error: quorix_fftdot_read_from_fft() returns non-zero.\n");
                    return nullptr;
                }
                if (is_critical(dot.type) && !found.append(dot)) {
                    std::fprintf(stderr, "Error: unable to reallocate QUORIX_FFTDOT.\n");
                    return nullptr;
                }
            }
    found.hand_to(list.get());
    if (quorix_fftdot_list_merge_near(list.get())) {  // sorts the list first
        std::fprintf(stderr, "Error: quorix_fftdot_list_merge_near() returns non-zero.\n");
        return nullptr;
    }
    std::printf("Message: found %ld critical points via fft method.\n", list->total);
    return list.release();
}

// Exchange sort, kept as it is: the order of dots with equal type and energy decides the merge.
void quorix_fftdot_list_sort(QUORIX_FFTDOT_LIST* list) {
    if (!list || !list->dot) return;
    QUORIX_FFTDOT* dot = list->dot;
    for (long i = 0; i < list->total; i++)
        for (long j = i + 1; j < list->total; j++)
            if (dot[i].type > dot[j].type || (dot[i].type == dot[j].type && dot[i].en > dot[j].en))
                std::swap(dot[i], dot[j]);
}

// Of two equal-type dots touching across a corner the one nearer the cell origin goes. The
// shortened array keeps record p only where record p survived: merged places stay zero-filled.
int quorix_fftdot_list_merge_near(QUORIX_FFTDOT_LIST* list) {
    if (!list_usable(list)) {
        std::fprintf(stderr, "Error: QUORIX_FFTDOT_LIST has not been properly initialized.\n");
        return 1;
    }
    quorix_fftdot_list_sort(list);
    const long marked = mark_merged(list);
    if (marked == 0) return 0;
    const long total = list->total - marked;
    QUORIX_FFTDOT* kept = quorix_fftdot_new(total);
    if (!kept) {
        std::fprintf(stderr, "Error: quorix_fftdot_new() returns NULL.\n");
        return 1;
    }
    for (long p = 0; p < total; p++)
        if (list->dot[p].type != FFT_ERR) kept[p] = list->dot[p];
    replace_dots(list, kept, total);
    return 0;
}

int quorix_fftdot_list_filter(QUORIX_FFTDOT_LIST* list, double en_cap) {
    if (!list_usable(list)) {
        std::fprintf(stderr, "Error: QUORIX_FFTDOT_LIST has not been properly initialized.\n");
        return 1;
    }
    if (list->total <= 0) return 0;
    double en_min = list->dot[0].en;
    for (long p = 1; p < list->total; p++) en_min = std::min(en_min, list->dot[p].en);
    long kept_total = 0;
    for (long p = 0; p < list->total; p++) {
        if (list->dot[p].en > en_min + en_cap)
            list->dot[p].type = FFT_ERR;
        else
            kept_total++;
    }
    if (kept_total == list->total) return 0;
    QUORIX_FFTDOT* kept = quorix_fftdot_new(kept_total);
    if (!kept) {
        std::fprintf(stderr, "Error: quorix_fftdot_new() returns NULL.\n");
        return 1;
    }
    long q = 0;
    for (long p = 0; p < list->total; p++)
        if (list->dot[p].type != FFT_ERR) kept[q++] = list->dot[p];
    replace_dots(list, kept, kept_total);
    return 0;
}

QUORIX_TEXT* quorix_fftdot_list_export_to_text(const QUORIX_FFTDOT_LIST* list) {
    if (!list_usable(list)) {
        std::fprintf(stderr, "Error: QUORIX_FFTDOT_LIST has not been properly initialized.\n");
        return nullptr;
    }
    TextPtr text(quorix_text_new("# energy unit: eV; length unit: A\r\n"));
    if (!text) {
        std::fprintf(stderr, "Error: quorix_text_new() returns NULL.\n");
        return nullptr;
    }
    static const char* const kColumns[] = {
        "en",     "eig_1",  "eig_2",  "eig_3", "eiv_11", "eiv_12", "eiv_13", "eiv_21", "eiv_22",
        "eiv_23", "eiv_31", "eiv_32", "eiv_33", "|f|",   "f_x",    "f_y",    "f_z",    "k_xx",
        "k_xy",   "k_xz",   "k_yx",   "k_yy",   "k_yz",  "k_zx",   "k_zy",   "k_zz"};
    char line[1024];
    std::snprintf(line, sizeof(line), "%5s,%6s,%6s,%6s,%6s,%6s,%6s", "no", "x", "y", "z", "xi", "yi", "zi");
    std::string row = line;
    for (const char* column : kColumns) {
        std::snprintf(line, sizeof(line), ",%9s", column);
        row += line;
    }
    row += "\r\n";
    if (!append_row(text, row)) return nullptr;
    for (long p = 0; p < list->total; p++) {
        const QUORIX_FFTDOT& dot = list->dot[p];
        std::snprintf(line, sizeof(line), "%5ld,%6.3f,%6.3f,%6.3f,%6ld,%6ld,%6ld", p + 1, dot.x[0], dot.x[1],
                      dot.x[2], dot.x_i[0], dot.x_i[1], dot.x_i[2]);
        row = line;
        std::vector<double> values = {dot.en, dot.eig[0], dot.eig[1], dot.eig[2]};
        for (const auto& eiv : dot.eiv) values.insert(values.end(), eiv, eiv + 3);
        values.push_back(quorix_vector3_double_length(dot.f));
        values.insert(values.end(), dot.f, dot.f + 3);
        for (const auto& k : dot.k) values.insert(values.end(), k, k + 3);
        for (double value : values) {
            std::snprintf(line, sizeof(line), ",%9.5f", value);
            row += line;
        }
        row += "\r\n";
        if (!append_row(text, row)) return nullptr;
    }
    return text.release();
}

void quorix_fftdot_print(const QUORIX_FFTDOT* dot) {
    if (!dot) {
        std::printf("FFTDOT: (not allocated)\n");
        return;
    }
    std::printf("FFTDOT: x_i = (%ld, %ld, %ld); x = (%.3f, %.3f, %.3f)\n", dot->x_i[0], dot->x_i[1], dot->x_i[2],
                dot->x[0], dot->x[1], dot->x[2]);
    std::printf("FFTDOT: en = %.3f; type = %d\n", dot->en, static_cast<int>(dot->type));
    std::printf("FFTDOT: f = (%.3f, %.3f, %.3f)\n", dot->f[0], dot->f[1], dot->f[2]);
    for (int d = 0; d < 3; d++)
        std::printf("FFTDOT: k[%d] = (%.3f, %.3f, %.3f)\n", d, dot->k[d][0], dot->k[d][1], dot->k[d][2]);
    std::printf("FFTDOT: eig = (%.3f, %.3f, %.3f)\n", dot->eig[0], dot->eig[1], dot->eig[2]);
    for (int d = 0; d < 3; d++)
        std::printf("FFTDOT: eiv[%d] = (%.3f, %.3f, %.3f)\n", d, dot->eiv[d][0], dot->eiv[d][1], dot->eiv[d][2]);
}

void quorix_fftdot_list_print(const QUORIX_FFTDOT_LIST* list) {
    if (!list) {
        std::printf("FFTDOT_LIST: (not allocated)\n");
        return;
    }
    std::printf("FFTDOT_LIST: a_i\n");
    for (const auto& row : list->a_i) std::printf("FFTDOT_LIST: %9.6f %9.6f %9.6f\n", row[0], row[1], row[2]);
    std::printf("FFTDOT_LIST: dots\n");
    std::printf("FFTDOT_LIST: totally %ld dots in %ld*%ld*%ld grid.\n", list->total, list->n[0], list->n[1],
                list->n[2]);
    for (long p = 0; p < list->total; p++) {
        const QUORIX_FFTDOT& dot = list->dot[p];
        std::printf("FFTDOT_LIST: [%3ld] (%3ld,%3ld,%3ld)(%4.2f,%4.2f,%4.2f) type = %d, en = %6.3f\n", p, dot.x_i[0],
                    dot.x_i[1], dot.x_i[2], dot.x[0], dot.x[1], dot.x[2], static_cast<int>(dot.type), dot.en);
    }
}
