// Path finding on a landscape grid: point classes from the 26 neighbours and steepest-descent paths.
#include "quorix-fp.hpp"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "quorix-import-atom.hpp"
#include "quorix-import-write.hpp"
#include "quorix-threads.hpp"


namespace {

constexpr int kSelf = 13;
constexpr int kMaxBranches = 8;
constexpr long kMaxHalfLength = 1999;

void report_fpcube_uninitialized() {
    std::fprintf(stderr, "Error: QUORIX_FPCUBE has not been properly initialized.\n");
}

// Index one step away from i along an axis of n points, with periodic wrap.
long wrap_step(long i, int step, long n) {
    const long j = i + step;
    if (j < 0) return j + n;
    return j >= n ? j - n : j;
}

// Energies of the 27 dots of the 3x3x3 neighbourhood, by neighbour position.
void gather_energies(const QUORIX_FPCUBE* fpcube, const QUORIX_FPDOT* dot, double en[27]) {
    const long* n = fpcube->n;
    int p = 0;
    for (int a = -1; a <= 1; a++) {
        const long i0 = wrap_step(dot->x_i[0], a, n[0]);
        for (int b = -1; b <= 1; b++) {
            const QUORIX_FPDOT* row = fpcube->dot[i0][wrap_step(dot->x_i[1], b, n[1])];
            for (int c = -1; c <= 1; c++) en[p++] = row[wrap_step(dot->x_i[2], c, n[2])].en;
        }
    }
}

// Place of shell position p (0..26, first index outer) in the padded 5x5x5 block of labels.
constexpr int block_offset(int p) { return (p / 9 + 1) * 25 + (p / 3 % 3 + 1) * 5 + (p % 3 + 1); }

// For each neighbour position p, the positions q = p + offset that can change p's label, as
// bits: inside the shell, neither p itself nor the centre, and before p in the scan, since
// positions after it carry no label yet when it is visited. Taking the bits lowest first visits
// these neighbours in the order of the labelling scan.
struct ShellAdjacency {
    std::uint32_t before[27] = {};
    int offset[27] = {};  // block_offset of each position
};

const ShellAdjacency& shell_adjacency() {
    static const ShellAdjacency adjacency = [] {
        ShellAdjacency s;
        for (int p = 0; p < 27; p++) {
            s.offset[p] = block_offset(p);
            const int pa = p / 9, pb = p / 3 % 3, pc = p % 3;
            for (int q = 0; q < p; q++)
                if (q != kSelf && std::abs(q / 9 - pa) <= 1 && std::abs(q / 3 % 3 - pb) <= 1 && std::abs(q % 3 - pc) <= 1)
                    s.before[p] |= std::uint32_t{1} << q;
        }
        return s;
    }();
    return adjacency;
}

// Groups the neighbours into 26-connected sets of equal sign (upward: energy >= the dot's).
// Every position before p but the centre is labelled when p is visited, so p joins the label of
// its first earlier neighbour of its sign and merges the labels of the others.
void cluster_dot(QUORIX_FPDOT* dot, const double en[27]) {
    std::uint32_t upward = 0;
    for (int p = 0; p < 27; p++)
        if (p != kSelf && en[p] >= dot->en) upward |= std::uint32_t{1} << p;
    const std::uint32_t downward = ~upward & ~(std::uint32_t{1} << kSelf) & ((std::uint32_t{1} << 27) - 1);
    int labels[5][5][5] = {};
    int* const block = &labels[0][0][0];
    int counter = 1;
    const ShellAdjacency& adjacency = shell_adjacency();
    for (int p = 0; p < 27; p++) {
        if (p == kSelf) continue;
        const bool up = (upward >> p) & 1;
        int& label_p = block[adjacency.offset[p]];
        std::uint32_t same = adjacency.before[p] & (up ? upward : downward);
        if (same == 0) {
            label_p = (up ? 1 : -1) * counter++;
            continue;
        }
        label_p = block[adjacency.offset[__builtin_ctz(same)]];
        for (same &= same - 1; same != 0; same &= same - 1) {
            const int label_q = block[adjacency.offset[__builtin_ctz(same)]];
            if (label_q != label_p) quorix_fpdot_merge_cluster(labels, label_p, label_q);  // mostly one group already
        }
    }
    signed char cluster[27];
    for (int p = 0; p < 27; p++) cluster[p] = static_cast<signed char>(block[adjacency.offset[p]]);
    static_assert(sizeof dot->cluster == sizeof cluster);
    std::memcpy(dot->cluster, cluster, sizeof cluster);
}

// Appends the warning `format` (three %ld for the dot's indices) to `log`.
void log_dot_warning(std::string& log, const char* format, const QUORIX_FPDOT* dot) {
    char line[160];
    std::snprintf(line, sizeof line, format, static_cast<long>(dot->x_i[0]), static_cast<long>(dot->x_i[1]),
                  static_cast<long>(dot->x_i[2]));
    log += line;
}

// Types the dot by its numbers of upward and downward groups; warnings about unusual
// neighbourhoods go to `log`, to be printed in grid order.
void classify_dot(QUORIX_FPDOT* dot, std::string& log) {
    const signed char* cluster = &dot->cluster[0][0][0];
    int total_up = 0, total_dn = 0, max = 0, min = 0;
    for (int p = 0; p < 27; p++) {
        if (total_up < 9 && total_dn < 9 && total_up >= 4)
            log_dot_warning(log, "Warning: no. of branches exceeds 4 at (%ld,%ld,%ld); there might be a discontinuity\n",
                            dot);
        else if (total_up >= 9 || total_dn >= 9)
            log_dot_warning(log, "Warning: no. of branches exceeds 8 at (%ld,%ld,%ld); there might be an error.\n",
                            dot);
        if (cluster[p] > max) {
            max = cluster[p];
            total_up++;
        }
        if (cluster[p] < min) {
            min = cluster[p];
            total_dn++;
        }
    }
    dot->total_up = static_cast<signed char>(total_up);
    dot->total_dn = static_cast<signed char>(total_dn);
    if (total_dn == 0)
        dot->type = FP_MIN;
    else if (total_dn == 1)
        dot->type = total_up == 1 ? FP_NOR : FP_ERR;
    else
        dot->type = total_dn <= 3 ? FP_SAD : FP_ERR;
    if (total_up == 0 && total_dn > 0) dot->type = FP_MAX;
}

// For every group label, the position of its steepest neighbour (highest for upward groups,
// lowest for downward ones), among equal energies the last; NO_STEP where none beats the dot.
struct SteepestByLabel {
    unsigned char up[27], dn[27];  // by the label's magnitude (labels run from -26 to 26)
};

SteepestByLabel steepest_by_label(const QUORIX_FPDOT* dot, const double en[27]) {
    SteepestByLabel steepest;
    std::memset(&steepest, QUORIX_FPDOT_NO_STEP, sizeof steepest);
    double best_up[27], best_dn[27];
    std::fill(best_up, best_up + 27, dot->en);
    std::fill(best_dn, best_dn + 27, dot->en);
    const signed char* cluster = &dot->cluster[0][0][0];
    for (int q = 0; q < 27; q++) {
        const int label = cluster[q];
        if (label > 0 && en[q] >= best_up[label]) {
            best_up[label] = en[q];
            steepest.up[label] = static_cast<unsigned char>(q);
        } else if (label < 0 && en[q] <= best_dn[-label]) {
            best_dn[-label] = en[q];
            steepest.dn[-label] = static_cast<unsigned char>(q);
        }
    }
    return steepest;
}

// The steepest step of each group, upward and downward groups each in the order they first
// appear with a label beyond all before it.
void branch_dot(QUORIX_FPDOT* dot, const double en[27]) {
    std::memset(dot->up, QUORIX_FPDOT_NO_STEP, sizeof dot->up);
    std::memset(dot->dn, QUORIX_FPDOT_NO_STEP, sizeof dot->dn);
    const SteepestByLabel steepest = steepest_by_label(dot, en);
    const signed char* cluster = &dot->cluster[0][0][0];
    int max = 0, min = 0, k_up = 0, k_dn = 0;
    for (int p = 0; p < 27; p++) {
        if (cluster[p] > max) {
            max = cluster[p];
            if (k_up < kMaxBranches) dot->up[k_up++] = steepest.up[max];
        }
        if (cluster[p] < min) {
            min = cluster[p];
            if (k_dn < kMaxBranches) dot->dn[k_dn++] = steepest.dn[-min];
        }
    }
}

// Runs one per-dot step on the dot at x_i with its neighbourhood energies.
template <class Step>
int with_dot_energies(QUORIX_FPCUBE* fpcube, const long* x_i, Step step) {
    QUORIX_FPDOT* dot = quorix_fpcube_dot(fpcube, x_i);
    if (!dot) {
        report_fpcube_uninitialized();
        return 1;
    }
    double en[27];
    gather_energies(fpcube, dot, en);
    step(dot, en);
    return 0;
}

// Three lines "|" + " %2d %2d %2d |" per row of the block, each after `prefix`.
void print_block(const char* prefix, const int m[3][3][3]) {
    for (int a = 0; a < 3; a++) {
        std::printf("%s|", prefix);
        for (int b = 0; b < 3; b++) std::printf(" %2d %2d %2d |", m[a][b][0], m[a][b][1], m[a][b][2]);
        std::printf("\n");
    }
}

// Number of dots of an n[0] x n[1] x n[2] grid, or -1 when it cannot be addressed.
long grid_size(const long* n) {
    for (int k = 0; k < 3; k++)
        if (n[k] > INT_MAX) return -1;
    const long limit = LONG_MAX / static_cast<long>(sizeof(QUORIX_FPDOT));
    if (n[1] > limit / n[0] || n[2] > limit / (n[0] * n[1])) return -1;
    return n[0] * n[1] * n[2];
}

}  // namespace

