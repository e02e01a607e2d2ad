// The parameter databases as the program reads them: same line buffer, same
// frame (DATA_START / DATA_END) and the same scanf formats as the readers.
#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "support.hpp"

namespace {

constexpr int kLineBuffer = 1024;

// Every line of `path` as fgets with the readers' buffer returns it.
std::vector<std::string> buffered_lines(const std::string& path) {
    std::vector<std::string> lines;
    FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) return lines;
    char buffer[kLineBuffer];
    while (std::fgets(buffer, sizeof buffer, file)) lines.emplace_back(buffer);
    std::fclose(file);
    return lines;
}

std::vector<std::string> data_lines(const std::string& path) {
    std::vector<std::string> data;
    bool inside = false;
    for (const std::string& line : buffered_lines(path)) {
        if (!inside) {
            inside = line.find("DATA_START") != std::string::npos;
            continue;
        }
        if (line.find("DATA_END") != std::string::npos) break;
        data.push_back(line);
    }
    return data;
}

struct Species {
    std::string symbol;
    int os = 0, default_os = 0, an = 0, n = 0, group = 0, block = 0;
    double mass = 0, rc = 0, soft = 0;
};

std::vector<Species> read_species() {
    std::vector<Species> species;
    for (const std::string& line : data_lines(quorix_test::unitary_db())) {
        Species s;
        char symbol[kLineBuffer];
        EXPECT_EQ(std::sscanf(line.c_str(), "%*d %s %d", symbol, &s.os), 2) << line;
        EXPECT_EQ(std::sscanf(line.c_str(), "%d %s %*d %d", &s.an, symbol, &s.default_os), 3) << line;
        EXPECT_EQ(std::sscanf(line.c_str(), "%d %*s %*d %*d %lf %d %d %d %lf %lf", &s.an, &s.mass,
                              &s.n, &s.group, &s.block, &s.rc, &s.soft), 7) << line;
        s.symbol = symbol;
        species.push_back(s);
    }
    return species;
}

struct Pair {
    std::string cation, anion;
    int cation_os = 0, anion_os = 0;
    double r0 = 0, b = 0, cn = 0, cutoff = 0;
};

std::vector<Pair> read_pairs() {
    std::vector<Pair> pairs;
    for (const std::string& line : data_lines(quorix_test::binary_db())) {
        Pair p;
        char cation[kLineBuffer], anion[kLineBuffer];
        EXPECT_EQ(std::sscanf(line.c_str(), "%s %d %s %d", cation, &p.cation_os, anion, &p.anion_os), 4)
            << line;
        EXPECT_EQ(std::sscanf(line.c_str(), "%*s %*d %*s %*d %lf %lf %lf %lf", &p.r0, &p.b, &p.cn,
                              &p.cutoff), 4) << line;
        p.cation = cation;
        p.anion = anion;
        pairs.push_back(p);
    }
    return pairs;
}

// First line per symbol, as the default-state lookup finds it.
std::map<std::string, Species> first_by_symbol(const std::vector<Species>& species) {
    std::map<std::string, Species> first;
    for (const Species& s : species) first.emplace(s.symbol, s);
    return first;
}

bool is_hydrogen(const std::string& symbol) { return symbol == "H" || symbol == "Hx" || symbol == "D"; }

}  // namespace

TEST(Databases, DefaultStateLineComesFirstAndColumnFourAgrees) {
    const std::vector<Species> species = read_species();
    const std::map<std::string, Species> first = first_by_symbol(species);
    for (const auto& [symbol, line] : first) EXPECT_EQ(line.os, line.default_os) << symbol;
    for (const Species& s : species) EXPECT_EQ(s.default_os, first.at(s.symbol).default_os) << s.symbol;

    for (const char* anion : {"O", "S", "Se", "Te", "N", "F", "Cl", "Br", "I"}) {
        ASSERT_TRUE(first.count(anion)) << anion;
        EXPECT_LT(first.at(anion).default_os, 0) << anion;
    }
    EXPECT_EQ(first.at("Se").default_os, -2);
    EXPECT_EQ(first.at("N").default_os, -3);
}

TEST(Databases, PairsAreCationFirstUniqueAndComplete) {
    const std::vector<Species> species = read_species();
    std::map<std::pair<std::string, int>, Species> by_key;
    for (const Species& s : species) by_key.emplace(std::make_pair(s.symbol, s.os), s);

    std::set<std::tuple<std::string, int, std::string, int>> keys;
    for (const Pair& p : read_pairs()) {
        const std::string name = p.cation + std::to_string(p.cation_os) + "-" + p.anion;
        EXPECT_TRUE(keys.emplace(p.cation, p.cation_os, p.anion, p.anion_os).second) << "duplicate " << name;
        EXPECT_GT(p.cation_os, 0) << name;
        EXPECT_LT(p.anion_os, 0) << name;
        ASSERT_TRUE(by_key.count({p.cation, p.cation_os})) << name << ": cation not in the species file";
        ASSERT_TRUE(by_key.count({p.anion, p.anion_os})) << name << ": anion not in the species file";
        EXPECT_GT(p.r0, 0) << name;
        EXPECT_GT(p.b, 0) << name;
        EXPECT_GT(p.cn, 0) << name;
        EXPECT_GT(p.cutoff, 0.3) << name;

        // What the force field needs of both species before it trusts energies.
        for (const Species& s : {by_key.at({p.cation, p.cation_os}), by_key.at({p.anion, p.anion_os})}) {
            EXPECT_GT(s.mass, 0) << s.symbol << s.os;
            EXPECT_GT(s.rc, 0) << s.symbol << s.os;
            if (!is_hydrogen(s.symbol)) {
                EXPECT_GT(s.soft, 0) << s.symbol << s.os;
                EXPECT_LT(s.soft, 0.9) << s.symbol << s.os << ": placeholder softness";
            }
            EXPECT_TRUE(s.block >= 0 && s.block <= 3) << s.symbol << s.os;
        }
    }
}
