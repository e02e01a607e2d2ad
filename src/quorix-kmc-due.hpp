// Hops due for a new rate after a hop, kept as words of bits: which hops are active, and for each
// pair of sites the hops whose rates an ion moving between them may change.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

// Sixty-four consecutive hops (word * 64 + bit): those whose barrier a move enters (`near`, due
// only while active) and those with an end at a site it changes (`own`, due in any case, as
// their activity may change).
struct QuorixKmcDueWord {
    std::uint32_t word;
    std::uint64_t near = 0;
    std::uint64_t own = 0;
};

// Appends to `out` the words of `words` in increasing order, each once with the bits of all
// its entries.
inline void quorix_kmc_merge_words(std::vector<QuorixKmcDueWord> words, std::vector<QuorixKmcDueWord>& out) {
    std::sort(words.begin(), words.end(), [](const auto& a, const auto& b) { return a.word < b.word; });
    const std::size_t before = out.size();
    for (const QuorixKmcDueWord& w : words) {
        if (out.size() == before || out.back().word != w.word) {
            out.push_back(w);
        } else {
            out.back().near |= w.near;
            out.back().own |= w.own;
        }
    }
}

// The words of a list of hops, as `near` or `own` bits.
inline std::vector<QuorixKmcDueWord> quorix_kmc_hop_words(std::span<const std::uint32_t> hops, bool own) {
    std::vector<QuorixKmcDueWord> words;
    for (const std::uint32_t m : hops) {
        const std::uint64_t bit = std::uint64_t{1} << (m & 63);
        words.push_back({m >> 6, own ? 0 : bit, own ? bit : 0});
    }
    return words;
}

// Which hops are active (from an occupied to an empty site), and the walks over the hops due.
class QuorixKmcActivity {
public:
    void resize(std::size_t hops) {
        active_.assign((hops + 63) / 64, 0);
        hops_ = hops;
    }

    void set(std::uint32_t m, bool active) {
        const std::uint64_t bit = std::uint64_t{1} << (m & 63);
        active_[m >> 6] = active ? active_[m >> 6] | bit : active_[m >> 6] & ~bit;
    }

    // Calls visit(m, active) for every hop of the words that is due, in increasing order.
    template <class Visit>
    void visit_due(const QuorixKmcDueWord* first, const QuorixKmcDueWord* last, Visit visit) const {
        for (; first != last; first++) {
            const std::uint64_t active = active_[first->word];
            for (std::uint64_t due = (first->near & active) | first->own; due != 0; due &= due - 1) {
                const unsigned bit = static_cast<unsigned>(__builtin_ctzll(due));
                visit(first->word * 64 + bit, ((active >> bit) & 1) != 0);
            }
        }
    }

    // Calls visit(m, active) for every hop, in increasing order.
    template <class Visit>
    void visit_all(Visit visit) const {
        for (std::uint32_t m = 0; m < hops_; m++) visit(m, ((active_[m >> 6] >> (m & 63)) & 1) != 0);
    }

private:
    std::vector<std::uint64_t> active_;  // from an occupied to an empty site
    std::size_t hops_ = 0;
};