// ---------------------------------------------------------------- grid

QUORIX_FPCUBE* quorix_fpcube_new(const long* n) {
    if (!n || n[0] <= 0 || n[1] <= 0 || n[2] <= 0) {
        std::fprintf(stderr, "Error: all arguments must be positive.\n");
        return nullptr;
    }
    auto* fpcube = static_cast<QUORIX_FPCUBE*>(std::calloc(1, sizeof(QUORIX_FPCUBE)));
    if (!fpcube) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_FPCUBE.\n");
        return nullptr;
    }
    std::memcpy(fpcube->n, n, sizeof fpcube->n);
    FpcubePtr owner(fpcube);
    fpcube->dot = static_cast<QUORIX_FPDOT***>(std::calloc(n[0], sizeof(QUORIX_FPDOT**)));
    if (!fpcube->dot) {
        std::fprintf(stderr, "Error: unable to allocate fpcube->dot\n");
        return nullptr;
    }
    // Both lower levels are single blocks; rows point into them.
    const long total = grid_size(n);
    if (total > 0) fpcube->dot[0] = static_cast<QUORIX_FPDOT**>(std::calloc(n[0] * n[1], sizeof(QUORIX_FPDOT*)));
    if (!fpcube->dot[0]) {
        std::fprintf(stderr, "Error: unable to allocate fpcube->dot[]\n");
        return nullptr;
    }
    auto* dots = static_cast<QUORIX_FPDOT*>(std::calloc(total, sizeof(QUORIX_FPDOT)));
    if (!dots) {
        std::fprintf(stderr, "Error: unable to allocate fpcube->dot[][]\n");
        return nullptr;
    }
    for (long i0 = 0; i0 < n[0]; i0++) {
        fpcube->dot[i0] = fpcube->dot[0] + i0 * n[1];
        for (long i1 = 0; i1 < n[1]; i1++) fpcube->dot[i0][i1] = dots + (i0 * n[1] + i1) * n[2];
    }
    return owner.release();
}

