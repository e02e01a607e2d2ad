// Migration network of the conducting ion: sites joined by hops through saddles, and its supercell.
#include "quorix-gh.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "quorix-fft.hpp"
#include "quorix-gh-lattice.hpp"
#include "quorix-images.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-la.hpp"

namespace {

constexpr double kRadiusLimit = 0.6;     // angstrom: sites further from an atom do not take its occupancy or name
constexpr double kEnergyClass = 0.0003;  // eV: sites closer in energy share an interstitial name and a site class
constexpr double kSameSaddle = 0.001;    // angstrom

// Appends one record to a malloc'ed array with room for `capacity` records, doubling the room
// when it is full, so that building an array costs linear time. Growing may move the array:
// nothing may point into it until it is complete.
template <class T>
bool append_record(T*& array, long& total, long& capacity, const T& record) {
    if (total == capacity) {
        if (capacity > std::numeric_limits<long>::max() / 2 / static_cast<long>(sizeof(T))) return false;
        const long room = std::max(2 * capacity, 16L);
        auto* grown = static_cast<T*>(std::realloc(array, room * sizeof(T)));
        if (!grown) return false;
        array = grown;
        capacity = room;
    }
    array[total++] = record;
    return true;
}

void long_index(long out[3], const QUORIX_FPDOT* dot) {
    for (int k = 0; k < 3; k++) out[k] = dot->x_i[k];
}

bool dots_adjacent(const QUORIX_FPDOT* d1, const QUORIX_FPDOT* d2, const long* n) {
    long x1[3], x2[3];
    long_index(x1, d1);
    long_index(x2, d2);
    return quorix_dot_adjacent(x1, x2, n) == 1;
}

const QUORIX_FPDOT* last_dot(const QUORIX_FPHALF& half) { return half.dot[half.total - 1]; }

bool ends_in_minimum(const QUORIX_FPHALF& half) { return half.total >= 1 && last_dot(half)->type == FP_MIN; }

// A half that can form a hop: from a first-order saddle (two downward groups) to a minimum.
bool is_hop_half(const QUORIX_FPHALF& half) {
    return ends_in_minimum(half) && half.dot[0]->type == FP_SAD && half.dot[0]->total_dn == 2;
}

// Cell boundaries crossed by one grid step along an axis: an index jump of more than one is a wrap.
int crossing(long from, long to) {
    const long d = to - from;
    return d > 1 ? -1 : (d < -1 ? 1 : 0);
}

void image_shift(double out[3], const double a[3][3], long p, long q, long r) {
    for (int k = 0; k < 3; k++) out[k] = p * a[0][k] + q * a[1][k] + r * a[2][k];
}

// ---------------------------------------------------------------- building the site graph

int add_vertices(QUORIX_GRAPH* graph, const QUORIX_FPHALF_LIST* halves, const QUORIX_FFT* fft) {
    long capacity = graph->total_v;
    for (long h = 0; h < halves->total; h++) {
        const QUORIX_FPHALF& half = halves->half[h];
        if (!ends_in_minimum(half)) continue;
        const QUORIX_FPDOT* end = last_dot(half);
        bool known = false;
        for (long v = 0; v < graph->total_v && !known; v++) {
            long x_i[3];
            long_index(x_i, end);
            known = quorix_dot_adjacent(graph->v[v].x_i, x_i, graph->n) == 1;
        }
        if (known) continue;
        QUORIX_GRAPH_VERTEX vertex{};
        vertex.index = graph->total_v;
        long_index(vertex.x_i, end);
        std::memcpy(vertex.x, end->x, sizeof vertex.x);
        QUORIX_FFTDOT hessian;
        long x_i[3];
        long_index(x_i, end);
        if (quorix_fftdot_read_from_fft(&hessian, fft, x_i)) {
            std::fprintf(stderr, "Error: quorix_fftdot_read_from_fft() returns non-zero.\n");
            return 1;
        }
        std::memcpy(vertex.eig, hessian.eig, sizeof vertex.eig);
        std::memcpy(vertex.eiv, hessian.eiv, sizeof vertex.eiv);
        vertex.en = end->en;
        if (!append_record(graph->v, graph->total_v, capacity, vertex)) {
            std::fprintf(stderr, "Error: unable to reallocate QUORIX_GRAPH_VERTEX.\n");
            return 1;
        }
    }
    return 0;
}

bool saddle_has_edge(const QUORIX_GRAPH* graph, const QUORIX_FPDOT* saddle) {
    long x_i[3];
    long_index(x_i, saddle);
    for (long e = 0; e < graph->total_e; e++)
        if (quorix_dot_adjacent(graph->e[e].x_i, x_i, graph->n)) return true;
    return false;
}

// The two directions of the hop from vertex A (end of half i) to vertex B (end of half j), in
// graph->e with room for `capacity` edges.
int add_hop(QUORIX_GRAPH* graph, long& capacity, const QUORIX_FPHALF_LIST* halves, long i, long j,
            QUORIX_GRAPH_VERTEX* A, QUORIX_GRAPH_VERTEX* B) {
    const QUORIX_FPHALF& hi = halves->half[i];
    const QUORIX_FPHALF& hj = halves->half[j];
    const QUORIX_FPDOT* saddle = hi.dot[0];
    QUORIX_GRAPH_EDGE e1{}, e2{};
    for (QUORIX_GRAPH_EDGE* e : {&e1, &e2}) {
        long_index(e->x_i, saddle);
        std::memcpy(e->x, saddle->x, sizeof e->x);
        e->en = saddle->en;
        e->l = quorix_dot_distance(A->x, B->x, graph->a);
    }
    e1.v_i = A, e1.v_f = B, e1.index_half = i, e1.barrier = e1.en - A->en;
    e2.v_i = B, e2.v_f = A, e2.index_half = j, e2.barrier = e2.en - B->en;
    for (int k = 0; k < 3; k++) {
        for (long d = hi.total - 2; d >= 0; d--) e1.bound_i[k] += crossing(hi.dot[d + 1]->x_i[k], hi.dot[d]->x_i[k]);
        e1.bound_f[k] = crossing(saddle->x_i[k], hj.dot[0]->x_i[k]);
        for (long d = 1; d < hj.total; d++) e1.bound_f[k] += crossing(hj.dot[d - 1]->x_i[k], hj.dot[d]->x_i[k]);
        e1.bound[k] = e1.bound_i[k] + e1.bound_f[k];
        e2.bound_i[k] = -e1.bound_f[k];
        e2.bound_f[k] = -e1.bound_i[k];
        e2.bound[k] = -e1.bound[k];
    }
    quorix_dot_direction(e1.dir, A->x, saddle->x, graph->a);
    quorix_dot_direction(e2.dir, B->x, saddle->x, graph->a);
    // Until the edges are linked, index holds the partner's position.
    e1.index = graph->total_e + 1;
    e2.index = graph->total_e;
    if (!append_record(graph->e, graph->total_e, capacity, e1) ||
        !append_record(graph->e, graph->total_e, capacity, e2)) {
        std::fprintf(stderr, "Error: unable to reallocate QUORIX_GRAPH_EDGE.\n");
        return 1;
    }
    return 0;
}

// The vertices are complete: edges point at them.
int add_edges(QUORIX_GRAPH* graph, const QUORIX_FPHALF_LIST* halves) {
    long capacity = graph->total_e;
    for (long i = 0; i < halves->total; i++) {
        const QUORIX_FPHALF& hi = halves->half[i];
        if (!is_hop_half(hi) || saddle_has_edge(graph, hi.dot[0])) continue;
        for (long j = i + 1; j < halves->total; j++) {
            const QUORIX_FPHALF& hj = halves->half[j];
            if (!is_hop_half(hj) || !dots_adjacent(hj.dot[0], hi.dot[0], graph->n) ||
                dots_adjacent(last_dot(hj), last_dot(hi), graph->n))
                continue;
            const long vertices = graph->total_v;
            for (long a = 0; a < vertices; a++) {
                long end_i[3];
                long_index(end_i, last_dot(hi));
                if (!quorix_dot_adjacent(graph->v[a].x_i, end_i, graph->n)) continue;
                for (long b = 0; b < vertices; b++) {
                    long end_j[3];
                    long_index(end_j, last_dot(hj));
                    if (!quorix_dot_adjacent(graph->v[b].x_i, end_j, graph->n)) continue;
                    if (add_hop(graph, capacity, halves, i, j, &graph->v[a], &graph->v[b])) return 1;
                }
            }
        }
    }
    return 0;
}

// Turns partner positions into reverse links and lists every edge at its initial vertex.
int link_edges(QUORIX_GRAPH* graph) {
    for (long m = 0; m < graph->total_e; m++) {
        QUORIX_GRAPH_EDGE& edge = graph->e[m];
        edge.e_r = &graph->e[edge.index];
        edge.index = m;
        QUORIX_GRAPH_VERTEX* v = edge.v_i;
        auto* grown = static_cast<QUORIX_GRAPH_EDGE**>(std::realloc(v->e, (v->total_e + 1) * sizeof(QUORIX_GRAPH_EDGE*)));
        if (!grown) {
            std::fprintf(stderr, "Error: unable to reallocate graph->v[%ld].e.\n", v->index);
            return 1;
        }
        v->e = grown;
        v->e[v->total_e++] = &edge;
    }
    return 0;
}

// ---------------------------------------------------------------- occupancies and names

bool is_conducting(const QUORIX_GRAPH* graph, const QUORIX_ATOM& atom) {
    return std::strcmp(atom.type, graph->type) == 0 && atom.os == graph->os;
}

double conducting_occupancy(const QUORIX_GRAPH* graph, const QUORIX_CELL* cell) {
    double total = 0.0;
    for (long i = 0; i < cell->total; i++)
        if (is_conducting(graph, cell->atom[i])) total += cell->atom[i].occ;
    return total;
}

// A quarter of the mean voxel step: the first search radius is twice that.
double initial_radius(const QUORIX_GRAPH* graph) {
    double sum = 0.0;
    for (int k = 0; k < 3; k++) sum += quorix_vector3_double_length(graph->a_i[k]);
    return sum / 3.0 / 4.0;
}

bool usable_inputs(const QUORIX_GRAPH* graph, const QUORIX_CELL* cell) {
    if (graph && cell && (cell->total == 0 || cell->atom) && initial_radius(graph) > 0.0) return true;
    std::fprintf(stderr, "Error: QUORIX_GRAPH or QUORIX_CELL has not been properly initialized.\n");
    return false;
}

std::vector<QUORIX_GRAPH_VERTEX*> vertices_within(QUORIX_GRAPH* graph, const QUORIX_ATOM& atom, double radius) {
    std::vector<QUORIX_GRAPH_VERTEX*> near;
    for (long v = 0; v < graph->total_v; v++)
        if (quorix_dot_distance(atom.x, graph->v[v].x, graph->a) < radius) near.push_back(&graph->v[v]);
    return near;
}

// Gives the next class number to each vertex not yet in a class and to every later vertex not
// yet in a class whose energy lies within kEnergyClass of it.
template <class Unassigned, class Assign>
void classify_by_energy(QUORIX_GRAPH* graph, Unassigned unassigned, Assign assign) {
    long number = 1;
    for (long i = 0; i < graph->total_v; i++) {
        if (!unassigned(graph->v[i])) continue;
        const double en = graph->v[i].en;
        for (long j = i; j < graph->total_v; j++)
            if (unassigned(graph->v[j]) && std::fabs(graph->v[j].en - en) < kEnergyClass) assign(graph->v[j], number);
        number++;
    }
}

// A zero-filled array of `count` records when count is positive; nothing otherwise.
template <class T>
bool allocate_records(T*& array, long& total, long count, const char* what) {
    if (count <= 0) return true;
    array = static_cast<T*>(std::calloc(count, sizeof(T)));
    if (!array) {
        std::fprintf(stderr, "Error: unable to allocate %s.\n", what);
        return false;
    }
    total = count;
    return true;
}

}  // namespace

