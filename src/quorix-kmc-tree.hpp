// Tree of partial rate sums: picks the first hop whose running sum of rates reaches a target in
// O(log E), the same hop as a scan in index order, and takes single-rate changes in O(log E).
#pragma once

#include <cstddef>
#include <vector>

class QuorixRateTree {
public:
    explicit QuorixRateTree(long count = 0) { resize(count); }

    void resize(long count) {
        leaves_ = 1;
        while (leaves_ < count) leaves_ *= 2;
        sum_.assign(2 * static_cast<std::size_t>(leaves_), 0.0);
        dirty_mark_.assign(static_cast<std::size_t>(leaves_), 0);
        dirty_.clear();
    }

    // Sets the rate of one leaf; only positive rates take part in the sums. The sums above it
    // follow at the next flush(), once for all leaves set since, so leaves set together share the
    // work on their common ancestors.
    void set(long index, double rate) {
        const std::size_t node = static_cast<std::size_t>(leaves_ + index);
        sum_[node] = rate > 0.0 ? rate : 0.0;
        if (!dirty_mark_[node / 2]) {
            dirty_mark_[node / 2] = 1;
            dirty_.push_back(node / 2);
        }
    }

    void flush() {
        while (!dirty_.empty()) {
            next_.clear();
            for (const std::size_t node : dirty_) {
                dirty_mark_[node] = 0;
                sum_[node] = sum_[2 * node] + sum_[2 * node + 1];
                if (node > 1 && !dirty_mark_[node / 2]) {
                    dirty_mark_[node / 2] = 1;
                    next_.push_back(node / 2);
                }
            }
            dirty_.swap(next_);
        }
    }

    double rate(long index) const { return sum_[static_cast<std::size_t>(leaves_ + index)]; }
    double total() const { return sum_[1]; }  // after flush()

    // The first leaf with a positive rate whose running sum reaches target; -1 when all are zero.
    // A subtree with no positive rate is never entered, so rounding near the total cannot
    // end on a zero leaf.
    long select(double target) const {
        if (!(sum_[1] > 0.0)) return -1;
        std::size_t node = 1;
        while (node < static_cast<std::size_t>(leaves_)) {
            const double left = sum_[2 * node];
            const bool go_left = left > 0.0 && (target <= left || !(sum_[2 * node + 1] > 0.0));
            if (go_left) {
                node = 2 * node;
            } else {
                target -= left;
                node = 2 * node + 1;
            }
        }
        return static_cast<long>(node) - leaves_;
    }

private:
    long leaves_ = 1;
    std::vector<double> sum_;
    std::vector<unsigned char> dirty_mark_;  // per inner node: waiting in dirty_
    std::vector<std::size_t> dirty_, next_;
};