void quorix_fpcube_free(QUORIX_FPCUBE* fpcube) {
    if (!fpcube) return;
    if (fpcube->dot && fpcube->dot[0]) std::free(fpcube->dot[0][0]);
    if (fpcube->dot) std::free(fpcube->dot[0]);
    std::free(fpcube->dot);
    std::free(fpcube);
}

QUORIX_FPDOT* quorix_fpcube_dot(const QUORIX_FPCUBE* fpcube, const long* x_i) {
    if (!fpcube || !fpcube->dot || !x_i) return nullptr;
    long r[3];
    for (int k = 0; k < 3; k++) r[k] = ((x_i[k] % fpcube->n[k]) + fpcube->n[k]) % fpcube->n[k];
    return &fpcube->dot[r[0]][r[1]][r[2]];
}

QUORIX_FPDOT* quorix_fpcube_neighbour(const QUORIX_FPCUBE* fpcube, const QUORIX_FPDOT* dot, int position) {
    if (!fpcube || !dot || position < 0 || position >= QUORIX_FPDOT_NO_STEP) return nullptr;
    const long* n = fpcube->n;
    return &fpcube->dot[wrap_step(dot->x_i[0], position / 9 - 1, n[0])][wrap_step(dot->x_i[1], position / 3 % 3 - 1,
                                                                                  n[1])]
                       [wrap_step(dot->x_i[2], position % 3 - 1, n[2])];
}