// ---------------------------------------------------------------- records

QUORIX_GRAPH* quorix_graph_new(long total_v, long total_e) {
    GraphPtr graph(static_cast<QUORIX_GRAPH*>(std::calloc(1, sizeof(QUORIX_GRAPH))));
    if (!graph) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_GRAPH.\n");
        return nullptr;
    }
    if (!allocate_records(graph->v, graph->total_v, total_v, "graph->v") ||
        !allocate_records(graph->e, graph->total_e, total_e, "graph->e"))
        return nullptr;
    return graph.release();
}

void quorix_graph_free(QUORIX_GRAPH* graph) {
    if (!graph) return;
    for (long v = 0; v < graph->total_v; v++) std::free(graph->v[v].e);
    std::free(graph->v);
    std::free(graph->e);
    std::free(graph);
}

QUORIX_GRAPH* quorix_graph_new_filled(const QUORIX_FPHALF_LIST* halves, const QUORIX_FFT* fft, QUORIX_CELL* cell,
                                      const QUORIX_PROPERTY* property) {
    if (!halves || (halves->total > 0 && !halves->half) || !fft || !fft->en || !cell || !property ||
        property->conducting < 0 || property->conducting >= property->total || !property->type || !property->uni) {
        std::fprintf(stderr, "Error: uninitialized input to generate QUORIX_GRAPH.\n");
        return nullptr;
    }
    GraphPtr graph(quorix_graph_new(0, 0));
    if (!graph) {
        std::fprintf(stderr, "Error: quorix_graph_new() returns NULL.\n");
        return nullptr;
    }
    std::memcpy(graph->n, fft->en->n, sizeof graph->n);
    std::memcpy(graph->a_i, fft->en->a_i, sizeof graph->a_i);
    std::memcpy(graph->a, fft->en->a, sizeof graph->a);
    if (add_vertices(graph.get(), halves, fft) || add_edges(graph.get(), halves) || link_edges(graph.get()))
        return nullptr;

    const int conducting = property->conducting;
    quorix_copy_bounded(graph->type, property->type[conducting], sizeof graph->type);
    graph->os = property->os[conducting];
    graph->total_occ = conducting_occupancy(graph.get(), cell);
    if (quorix_graph_assign_occ(graph.get(), cell)) {
        std::fprintf(stderr, "Error: quorix_graph_assign_occ() returns non-zero.\n");
        return nullptr;
    }
    if (quorix_graph_assign_label(graph.get(), cell)) {
        std::fprintf(stderr, "Error: quorix_graph_assign_label() returns non-zero.\n");
        return nullptr;
    }
    graph->volume = quorix_cell_calculate_volume(cell);
    graph->m = property->uni[conducting].m;
    graph->c = graph->total_occ / graph->volume;
    return graph.release();
}

