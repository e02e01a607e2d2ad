// The parameter databases: every pair of the per-pair file is cation first, unique, and names two
// species of the species file that carry what the force field needs.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "support.hpp"

namespace {

// The rows between DATA_START and DATA_END.
std::vector<std::string> data_lines(const std::string& path) {
    std::istringstream in(quorix_test::read_file(path));
    std::vector<std::string> data;
    bool inside = false;
    for (std::string line; std::getline(in, line);) {
        if (line.find(inside ? "DATA_END" : "DATA_START") != std::string::npos) {
            if (inside) break;
            inside = true;
        } else if (inside) {
            data.push_back(line);
        }
    }
    return data;
}

struct Species {
    int an = 0, os = 0, default_os = 0, n = 0, group = 0, block = 0;
    std::string symbol;
    double mass = 0, rc = 0, soft = 0;
};

}  // namespace

TEST(Databases, PairsAreCationFirstUniqueAndComplete) {
    std::map<std::pair<std::string, int>, Species> species;
    for (const std::string& line : data_lines(quorix_test::unitary_db())) {
        Species s;
        std::istringstream(line) >> s.an >> s.symbol >> s.os >> s.default_os >> s.mass >> s.n >> s.group >> s.block >>
            s.rc >> s.soft;
        species.emplace(std::make_pair(s.symbol, s.os), s);
    }
    std::set<std::tuple<std::string, int, std::string, int>> keys;
    for (const std::string& line : data_lines(quorix_test::binary_db())) {
        std::string cation, anion;
        int cation_os = 0, anion_os = 0;
        double r0 = 0, b = 0, cn = 0, cutoff = 0;
        std::istringstream(line) >> cation >> cation_os >> anion >> anion_os >> r0 >> b >> cn >> cutoff;
        EXPECT_TRUE(keys.emplace(cation, cation_os, anion, anion_os).second) << "duplicate " << line;
        EXPECT_GT(cation_os, 0) << line;
        EXPECT_LT(anion_os, 0) << line;
        EXPECT_TRUE(r0 > 0 && b > 0 && cn > 0 && cutoff > 0.3) << line;
        for (const auto& key : {std::make_pair(cation, cation_os), std::make_pair(anion, anion_os)}) {
            ASSERT_TRUE(species.count(key)) << line << ": " << key.first << " not in the species file";
            const Species& s = species.at(key);
            EXPECT_TRUE(s.mass > 0 && s.rc > 0 && s.block >= 0 && s.block <= 3) << line;
            // A placeholder softness would make the Morse depth meaningless; hydrogen has none.
            const bool hydrogen = s.symbol == "H" || s.symbol == "Hx" || s.symbol == "D";
            EXPECT_TRUE(hydrogen || (s.soft > 0 && s.soft < 0.9)) << line;
        }
    }
    EXPECT_GT(keys.size(), 100u);
}