QUORIX_FPCUBE* quorix_fpcube_new_from_cube(const QUORIX_CUBE* cube) {
    if (!cube || !cube->en) {
        std::fprintf(stderr, "Error: QUORIX_CUBE has not been properly initialized.\n");
        return nullptr;
    }
    FpcubePtr fpcube(quorix_fpcube_new(cube->n));
    if (!fpcube) {
        std::fprintf(stderr, "Error: quorix_fpcube_new() returns NULL.\n");
        return nullptr;
    }
    std::memcpy(fpcube->a, cube->a, sizeof cube->a);
    std::memcpy(fpcube->a_i, cube->a_i, sizeof cube->a_i);
    const long* n = cube->n;
    for (long i0 = 0; i0 < n[0]; i0++)
        for (long i1 = 0; i1 < n[1]; i1++)
            for (long i2 = 0; i2 < n[2]; i2++) {
                QUORIX_FPDOT& dot = fpcube->dot[i0][i1][i2];
                dot.en = cube->en[i0][i1][i2];
                dot.type = FP_UND;
                const long x_i[3] = {i0, i1, i2};
                for (int k = 0; k < 3; k++) {
                    dot.x_i[k] = static_cast<int>(x_i[k]);
                    dot.x[k] = i0 * cube->a_i[0][k] + i1 * cube->a_i[1][k] + i2 * cube->a_i[2][k];
                }
            }
    // Each dot reads only the energies around it, so slabs along the first axis are classified
    // in parallel; their warnings are printed afterwards in grid order.
    constexpr long kDotsPerThread = 32768;
    const unsigned parts = quorix_part_count(n[0] * n[1] * n[2], kDotsPerThread, n[0]);
    std::vector<std::string> logs(parts);
    quorix_run_parts(parts, [&](unsigned part) {
        double en[27];
        for (long i0 = n[0] * part / parts; i0 < n[0] * (part + 1) / parts; i0++)
            for (long i1 = 0; i1 < n[1]; i1++)
                for (long i2 = 0; i2 < n[2]; i2++) {
                    QUORIX_FPDOT* dot = &fpcube->dot[i0][i1][i2];
                    gather_energies(fpcube.get(), dot, en);
                    cluster_dot(dot, en);
                    classify_dot(dot, logs[part]);
                    branch_dot(dot, en);
                }
    });
    for (const std::string& log : logs) std::fputs(log.c_str(), stdout);
    return fpcube.release();
}

void quorix_fpcube_clear_type(QUORIX_FPCUBE* fpcube) {
    if (!fpcube || !fpcube->dot) return;
    const long total = fpcube->n[0] * fpcube->n[1] * fpcube->n[2];
    for (long i = 0; i < total; i++) fpcube->dot[0][0][i].type = FP_UND;
}

// ---------------------------------------------------------------- per-dot classification

int quorix_fpdot_cluster(QUORIX_FPCUBE* fpcube, const long* x_i) {
    return with_dot_energies(fpcube, x_i, cluster_dot);
}

void quorix_fpdot_merge_cluster(int labels[5][5][5], int l1, int l2) {
    if (l1 == l2 || l1 == 0 || l2 == 0) return;
    const int from = l1 > l2 ? l1 : l2;
    const int to = l1 > l2 ? l2 : l1;
    for (int a = 1; a <= 3; a++)
        for (int b = 1; b <= 3; b++)
            for (int c = 1; c <= 3; c++)
                if (labels[a][b][c] == from) labels[a][b][c] = to;
}

