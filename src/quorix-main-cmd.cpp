// Entry point of quorix.x: hands the command line to the front end. A run that outgrows the memory
// (a huge supercell, cutoff or grid) ends with one error line; its unfinished result files are
// discarded as the stack unwinds.
#include <cstdio>
#include <new>

#include "quorix-cmd.hpp"

int main(int argc, char** argv) {
    try {
        return quorix_cmd_start(argc, argv);
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "Error: out of memory.\n");
        return 1;
    }
}
