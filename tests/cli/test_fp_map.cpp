// --fp-map on a header-less cube of a chain of two sites: the markers written and the cap.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <sstream>
#include <string>

#include "support.hpp"

using quorix_test::run_quorix;
using quorix_test::ScratchDir;

namespace {

// Header-less cube of a chain of two sites along a (minima at i = 0 and 4 of 8), with voxels of
// 0.5 A and a single point along c. Along b each site only meets its own image.
std::string chain_cube() {
    std::ostringstream text;
    text << "noname\r\n\r\n   0    0.000000    0.000000    0.000000\r\n";
    const char* axes[3] = {"   8    0.944863    0.000000    0.000000\r\n", "   8    0.000000    0.944863    0.000000\r\n",
                           "   1    0.000000    0.000000    0.944863\r\n"};
    for (const char* axis : axes) text << axis;
    const double two_pi = 6.283185307179586;
    for (int i = 0; i < 8; i++)
        for (int j = 0; j < 8; j++) {
            const double en = -std::cos(two_pi * 2 * i / 8) - 0.2 * std::cos(two_pi * i / 8) -
                              3.0 * std::cos(two_pi * j / 8);
            char line[64];
            std::snprintf(line, sizeof line, " %12.6f\r\n", en);
            text << line;
        }
    return text.str();
}

// Number of atom-site lines per label in a written CIF.
std::map<std::string, int> markers(const std::string& cif) {
    std::map<std::string, int> count;
    std::istringstream lines(cif);
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        std::string label, type;
        if (words >> label >> type && type.back() == '+' && line.rfind("  ", 0) == 0) count[label]++;
    }
    return count;
}

}  // namespace

TEST(FpMap, WritesMinimaSaddlesAndPathsThatTheReaderReadsBack) {
    ScratchDir dir;
    dir.write("chain.cube", chain_cube());
    const auto all = run_quorix({"--fp-map", "chain.cube"}, dir.path());
    EXPECT_EQ(all.status, 0);
    EXPECT_EQ(all.err, "");
    EXPECT_NE(all.out.find("Message: QUORIX_FPCUBE successfully generated containing 8 paths.\n"), std::string::npos);
    const std::string cif = quorix_test::read_file(dir.path() / "chain.cube.fp.cif");
    // Two sites, four saddles (two between the sites, two between a site and its image along b)
    // and every slope point on the eight half-paths.
    EXPECT_EQ(markers(cif), (std::map<std::string, int>{{"MIN", 2}, {"PAT", 16}, {"SAD1", 4}}));

    const auto read = quorix_test::read_cif((dir.path() / "chain.cube.fp.cif").string()).cell;
    ASSERT_TRUE(read);
    EXPECT_EQ(read->total, 22);
    EXPECT_NEAR(read->parameter[0], 4.0, 1e-3);

    // Only the hops of 1.8 eV from the shallower site survive a cap of 2 eV.
    const auto capped = run_quorix({"--fp-map", "chain.cube", "2.0", "t", "capped.cif"}, dir.path());
    EXPECT_EQ(capped.err, "");
    EXPECT_NE(capped.out.find("Message: totally 2 paths with barrier lower than 2.000000.\n"), std::string::npos);
    EXPECT_EQ(markers(quorix_test::read_file(dir.path() / "capped.cif")),
              (std::map<std::string, int>{{"MIN", 2}, {"PAT", 2}, {"SAD1", 4}}));

    const auto missing = run_quorix({"--fp-map", "absent.cube"}, dir.path());
    EXPECT_EQ(missing.status, 0);
    EXPECT_FALSE(std::filesystem::exists(dir.path() / "absent.cube.fp.cif"));
}