int quorix_fpdot_classify(QUORIX_FPCUBE* fpcube, const long* x_i) {
    std::string log;
    const int status = with_dot_energies(fpcube, x_i, [&log](QUORIX_FPDOT* dot, const double*) { classify_dot(dot, log); });
    std::fputs(log.c_str(), stdout);
    return status;
}

int quorix_fpdot_branch(QUORIX_FPCUBE* fpcube, const long* x_i) { return with_dot_energies(fpcube, x_i, branch_dot); }

int quorix_fpdot_equal(const QUORIX_FPDOT* d1, const QUORIX_FPDOT* d2) {
    if (d1 == d2) return 1;
    if (!d1 || !d2) return 0;
    return d1->x_i[0] == d2->x_i[0] && d1->x_i[1] == d2->x_i[1] && d1->x_i[2] == d2->x_i[2] ? 1 : 0;
}

void quorix_matrix333_int_print(const int m[3][3][3]) { print_block("", m); }

void quorix_fpdot_print(const QUORIX_FPDOT* dot) {
    if (!dot) {
        std::printf("FPDOT: (not allocated)\n");
        return;
    }
    std::printf("FPDOT: (%ld %ld %ld) (%.6f %.6f %.6f)\n", static_cast<long>(dot->x_i[0]),
                static_cast<long>(dot->x_i[1]), static_cast<long>(dot->x_i[2]), dot->x[0], dot->x[1], dot->x[2]);
    std::printf("FPDOT: en = %f\n", dot->en);
    std::printf("FPDOT: type = %d\n", dot->type);
    std::printf("FPDOT: up = %d; dn = %d\n", dot->total_up, dot->total_dn);
    int labels[3][3][3];
    for (int p = 0; p < 27; p++) labels[p / 9][p / 3 % 3][p % 3] = (&dot->cluster[0][0][0])[p];
    print_block("FPDOT: ", labels);
}

// ---------------------------------------------------------------- boolean arrays

bool* quorix_array_bool_1D_new(int count) {
    if (count <= 0) return nullptr;
    return static_cast<bool*>(std::calloc(count, sizeof(bool)));
}

void quorix_array_bool_1D_free(bool* p) { std::free(p); }

bool** quorix_array_bool_2D_new(int count1, int count2) {
    if (count1 <= 0 || count2 <= 0) return nullptr;
    auto** p = static_cast<bool**>(std::calloc(count1, sizeof(bool*)));
    if (!p) return nullptr;
    for (int i = 0; i < count1; i++) {
        p[i] = quorix_array_bool_1D_new(count2);
        if (!p[i]) {
            quorix_array_bool_2D_free(p, i);
            return nullptr;
        }
    }
    return p;
}

void quorix_array_bool_2D_free(bool** p, int count1) {
    if (!p) return;
    for (int i = 0; i < count1; i++) std::free(p[i]);
    std::free(p);
}

// ---------------------------------------------------------------- half-paths

