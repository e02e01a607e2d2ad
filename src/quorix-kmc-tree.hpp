// Tree of partial rate sums: picks the first hop whose running sum of rates reaches a target in
// O(log E), the same hop as a scan in index order, and takes single-rate changes in O(log E).
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

// Each node holds the sum of eight children, so a tree over thousands of hops has four or five
// levels and a node's children lie side by side (64 bytes); sums are always recomputed from the
// children (never updated by differences), so they do not drift.
class QuorixRateTree {
public:
    static constexpr std::size_t kFanOut = 8;

    explicit QuorixRateTree(long count = 0) { resize(count); }

    void resize(long count) {
        journal(false);
        level_.clear();
        std::size_t size = count > 0 ? static_cast<std::size_t>(count) : 1;
        do {
            level_.push_back(std::vector<double>(padded(size), 0.0));
            size = (size + kFanOut - 1) / kFanOut;
        } while (size > 1);
        level_.push_back(std::vector<double>(1, 0.0));
        pending_.assign(level_.size(), kNone);
        nodes_.assign(level_[0].size(), 0);
    }

    // Sets the rate of one leaf; only positive rates take part in the sums. The sums above it
    // follow by the next flush(). Each level keeps one node pending: it is summed when another
    // node takes its place, and a node summed makes its parent pending, so every node above a
    // changed leaf is summed again after its children, in any order of the leaves. Leaves set in
    // increasing order share the work on their common ancestors.
    void set(long index, double rate) {
        const std::size_t leaf = static_cast<std::size_t>(index);
        level_[0][leaf] = rate > 0.0 ? rate : 0.0;
        pend(1, leaf / kFanOut);
    }

    void flush() {
        for (std::size_t k = 1; k < level_.size(); k++) close(k);
    }

    // The leaves, for a caller that writes many rates (each positive or 0) and then passes their
    // indices to settle(), in increasing order for the least work.
    double* leaves() { return level_[0].data(); }

    // Brings the sums up to date with the leaves written through leaves().
    void settle(const std::uint32_t* first, const std::uint32_t* last) {
        flush();
        // The nodes to sum at each level, from the level below's, without branches on whether
        // neighbours share a parent (which no predictor can guess).
        const auto changed = static_cast<std::size_t>(last - first);
        if (nodes_.size() < changed) nodes_.resize(changed);  // only with leaves given more than once
        std::size_t count = 0, previous = kNone;
        for (; first != last; first++) {
            const std::size_t node = *first / kFanOut;
            nodes_[count] = node;
            count += node != previous;
            previous = node;
        }
        // Each level takes its journal room at once and sums in place (sum() per node, with
        // its room taken node by node, makes the simulation 7 % slower).
        for (std::size_t k = 1; k < level_.size(); k++) {
            double* sums = level_[k].data();
            const double* below = level_[k - 1].data();
            Kept* kept = nullptr;
            if (journaling_) kept = journal_room(count);
            std::size_t parents = 0;
            previous = kNone;
            for (std::size_t i = 0; i < count; i++) {
                const std::size_t node = nodes_[i];
                if (kept) kept[i] = {&sums[node], sums[node]};
                sums[node] = block_sum(&below[node * kFanOut]);
                nodes_[parents] = node / kFanOut;
                parents += node / kFanOut != previous;
                previous = node / kFanOut;
            }
            count = parents;
        }
    }

    // From now on keeps the old value of every sum that flush() and settle() overwrite (or stops
    // keeping them), forgetting those kept before. Leaves are the caller's to keep.
    void journal(bool on) {
        journaling_ = on;
        kept_ = 0;
        undone_ = false;
    }

    // Puts back the sums kept since journal(true), newest first, so that with the leaves put back
    // the tree is exactly as it was then; called again, redoes them, oldest first.
    void undo() {
        if (undone_) {
            for (std::size_t i = 0; i < kept_; i++) std::swap(*journal_[i].node, journal_[i].value);
        } else {
            for (std::size_t i = kept_; i-- > 0;) std::swap(*journal_[i].node, journal_[i].value);
        }
        undone_ = !undone_;
    }

    double rate(long index) const { return level_[0][static_cast<std::size_t>(index)]; }
    double total() const { return level_.back()[0]; }  // after flush()

    // The first leaf with a positive rate whose running sum reaches target; -1 when all are zero.
    // A block's children after its last positive one are never entered, so rounding near the
    // total cannot end on a zero leaf.
    long select(double target) const {
        if (!(total() > 0.0)) return -1;
        std::size_t node = 0;
        for (std::size_t k = level_.size() - 1; k-- > 0;) {
            const double* child = &level_[k][node * kFanOut];
            std::size_t last = kFanOut - 1;
            while (last > 0 && !(child[last] > 0.0)) last--;
            std::size_t j = 0;
            for (; j < last; j++) {
                if (child[j] > 0.0 && target <= child[j]) break;
                target -= child[j];
            }
            node = node * kFanOut + j;
        }
        return static_cast<long>(node);
    }

private:
    static std::size_t padded(std::size_t size) { return (size + kFanOut - 1) / kFanOut * kFanOut; }

    static double block_sum(const double* c) {
        return ((c[0] + c[1]) + (c[2] + c[3])) + ((c[4] + c[5]) + (c[6] + c[7]));
    }

    // Makes node pending at level k; the node it replaces is summed, and its parent made pending
    // in the same way, level by level.
    void pend(std::size_t k, std::size_t node) {
        while (pending_[k] != node) {
            const std::size_t replaced = std::exchange(pending_[k], node);
            if (replaced == kNone) return;
            sum(k, replaced);
            if (++k == level_.size()) return;
            node = replaced / kFanOut;
        }
    }

    void close(std::size_t k) {
        const std::size_t node = std::exchange(pending_[k], kNone);
        if (node == kNone) return;
        sum(k, node);
        if (k + 1 < level_.size()) pend(k + 1, node / kFanOut);
    }

    void sum(std::size_t k, std::size_t node) {
        keep(k, node);
        level_[k][node] = block_sum(&level_[k - 1][node * kFanOut]);
    }

    void keep(std::size_t k, std::size_t node) {
        if (journaling_) *journal_room(1) = {&level_[k][node], level_[k][node]};
    }

    static constexpr std::size_t kNone = ~std::size_t{0};

    struct Kept {
        double* node;  // into level_, which only resize() reallocates (and it forgets the journal)
        double value;
    };
    // Room for `count` more entries of the journal, kept from one journal to the next (its
    // entries are written, never initialised).
    Kept* journal_room(std::size_t count) {
        if (kept_ + count > journal_.size()) journal_.resize(std::max(2 * journal_.size(), kept_ + count));
        kept_ += count;
        return journal_.data() + kept_ - count;
    }

    std::vector<Kept> journal_;  // the first kept_ entries are the journal
    std::size_t kept_ = 0;
    bool journaling_ = false;
    bool undone_ = false;

    std::vector<std::vector<double>> level_;  // level_[0]: the leaves; the last level: the total
    std::vector<std::size_t> pending_;        // per level: the node whose sum is due, or kNone
    std::vector<std::size_t> nodes_;          // settle(): the nodes of one level to sum
};