int quorix_graph_assign_occ(QUORIX_GRAPH* graph, const QUORIX_CELL* cell) {
    if (!usable_inputs(graph, cell)) return 1;
    graph->total_occ = conducting_occupancy(graph, cell);
    double radius = initial_radius(graph);
    double residual = 0.0;
    do {
        radius *= 2.0;
        for (long v = 0; v < graph->total_v; v++) graph->v[v].occ = 0.0;
        for (long i = 0; i < cell->total; i++) {
            const QUORIX_ATOM& atom = cell->atom[i];
            if (!is_conducting(graph, atom)) continue;
            const auto near = vertices_within(graph, atom, radius);
            for (QUORIX_GRAPH_VERTEX* v : near) v->occ = std::fmin(1.0, v->occ + atom.occ / near.size());
        }
        residual = graph->total_occ;
        for (long v = 0; v < graph->total_v; v++) residual -= graph->v[v].occ;
    } while (residual >= 0.5 && radius <= kRadiusLimit);
    std::printf("Message: graph occ assignment, residual occ = %.3lf, cutoff = %.3lf A.\n", residual, radius);
    return 0;
}

int quorix_graph_assign_label(QUORIX_GRAPH* graph, const QUORIX_CELL* cell) {
    if (!usable_inputs(graph, cell)) return 1;
    for (long v = 0; v < graph->total_v; v++) {
        graph->v[v].name[0] = '\0';
        graph->v[v].site = 0;
    }
    long conducting = 0;
    for (long i = 0; i < cell->total; i++)
        if (is_conducting(graph, cell->atom[i])) conducting++;
    double radius = initial_radius(graph);
    long named = 0;
    do {
        radius *= 2.0;
        for (long v = 0; v < graph->total_v; v++) graph->v[v].name[0] = '\0';
        for (long i = 0; i < cell->total; i++) {
            const QUORIX_ATOM& atom = cell->atom[i];
            if (!is_conducting(graph, atom)) continue;
            for (QUORIX_GRAPH_VERTEX* v : vertices_within(graph, atom, radius))
                quorix_copy_bounded(v->name, atom.name, sizeof v->name);
        }
        named = 0;
        for (long v = 0; v < graph->total_v; v++)
            if (graph->v[v].name[0] != '\0') named++;
    } while (named < conducting && radius <= kRadiusLimit);
    std::printf("Message: graph occ label = %ld/%ld, cutoff = %.3lf A.\n", named, conducting, radius);

    classify_by_energy(
        graph, [](const QUORIX_GRAPH_VERTEX& v) { return v.name[0] == '\0'; },
        [graph](QUORIX_GRAPH_VERTEX& v, long k) {
            const std::string name = std::string(graph->type) + "_i" + std::to_string(k);
            quorix_copy_bounded(v.name, name.substr(0, 10).c_str(), sizeof v.name);
        });
    classify_by_energy(
        graph, [](const QUORIX_GRAPH_VERTEX& v) { return v.site == 0; },
        [](QUORIX_GRAPH_VERTEX& v, long k) { v.site = k; });
    return 0;
}

