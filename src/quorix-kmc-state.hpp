// Bookkeeping of the kinetic Monte Carlo fast path, shared by the simulation and its outputs.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "quorix-file.hpp"
#include "quorix-kmc-due.hpp"
#include "quorix-kmc-tree.hpp"

// Energies are summed as integers in units of 2^-40 eV, so a sum kept up to date hop by hop equals
// the sum formed afresh in any order, and local updates give the full recomputation's rates.
constexpr double kKmcEnergyQuantum = 1.0 / 1099511627776.0;

// Per-site lists stored back to back: the items of site v are items[begin[v] .. begin[v + 1]).
template <class T>
struct QuorixKmcLists {
    std::vector<std::size_t> begin{0};
    std::vector<T> items;

    void close() { begin.push_back(items.size()); }  // ends the list of the next site
    const T* first(long v) const { return items.data() + begin[v]; }
    const T* last(long v) const { return items.data() + begin[v + 1]; }
};

// For each site, the sites (or saddles) whose Coulomb sum an ion on it enters, with that energy;
// indices and energies in separate arrays, so that the hot loop streams fewer bytes.
struct QuorixKmcEnergies {
    std::vector<std::size_t> begin{0};
    std::vector<std::uint32_t> index;
    std::vector<std::int64_t> de;

    void add(long i, std::int64_t energy) {
        index.push_back(static_cast<std::uint32_t>(i));
        de.push_back(energy);
    }
    void close() { begin.push_back(index.size()); }  // ends the list of the next site

    // Adds sign times the energies of site v's list to the sums they enter.
    void add_to(std::vector<std::int64_t>& sum, long v, std::int64_t sign) const {
        std::int64_t* to = sum.data();
        const std::size_t end = begin[v + 1];  // read once: the sums could alias it for the compiler
        for (std::size_t k = begin[v]; k < end; k++) to[index[k]] += sign * de[k];
    }
};

// What the rate of one hop reads besides the sums of its ends and saddle, in one record.
struct QuorixKmcHop {
    std::uint32_t from, to;  // initial and final site
    std::uint32_t saddle;    // shared with the reverse hop at the same point and energy
    std::int64_t end_de;     // energy between its two ends (0 beyond the cutoff)
    double frequency;        // ke[].f
    std::int64_t barrier;    // of its rate while active, kQuorixKmcNoBarrier when not
};

constexpr std::int64_t kQuorixKmcNoBarrier = INT64_MIN;

// Boltzmann factors exp(-barrier / kT) remembered by barrier (in energy quanta): ions shuttle
// among few configurations, so most barriers recur, and a remembered factor is the library's own value.
class QuorixBoltzmannMemo {
public:
    // Factors at temperature kT (eV) from now on; those remembered at another one are forgotten.
    // True when the temperature changed.
    bool use(double kT) {
        if (kT == kT_) return false;
        forget(kT);
        return true;
    }

    double factor(std::int64_t barrier) {
        const auto bits = static_cast<std::uint64_t>(barrier);
        Entry& entry = entries_[(bits ^ (bits >> 14) ^ (bits >> 29)) & (kEntries - 1)];
        if (entry.barrier != barrier)
            entry = {barrier, std::exp(-static_cast<double>(barrier) * kKmcEnergyQuantum / kT_)};
        return entry.factor;
    }

private:
    static constexpr std::size_t kEntries = 1 << 14;  // 256 kB: fewer entries lose hits, more gain none
    struct Entry {
        std::int64_t barrier = kQuorixKmcNoBarrier;
        double factor = 0.0;
    };

    void forget(double kT) {
        std::fill(entries_.begin(), entries_.end(), Entry{});
        kT_ = kT;
    }

    double kT_ = 0.0;
    std::vector<Entry> entries_ = std::vector<Entry>(kEntries);
};

// What the last hop changed, kept for the hop back: where ions rattle between two sites (half of
// all hops on the garnet) the occupation then returns to the one before, and so does every rate,
// which is restored instead of recomputed. The sums above the rates are in the rate tree's journal.
struct QuorixKmcUndo {
    struct Change {
        std::uint32_t hop;
        std::int64_t barrier;
        double rate;
    };
    // What the next rate update does: nothing, every hop, the hops due after the last hop
    // (keeping their changes), or restoring the rates before it.
    enum class Next { nothing, all, record, restore };
    std::vector<Change> changes;  // room for a change of every hop
    std::size_t count = 0;        // the first `count` changes: the last hop's, with old values
    long hop = -1;                // the last hop; -1 when the changes are not its own
    Next next = Next::nothing;

    void forget() {
        hop = -1;
        next = Next::all;
    }
};

// A hop and its two sites, for the activity of a site's hops without their larger records.
struct QuorixKmcHopEnds {
    std::uint32_t hop, from, to;
};

struct QuorixKmcState {
    QuorixKmcEnergies near_sites;            // sites around each site (kv[].v_n and v_de)
    QuorixKmcEnergies near_saddles;          // saddles around each site other than its own hops'
    QuorixKmcLists<QuorixKmcHopEnds> incident;  // hops leaving or entering each site
    QuorixKmcLists<std::uint32_t> crossing;  // hops over each saddle (a hop and its reverse)
    // Per pair of sites joined by hops: the hops whose rate an ion moving between them may
    // change (those whose barrier the occupation of either enters, and their own); and per hop,
    // its pair.
    QuorixKmcLists<QuorixKmcDueWord> due;
    std::vector<std::uint32_t> due_of_hop;
    std::vector<std::int64_t> site_energy;  // of each site (kv[].en) with the occupied sites around it
    std::vector<std::int64_t> site_en;    // kv[].en
    // Per saddle: its energy (ke[].en of its hops), alone and with the occupied sites other
    // than its hops' ends.
    std::vector<std::int64_t> saddle_en, saddle_energy;
    std::vector<unsigned char> occupied;  // per site
    std::vector<QuorixKmcHop> hop;
    std::vector<std::array<int, 3>> bound;  // per hop, e[].bound: cell boundaries crossed
    QuorixKmcActivity activity;  // which hops are active
    QuorixRateTree tree;
    std::vector<std::uint32_t> new_rates;  // hops whose rate the last update changed (room for all)
    std::size_t new_rate_count = 0;
    QuorixKmcUndo::Next last_update = QuorixKmcUndo::Next::nothing;  // what the last update did
    QuorixBoltzmannMemo boltzmann;
    QuorixKmcUndo undo;
    std::vector<long> where;    // current site of the ion that started at each site; -1 if none
    std::vector<double> since;  // clock at which each occupied site was last taken
    double clock = 0.0;         // production time over all runs, ps
    long ions = 0;              // ions placed by the last reset
    bool linear_scan = false;   // choose hops by the plain scan (benchmark reference)
    std::string elements_name;  // trajectory with element symbols, when asked for
    FILE* xyz_elements = nullptr;
    // The logs appear under their names only when the run is complete (kmc->log, kmc->xyz and
    // xyz_elements write into them).
    QuorixResultFile log_file, xyz_file, elements_file;
};

struct QUORIX_KMC;

// True when the record can run; otherwise prints why.
bool quorix_kmc_usable(const QUORIX_KMC* kmc);
// Net displacement (A) of the ion that started the production run at site `origin`.
void quorix_kmc_displacement(const QUORIX_KMC* kmc, long origin, double d[3]);