namespace {

bool can_descend_through(const QUORIX_FPDOT* dot) {
    return dot->type == FP_NOR || dot->type == FP_MIN || dot->type == FP_SAD || dot->type == FP_PAT ||
           dot->total_dn == 1;
}

void report_wrong_dot(const QUORIX_FPDOT* dot) {
    std::fprintf(stderr, "Error: wrong dot type %d at (%4ld, %4ld, %4ld).\n", dot->type, static_cast<long>(dot->x_i[0]),
                 static_cast<long>(dot->x_i[1]), static_cast<long>(dot->x_i[2]));
    quorix_fpdot_print(dot);
}

// Walks from `saddle` down its downward branch k, always taking the first downward group's
// steepest step, until a minimum or another saddle is reached.
int descend(const QUORIX_FPCUBE* fpcube, QUORIX_FPDOT* saddle, int k, QUORIX_FPHALF* half) {
    std::vector<QUORIX_FPDOT*> path{saddle};
    QUORIX_FPDOT* current = quorix_fpcube_neighbour(fpcube, saddle, saddle->dn[k]);
    while (true) {
        if (!current || !can_descend_through(current)) {
            report_wrong_dot(current ? current : path.back());
            return 1;
        }
        path.push_back(current);
        if (current->type == FP_MIN || current->type == FP_SAD) break;
        if (static_cast<long>(path.size()) > kMaxHalfLength) {
            std::fprintf(stderr, "Error: failed to descend to the local minimum within %ld steps.\n",
                         static_cast<long>(path.size()));
            return 1;
        }
        current = quorix_fpcube_neighbour(fpcube, current, current->dn[0]);
    }
    half->dot = static_cast<QUORIX_FPDOT**>(std::malloc(path.size() * sizeof(QUORIX_FPDOT*)));
    if (!half->dot) {
        std::fprintf(stderr, "Error: unable to allocate list->half[%d]\n", k);
        return 1;
    }
    std::memcpy(half->dot, path.data(), path.size() * sizeof(QUORIX_FPDOT*));
    half->total = static_cast<long>(path.size());
    half->barrier = saddle->en - path.back()->en;
    return 0;
}

}  // namespace

QUORIX_FPHALF_LIST* quorix_fphalf_list_new_empty() {
    auto* list = static_cast<QUORIX_FPHALF_LIST*>(std::calloc(1, sizeof(QUORIX_FPHALF_LIST)));
    if (!list) std::fprintf(stderr, "Error: unable to allocate QUORIX_FPHALF_LIST.\n");
    return list;
}

QUORIX_FPHALF_LIST* quorix_fphalf_list_new(const QUORIX_FPCUBE* fpcube, const long* x_i) {
    QUORIX_FPDOT* saddle = quorix_fpcube_dot(fpcube, x_i);
    if (!saddle) {
        report_fpcube_uninitialized();
        return nullptr;
    }
    if (saddle->type != FP_SAD) {
        std::fprintf(stderr, "Error: dot (%4ld, %4ld, %4ld) is not a saddle point.\n",
                     static_cast<long>(saddle->x_i[0]), static_cast<long>(saddle->x_i[1]),
                     static_cast<long>(saddle->x_i[2]));
        return nullptr;
    }
    FphalfListPtr list(quorix_fphalf_list_new_empty());
    if (!list) {
        std::fprintf(stderr, "Error: quorix_fphalf_list_new_empty() returns NULL.\n");
        return nullptr;
    }
    const int branches = saddle->total_dn < kMaxBranches ? saddle->total_dn : kMaxBranches;
    list->half = static_cast<QUORIX_FPHALF*>(std::calloc(branches, sizeof(QUORIX_FPHALF)));
    if (!list->half) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_FPHALF.\n");
        return nullptr;
    }
    list->total = branches;
    for (int k = 0; k < branches; k++)
        if (descend(fpcube, saddle, k, &list->half[k])) return nullptr;
    return list.release();
}

QUORIX_FPHALF_LIST* quorix_fphalf_list_new_from_fpcube(const QUORIX_FPCUBE* fpcube) {
    if (!fpcube || !fpcube->dot) {
        report_fpcube_uninitialized();
        return nullptr;
    }
    FphalfListPtr list(quorix_fphalf_list_new_empty());
    if (!list) {
        std::fprintf(stderr, "Error: quorix_fphalf_list_new_empty() returns NULL.\n");
        return nullptr;
    }
    const long* n = fpcube->n;
    for (long i0 = 0; i0 < n[0]; i0++)
        for (long i1 = 0; i1 < n[1]; i1++)
            for (long i2 = 0; i2 < n[2]; i2++) {
                if (fpcube->dot[i0][i1][i2].type != FP_SAD) continue;
                const long x_i[3] = {i0, i1, i2};
                FphalfListPtr halves(quorix_fphalf_list_new(fpcube, x_i));
                if (!halves) {
                    std::fprintf(stderr, "Error: quorix_fphalf_list_new() returns NULL.\n");
                    return nullptr;
                }
                if (quorix_fphalf_list_merge(list.get(), halves.get())) {
                    std::fprintf(stderr, "Error: quorix_fphalf_list_merge() returns non-zero.\n");
                    return nullptr;
                }
                (void)halves.release();  // merged: its record is gone
            }
    std::printf("Message: QUORIX_FPCUBE successfully generated containing %ld paths.\n", list->total);
    return list.release();
}