// ---------------------------------------------------------------- supercell graph

namespace {

long copy_number(const long t[3], const int* s) { return (t[0] * s[1] + t[1]) * s[2] + t[2]; }

void copy_vertex(QUORIX_GRAPH_VERTEX* to, const QUORIX_GRAPH_VERTEX& from, const QUORIX_GRAPH* graph, const long t[3],
                 long index) {
    quorix_copy_bounded(to->name, from.name, sizeof to->name);
    std::memcpy(to->eig, from.eig, sizeof to->eig);
    std::memcpy(to->eiv, from.eiv, sizeof to->eiv);
    to->occ = from.occ;
    to->en = from.en;
    to->site = from.site;
    to->total_e = from.total_e;
    double shift[3];
    image_shift(shift, graph->a, t[0], t[1], t[2]);
    for (int k = 0; k < 3; k++) {
        to->x_i[k] = from.x_i[k] + t[k] * graph->n[k];
        to->x[k] = from.x[k] + shift[k];
    }
    to->index = index;
}

// Copy of edge `from` in cell copy t: its ends lie in the copies its boundary counts lead to.
void copy_edge(QUORIX_GRAPH* super, QUORIX_GRAPH_EDGE* to, const QUORIX_GRAPH_EDGE& from, const QUORIX_GRAPH* graph,
               const long t[3], const int* s, long index) {
    double shift[3];
    image_shift(shift, graph->a, t[0], t[1], t[2]);
    long t_i[3], t_f[3];
    for (int k = 0; k < 3; k++) {
        to->x_i[k] = from.x_i[k] + t[k] * graph->n[k];
        to->x[k] = from.x[k] + shift[k];
        to->dir[k] = from.dir[k];
        t_i[k] = quorix_mod_long(t[k] - from.bound_i[k], s[k]);
        t_f[k] = quorix_mod_long(t[k] + from.bound_f[k], s[k]);
        to->bound_i[k] = static_cast<int>(-quorix_lattice::floor_div(t[k] - from.bound_i[k], s[k]));
        to->bound_f[k] = static_cast<int>(quorix_lattice::floor_div(t[k] + from.bound_f[k], s[k]));
        to->bound[k] = to->bound_i[k] + to->bound_f[k];
    }
    to->en = from.en;
    to->l = from.l;
    to->barrier = from.barrier;
    to->index_half = from.index_half;
    to->index = index;
    to->v_i = &super->v[(from.v_i - graph->v) + graph->total_v * copy_number(t_i, s)];
    to->v_f = &super->v[(from.v_f - graph->v) + graph->total_v * copy_number(t_f, s)];
}

bool is_reverse(const QUORIX_GRAPH* super, const QUORIX_GRAPH_EDGE& edge, const QUORIX_GRAPH_EDGE& candidate) {
    if (candidate.v_f != edge.v_i) return false;
    // Truncated to whole eV on purpose: any two saddle energies less than 1 eV apart pass.
    if (std::labs(static_cast<long>(candidate.en - edge.en)) > 0.001) return false;
    for (int k = 0; k < 3; k++)
        if (candidate.bound[k] != -edge.bound[k]) return false;
    return quorix_dot_distance(candidate.x, edge.x, super->a) < kSameSaddle;
}

int place_and_link_edges(QUORIX_GRAPH* super) {
    for (long m = 0; m < super->total_e; m++) {
        QUORIX_GRAPH_EDGE* edge = &super->e[m];
        QUORIX_GRAPH_VERTEX* v = edge->v_i;
        int slot = 0;
        while (slot < v->total_e && v->e[slot]) slot++;
        if (slot == v->total_e) {
            std::fprintf(stderr, "Error: mismatch when assigning e[%ld] to v_i[%ld].e[%d]\n", m, v->index, slot);
            return 1;
        }
        v->e[slot] = edge;
    }
    for (long m = 0; m < super->total_e; m++) {
        QUORIX_GRAPH_EDGE& edge = super->e[m];
        for (int k = 0; k < edge.v_f->total_e && !edge.e_r; k++)
            if (is_reverse(super, edge, *edge.v_f->e[k])) edge.e_r = edge.v_f->e[k];
        if (!edge.e_r) {
            std::fprintf(stderr, "Error: failed to link e_r.\n");
            return 1;
        }
    }
    for (long m = 0; m < super->total_e; m++) {
        const QUORIX_GRAPH_EDGE& edge = super->e[m];
        for (int k = 0; k < 3; k++)
            if (edge.bound[k] != -edge.e_r->bound[k] || edge.bound_i[k] != -edge.e_r->bound_f[k] ||
                edge.bound_f[k] != -edge.e_r->bound_i[k]) {
                std::fprintf(stderr, "Error: mismatch in e[].bound %ld <-> %ld.\n", m, edge.e_r->index);
                return 1;
            }
    }
    return 0;
}

}  // namespace

