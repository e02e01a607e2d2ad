// Operation texts of the standards-based import: every tabulated space-group setting is written
// in a form the operation parser reads back to the same group.
#include <gtest/gtest.h>

#include <gemmi/symmetry.hpp>

#include <cmath>

#include "quorix-import-group.hpp"
#include "quorix-import-spglib.hpp"

namespace {

QUORIX_STD_GROUP group_of(const gemmi::GroupOps& operations) {
    QUORIX_STD_GROUP group;
    for (const gemmi::Op& op : operations) {
        std::array<std::array<int, 3>, 3> r;
        std::array<double, 3> t;
        for (int i = 0; i < 3; i++) {
            for (int j = 0; j < 3; j++) r[i][j] = op.rot[i][j] / gemmi::Op::DEN;
            t[i] = static_cast<double>(op.tran[i]) / gemmi::Op::DEN;
        }
        group.rotations.push_back(r);
        group.translations.push_back(t);
    }
    return group;
}

TEST(StdOperations, EveryTabulatedSettingReadsBackAsItsGroup) {
    for (const gemmi::SpaceGroup& setting : gemmi::spacegroup_tables::main) {
        const QUORIX_STD_GROUP group = group_of(setting.operations());
        const SymmetryPtr symmetry(quorix_std_group_to_symmetry(&group));
        ASSERT_NE(symmetry, nullptr) << setting.hm << " " << setting.ext;
        EXPECT_EQ(symmetry->total, static_cast<int>(group.rotations.size()));
        EXPECT_TRUE(quorix_symmetry_is_group(symmetry.get())) << setting.hm;
    }
}

// An origin away from every symmetry element gives translations that are no small fractions.
TEST(StdOperations, DecimalTranslationsOfAShiftedOrigin) {
    QUORIX_STD_GROUP group = group_of(gemmi::find_spacegroup_by_name("P 3 2 1")->operations());
    for (auto& t : group.translations)
        for (int i = 0; i < 3; i++) t[i] += 0.1234 * (i + 1);
    const SymmetryPtr symmetry(quorix_std_group_to_symmetry(&group));
    ASSERT_NE(symmetry, nullptr);
    for (int k = 0; k < symmetry->total; k++)
        for (int i = 0; i < 3; i++) {
            const double d = symmetry->card[k].t_f[i] - group.translations[k][i];
            EXPECT_NEAR(d - std::round(d), 0.0, 1e-4) << symmetry->card[k].text;
        }
}

}  // namespace
