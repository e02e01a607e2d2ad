// Work shared among threads: how many to use, and running the parts of a job on them.
#include "quorix-threads.hpp"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <thread>
#include <vector>

unsigned quorix_thread_count() {
    constexpr unsigned kMostThreads = 256;
    if (const char* text = std::getenv("QUORIX_THREADS")) {
        char* end = nullptr;
        const long value = std::strtol(text, &end, 10);
        if (end != text && *end == '\0' && value > 0) return static_cast<unsigned>(std::min<long>(value, kMostThreads));
    }
    return std::clamp(std::thread::hardware_concurrency(), 1U, kMostThreads);
}

unsigned quorix_part_count(long work, long per_part, long most) {
    const long wanted = work / std::max(per_part, 1L);
    if (wanted < 2 || most < 2) return 1;  // spares the count of threads
    return static_cast<unsigned>(std::min({wanted, most, static_cast<long>(quorix_thread_count())}));
}

// An exception may not leave a thread, and the threads must be joined before one leaves the
// caller: each part's exception is kept and the first rethrown once all parts are done.
void quorix_run_parts(unsigned parts, const std::function<void(unsigned)>& part) {
    std::vector<std::exception_ptr> failure(parts);
    auto run = [&](unsigned p) {
        try {
            part(p);
        } catch (...) {
            failure[p] = std::current_exception();
        }
    };
    // Room for every part before the first thread starts: growing a list later could throw with
    // threads running, which would end the process.
    std::vector<std::thread> started;
    std::vector<unsigned> here;
    started.reserve(parts);
    here.reserve(parts);
    here.push_back(0);
    for (unsigned p = 1; p < parts; p++) {
        try {
            started.emplace_back(run, p);
        } catch (...) {  // no thread (std::system_error) or no memory for its state
            here.push_back(p);
        }
    }
    for (const unsigned p : here) run(p);
    for (std::thread& thread : started) thread.join();
    for (const std::exception_ptr& e : failure)
        if (e) std::rethrow_exception(e);
}