QUORIX_GRAPH* quorix_graph_new_supergraph(const QUORIX_GRAPH* graph, const int* s) {
    if (!graph || (graph->total_v > 0 && !graph->v) || (graph->total_e > 0 && !graph->e)) {
        std::fprintf(stderr, "Error: QUORIX_GRAPH has not been properly initialized.\n");
        return nullptr;
    }
    if (!s || s[0] <= 0 || s[1] <= 0 || s[2] <= 0) {
        std::fprintf(stderr, "Error: supercell vector must be positive.\n");
        return nullptr;
    }
    for (long m = 0; m < graph->total_e; m++)
        if (!graph->e[m].v_i || !graph->e[m].v_f) {
            std::fprintf(stderr, "Error: QUORIX_GRAPH has not been properly initialized.\n");
            return nullptr;
        }
    const long copies = static_cast<long>(s[0]) * s[1] * s[2];
    GraphPtr super(quorix_graph_new(copies * graph->total_v, copies * graph->total_e));
    if (!super) {
        std::fprintf(stderr, "Error: quorix_graph_new() returns NULL.\n");
        return nullptr;
    }
    super->total_occ = graph->total_occ * copies;
    super->volume = graph->volume * copies;
    std::memcpy(super->a_i, graph->a_i, sizeof super->a_i);
    for (int k = 0; k < 3; k++) {
        super->n[k] = graph->n[k] * s[k];
        for (int d = 0; d < 3; d++) super->a[k][d] = graph->a[k][d] * s[k];
    }
    std::memcpy(super->type, graph->type, sizeof super->type);
    super->os = graph->os;
    super->m = graph->m;
    super->c = graph->c;

    for (long p = 0; p < s[0]; p++)
        for (long q = 0; q < s[1]; q++)
            for (long r = 0; r < s[2]; r++) {
                const long t[3] = {p, q, r};
                const long c = copy_number(t, s);
                for (long i = 0; i < graph->total_v; i++) {
                    QUORIX_GRAPH_VERTEX* v = &super->v[i + graph->total_v * c];
                    copy_vertex(v, graph->v[i], graph, t, i + graph->total_v * c);
                    v->e = static_cast<QUORIX_GRAPH_EDGE**>(std::calloc(v->total_e, sizeof(QUORIX_GRAPH_EDGE*)));
                    if (v->total_e > 0 && !v->e) {
                        std::fprintf(stderr, "Error: unable to allocate edge for vertex %ld.\n", v->index);
                        return nullptr;
                    }
                }
                for (long j = 0; j < graph->total_e; j++)
                    copy_edge(super.get(), &super->e[j + graph->total_e * c], graph->e[j], graph, t, s,
                              j + graph->total_e * c);
            }
    if (place_and_link_edges(super.get())) return nullptr;
    return super.release();
}

