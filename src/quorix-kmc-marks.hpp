// Hops waiting to be re-rated after a hop, kept as bits: a site marks the hops its occupation
// enters word by word, and the marked hops come out in index order, each once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// Sixty-four consecutive hops (word * 64 + bit) and which of them a list holds.
struct QuorixKmcHopWord {
    std::uint32_t word;
    std::uint64_t bits;
};

// Appends the words of a sorted list of hops to `out`, which may end with another list's words.
inline void quorix_kmc_hop_words(const std::vector<std::uint32_t>& hops, std::vector<QuorixKmcHopWord>& out) {
    const std::size_t before = out.size();
    for (const std::uint32_t m : hops) {
        const std::uint32_t word = m >> 6;
        if (out.size() == before || out.back().word != word) out.push_back({word, 0});
        out.back().bits |= std::uint64_t{1} << (m & 63);
    }
}

class QuorixKmcMarks {
public:
    void resize(std::size_t hops) {
        const std::size_t words = (hops + 63) / 64;
        active_.assign(words, 0);
        near_.assign(words, 0);
        own_.assign(words, 0);
        touched_.assign((words + 63) / 64, 0);
        hops_ = hops;
    }

    void set_active(std::uint32_t m, bool active) {
        const std::uint64_t bit = std::uint64_t{1} << (m & 63);
        active_[m >> 6] = active ? active_[m >> 6] | bit : active_[m >> 6] & ~bit;
    }

    // Hops whose barrier an occupation change enters: only the active ones need a new rate.
    void mark_near(const QuorixKmcHopWord* first, const QuorixKmcHopWord* last) {
        for (; first != last; first++) {
            near_[first->word] |= first->bits;
            touch(first->word);
        }
    }

    // A hop whose ends changed: re-rated whether active or not, as it may have stopped being so.
    void mark_own(std::uint32_t m) {
        own_[m >> 6] |= std::uint64_t{1} << (m & 63);
        touch(m >> 6);
    }

    void mark_all() {
        for (std::uint32_t m = 0; m < hops_; m++) mark_own(m);
    }

    // Calls visit(m, active) for every marked hop that needs a rate, in increasing order, and clears the marks.
    template <class Visit>
    void drain(Visit visit) {
        for (std::size_t t = 0; t < touched_.size(); t++) {
            for (std::uint64_t words = touched_[t]; words != 0; words &= words - 1) {
                const std::size_t w = t * 64 + static_cast<std::size_t>(__builtin_ctzll(words));
                const std::uint64_t active = active_[w];
                std::uint64_t due = (near_[w] & active) | own_[w];
                near_[w] = own_[w] = 0;
                for (; due != 0; due &= due - 1) {
                    const unsigned bit = static_cast<unsigned>(__builtin_ctzll(due));
                    visit(static_cast<std::uint32_t>(w * 64 + bit), ((active >> bit) & 1) != 0);
                }
            }
            touched_[t] = 0;
        }
    }

private:
    void touch(std::size_t word) { touched_[word >> 6] |= std::uint64_t{1} << (word & 63); }

    std::vector<std::uint64_t> active_;   // from an occupied to an empty site
    std::vector<std::uint64_t> near_;     // marked by an occupation change around them
    std::vector<std::uint64_t> own_;      // marked by a change at one of their ends
    std::vector<std::uint64_t> touched_;  // per word of marks: whether any is set
    std::size_t hops_ = 0;
};
