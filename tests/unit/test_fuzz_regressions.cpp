// Replays the inputs that once crashed a fuzz target through the same entry points.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "quorix-fuzz-entry.hpp"

namespace fs = std::filesystem;

TEST(FuzzRegressions, SavedInputsRunCleanly) {
    quorix_fuzz::set_up(QUORIX_DATA_DIR, QUORIX_TEST_DATA "/LiCl_COD1011314.cif");
    int replayed = 0;
    for (const fs::directory_entry& dir : fs::directory_iterator(QUORIX_FUZZ_DIR "/regressions")) {
        const quorix_fuzz::Entry entry = quorix_fuzz::find(dir.path().filename().string());
        ASSERT_NE(entry, nullptr) << dir.path();
        for (const fs::directory_entry& file : fs::directory_iterator(dir.path())) {
            std::ifstream in(file.path(), std::ios::binary);
            const std::string bytes{std::istreambuf_iterator<char>(in), {}};
            SCOPED_TRACE(file.path().string());
            entry(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
            replayed++;
        }
    }
    EXPECT_GT(replayed, 0);
}