// ---------------------------------------------------------------- periodic helpers

int quorix_dot_adjacent(const long* x_i1, const long* x_i2, const long* n) {
    for (int k = 0; k < 3; k++) {
        long d = std::labs(x_i1[k] - x_i2[k]);
        if (n[k] - d < d) d = n[k] - d;
        if (d > 1) return 0;
    }
    return 1;
}

namespace {

// Calls visit(image) for x1 shifted by every combination of -1, 0 and 1 times each cell vector.
template <class Visit>
void for_each_neighbour_image(const double* x1, const double a[3][3], Visit visit) {
    quorix_for_each_image(a, kQuorixNearestImages, [&](const QuorixImage& translation) {
        double image[3];
        for (int k = 0; k < 3; k++) image[k] = translation.shift[k] + x1[k];
        visit(image);
    });
}

}  // namespace

double quorix_dot_distance(const double* x1, const double* x2, const double a[3][3]) {
    double best = quorix_vector3_double_distance(x1, x2);
    for_each_neighbour_image(x1, a, [&](const double* image) {
        best = std::fmin(best, quorix_vector3_double_distance(image, x2));
    });
    return best;
}

void quorix_dot_direction(double* out, const double* x1, const double* x2, const double a[3][3]) {
    double best = quorix_vector3_double_distance(x1, x2);
    double d[3];
    for (int k = 0; k < 3; k++) d[k] = x2[k] - x1[k];
    for_each_neighbour_image(x1, a, [&](const double* image) {
        const double distance = quorix_vector3_double_distance(image, x2);
        if (distance >= best) return;
        best = distance;
        for (int k = 0; k < 3; k++) d[k] = x2[k] - image[k];
    });
    for (int k = 0; k < 3; k++) out[k] = best > 0.0 ? d[k] / best : 0.0;
}