int quorix_fphalf_list_merge(QUORIX_FPHALF_LIST* list, QUORIX_FPHALF_LIST* other) {
    if (!list || !other || other->total < 1 || !other->half) {
        std::fprintf(stderr, "Error: QUORIX_FPHALF_LIST has not been initialized properly.\n");
        return 1;
    }
    auto* grown =
        static_cast<QUORIX_FPHALF*>(std::realloc(list->half, (list->total + other->total) * sizeof(QUORIX_FPHALF)));
    if (!grown) {
        std::fprintf(stderr, "Error: unable to reallocate QUORIX_FPHALF_LIST.\n");
        return 1;
    }
    std::memcpy(grown + list->total, other->half, other->total * sizeof(QUORIX_FPHALF));
    list->half = grown;
    list->total += other->total;
    std::free(other->half);
    std::free(other);
    return 0;
}

int quorix_fphalf_list_filter(QUORIX_FPHALF_LIST* list, double barrier_max) {
    if (!list || list->total < 1 || !list->half) {
        std::fprintf(stderr, "Error: QUORIX_FPHALF_LIST has not been properly initialized.\n");
        return 1;
    }
    if (barrier_max < 0.0) return 0;
    long survivors = 0;
    for (long i = 0; i < list->total; i++) {
        QUORIX_FPHALF& half = list->half[i];
        if (half.barrier > barrier_max) half.total = 0;
        if (half.total > 0) survivors++;
    }
    auto* kept = static_cast<QUORIX_FPHALF*>(std::calloc(survivors, sizeof(QUORIX_FPHALF)));
    if (!kept) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_FPHALF.\n");
        return 1;
    }
    long next = 0;
    for (long i = 0; i < list->total; i++) {
        if (list->half[i].total > 0)
            kept[next++] = list->half[i];
        else
            std::free(list->half[i].dot);
    }
    std::free(list->half);
    list->half = kept;
    list->total = survivors;
    std::printf("Message: totally %ld paths with barrier lower than %f.\n", list->total, barrier_max);
    return 0;
}

void quorix_fphalf_list_label_path(QUORIX_FPHALF_LIST* list) {
    if (!list) return;
    for (long i = 0; i < list->total; i++)
        for (long j = 0; j < list->half[i].total; j++) {
            QUORIX_FPDOT* dot = list->half[i].dot[j];
            if (dot->type == FP_UND || dot->type == FP_NOR) dot->type = FP_PAT;
        }
}

void quorix_fphalf_list_free(QUORIX_FPHALF_LIST* list) {
    if (!list) return;
    for (long i = 0; i < list->total; i++) std::free(list->half[i].dot);
    std::free(list->half);
    std::free(list);
}

void quorix_fphalf_list_print(const QUORIX_FPHALF_LIST* list) {
    if (!list) {
        std::printf("FPHALF_LIST: (not allocated).\n");
        return;
    }
    std::printf("FPHALF_LIST: total half pathes in the list = %ld.\n", list->total);
    for (long i = 0; i < list->total; i++) {
        const QUORIX_FPHALF& half = list->half[i];
        if (half.total < 1) {
            std::printf("FPHALF_LIST: [%4ld] empty half path.\n", i);
            continue;
        }
        const QUORIX_FPDOT* first = half.dot[0];
        const QUORIX_FPDOT* last = half.dot[half.total - 1];
        std::printf("FPHALF_LIST: [%4ld] (%4ld, %4ld, %4ld)-(%4ld, %4ld, %4ld); length=%2ld, barrier=%f\n", i,
                    static_cast<long>(first->x_i[0]), static_cast<long>(first->x_i[1]),
                    static_cast<long>(first->x_i[2]), static_cast<long>(last->x_i[0]),
                    static_cast<long>(last->x_i[1]), static_cast<long>(last->x_i[2]), half.total, half.barrier);
    }
}

