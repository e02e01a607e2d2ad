// libFuzzer driver of one target, chosen at build time by QUORIX_FUZZ_TARGET.
#include <cstddef>
#include <cstdint>

#include "quorix-fuzz-entry.hpp"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    quorix_fuzz::set_up(QUORIX_FUZZ_DATA_DIR, QUORIX_FUZZ_STRUCTURE);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    quorix_fuzz::QUORIX_FUZZ_TARGET(data, size);
    return 0;
}
