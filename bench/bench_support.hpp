// Helpers shared by the benchmarks: standard output silenced for a while, timing, grid sizes
// from the command line and peak memory.
#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace bench {

// Sends standard output (the program's progress messages) to /dev/null while it lives.
class QuietStdout {
public:
    QuietStdout() : saved_(dup(STDOUT_FILENO)) {
        std::fflush(stdout);
        const int null = open("/dev/null", O_WRONLY);
        if (null < 0) return;
        dup2(null, STDOUT_FILENO);
        close(null);
    }
    ~QuietStdout() {
        std::fflush(stdout);
        if (saved_ < 0) return;
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
    }
    QuietStdout(const QuietStdout&) = delete;
    QuietStdout& operator=(const QuietStdout&) = delete;

private:
    int saved_;
};

using Clock = std::chrono::steady_clock;

inline double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Grid points per axis given as arguments, else the defaults.
inline std::vector<long> grid_sizes(int argc, char** argv, std::vector<long> defaults) {
    std::vector<long> sizes;
    for (int i = 1; i < argc; i++) sizes.push_back(std::atol(argv[i]));
    return sizes.empty() ? defaults : sizes;
}

// Peak resident memory of this process so far, MiB.
inline double peak_megabytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

}  // namespace bench