void quorix_fphalf_print(const QUORIX_FPHALF* half) {
    if (!half) {
        std::printf("(not allocated)\n");
        return;
    }
    std::printf("FPHALF: length = %ld; barrier = %f\n", half->total, half->barrier);
    for (long i = 0; i < half->total; i++) {
        const QUORIX_FPDOT* dot = half->dot[i];
        std::printf("FPHALF: [%4ld] (%4ld, %4ld, %4ld); type = %d, en = %f\n", i, static_cast<long>(dot->x_i[0]),
                    static_cast<long>(dot->x_i[1]), static_cast<long>(dot->x_i[2]), dot->type, dot->en);
    }
}

// ---------------------------------------------------------------- path map

namespace {

struct Marker {
    const char* name;
    const char* type;
};

// Marker atom of a dot in the path map; a null name for dots the map leaves out.
Marker marker_of(const QUORIX_FPDOT& dot) {
    switch (dot.type) {
        case FP_SAD:
            if (dot.total_dn == 2) return {"SAD1", "Na"};
            return dot.total_dn == 3 ? Marker{"SAD2", "K"} : Marker{"SAD3", "Cs"};
        case FP_PAT:
            return {"PAT", "H"};
        case FP_MIN:
            return {"MIN", "Li"};
        default:
            return {nullptr, nullptr};
    }
}

}  // namespace

QUORIX_CELL* quorix_fpcube_export_to_cell(const QUORIX_FPCUBE* fpcube) {
    if (!fpcube || !fpcube->dot) {
        std::fprintf(stderr, "Error: QUORIX_FPCUBE has not been initialized properly.\n");
        return nullptr;
    }
    const QUORIX_FPDOT* dots = fpcube->dot[0][0];
    const long total = fpcube->n[0] * fpcube->n[1] * fpcube->n[2];
    long markers = 0;
    for (long i = 0; i < total; i++)
        if (marker_of(dots[i]).name) markers++;
    CellPtr cell(quorix_cell_new(markers));
    if (!cell) {
        std::fprintf(stderr, "Error: quorix_cell_new() returns NULL.\n");
        return nullptr;
    }
    std::memcpy(cell->a, fpcube->a, sizeof cell->a);
    long next = 0;
    for (long i = 0; i < total; i++) {
        const Marker marker = marker_of(dots[i]);
        if (!marker.name) continue;
        QUORIX_ATOM& atom = cell->atom[next++];
        quorix_copy_bounded(atom.name, marker.name, sizeof atom.name);
        quorix_copy_bounded(atom.type, marker.type, sizeof atom.type);
        atom.os = 1;
        atom.occ = 1.0;
        std::memcpy(atom.x, dots[i].x, sizeof atom.x);
    }
    quorix_cell_update_fractional(cell.get());
    return cell.release();
}

int quorix_fpcube_export_cif_to_file(const QUORIX_CUBE* cube, double barrier_max, const char* path) {
    if (!cube || !cube->en) {
        std::fprintf(stderr, "Error: QUORIX_CUBE has not been properly initialized.\n");
        return 1;
    }
    FpcubePtr fpcube(quorix_fpcube_new_from_cube(cube));
    if (!fpcube) {
        std::fprintf(stderr, "Error: quorix_fpcube_new_from_cube() returns NULL.\n");
        return 1;
    }
    FphalfListPtr halves(quorix_fphalf_list_new_from_fpcube(fpcube.get()));
    if (!halves) {
        std::fprintf(stderr, "Error: quorix_fphalf_list_new_from_fpcube() returns NULL.\n");
        return 1;
    }
    if (barrier_max > 0.0 && quorix_fphalf_list_filter(halves.get(), barrier_max)) {
        std::fprintf(stderr, "Error: quorix_fphalf_list_filter() returns non-zero.\n");
        return 1;
    }
    quorix_fphalf_list_label_path(halves.get());
    CellPtr cell(quorix_fpcube_export_to_cell(fpcube.get()));
    if (!cell) {
        std::fprintf(stderr, "Error: quorix_fpcube_export_to_cell() returns NULL.\n");
        return 1;
    }
    if (quorix_cell_export_cif_to_file(path, cell.get(), nullptr)) {
        std::fprintf(stderr, "Error: quorix_cell_export_cif_to_file() returns non-zero.\n");
        return 1;
    }
    return 0;
}