// ---------------------------------------------------------------- dimensionality

namespace {

using quorix_lattice::EchelonLattice;
using quorix_lattice::Translation;

}  // namespace

int quorix_graph_dimensionality(const QUORIX_GRAPH* graph, double en_cap, int basis[3][3]) {
    if (basis) std::memset(basis, 0, 9 * sizeof(int));
    if (!graph || (graph->total_v > 0 && !graph->v) || (graph->total_e > 0 && !graph->e)) return -1;
    double en_min = INFINITY;
    for (long v = 0; v < graph->total_v; v++) en_min = std::fmin(en_min, graph->v[v].en);
    auto usable = [&](const QUORIX_GRAPH_EDGE* e) { return e->v_i && e->v_f && (en_cap < 0.0 || e->en <= en_min + en_cap); };

    // Walk each connected part from a root, giving every site the cell translation it is reached
    // in; a hop that closes a walk adds its net translation to the part's lattice.
    std::vector<Translation> offset(graph->total_v);
    std::vector<bool> reached(graph->total_v, false);
    EchelonLattice all;
    int dimensionality = 0;
    for (long root = 0; root < graph->total_v; root++) {
        if (reached[root]) continue;
        EchelonLattice part;
        std::vector<long> stack{root};
        reached[root] = true;
        offset[root] = {0, 0, 0};
        while (!stack.empty()) {
            const long u = stack.back();
            stack.pop_back();
            const QUORIX_GRAPH_VERTEX& vertex = graph->v[u];
            for (int k = 0; k < vertex.total_e; k++) {
                const QUORIX_GRAPH_EDGE* e = vertex.e[k];
                if (!usable(e)) continue;
                const long w = e->v_f - graph->v;
                Translation reach;
                for (int d = 0; d < 3; d++) reach[d] = offset[u][d] + e->bound[d];
                if (!reached[w]) {
                    reached[w] = true;
                    offset[w] = reach;
                    stack.push_back(w);
                    continue;
                }
                Translation cycle;
                for (int d = 0; d < 3; d++) cycle[d] = reach[d] - offset[w][d];
                part.add(cycle);
                all.add(cycle);
            }
        }
        dimensionality = std::max(dimensionality, part.rank());
    }
    if (basis) {
        all.reduce();
        int r = 0;
        for (int k = 0; k < 3; k++)
            if (all.present[k]) {
                for (int d = 0; d < 3; d++) basis[r][d] = static_cast<int>(all.row[k][d]);
                r++;
            }
    }
    return dimensionality;
}
