// GULP export: run settings and their base name, the library text and the input text.
#include <gtest/gtest.h>

#include <string>

#include "quorix-gin.hpp"
#include "quorix-import-property.hpp"
#include "support.hpp"

namespace {


// Li+, Fe2+ and O2- with round numbers; only the two cation-first pairs with O2- have a cutoff.
PropertyPtr hand_set() {
    PropertyPtr ppt(quorix_property_new(0));
    quorix_property_append_index(ppt.get(), "Li", 1);
    quorix_property_append_index(ppt.get(), "Fe", 2);
    quorix_property_append_index(ppt.get(), "O", -2);
    const double q[3] = {0.8, 1.2, -1.0}, rc[3] = {1.0, 1.2, 1.4};
    for (int k = 0; k < 3; k++) {
        ppt->uni[k].q = q[k];
        ppt->uni[k].rc = rc[k];
    }
    const auto morse = [](QUORIX_PROPERTY_BINARY& p, double b, double d0, double rmin) {
        p.b = b;
        p.d0 = d0;
        p.rmin = rmin;
        p.cutoff = 5.5;
    };
    morse(ppt->bin[0][2], 0.5, 0.1, 2.0);
    morse(ppt->bin[1][2], 0.25, 0.2, 2.1);
    ppt->sf = 0.7;
    return ppt;
}

const std::string kHandLibrary =
    "# quorix forcefield generated for MD using GULP\r\n"
    "# Turn off Ewald sum and charged interactions\r\n"
    "keyword noelectrostatics\r\n"
    "species\r\n"
    "Li1+ core  0.80000000\r\n"
    "Fe2+ core  1.20000000\r\n"
    " O2- core -1.00000000\r\n"
    "morse    ener\r\n"
    "Li1+ core  O2- core  1.439964  2.000000  2.000000  0.000000  0.000000 10.000000\r\n"
    "Fe2+ core  O2- core  2.879928  4.000000  2.100000  0.000000  0.000000 10.000000\r\n"
    "qerfc    ener\r\n"
    "# fractional radius = 0.700000\r\n"
    "Li1+ core Li1+ core  1.400000 10.000000\r\n"
    "Li1+ core Fe2+ core  1.540000 10.000000\r\n"
    "Fe2+ core Fe2+ core  1.680000 10.000000\r\n"
    " O2- core  O2- core  1.960000 10.000000\r\n";

}  // namespace

TEST(GinLibrary, MorsePerCationAnionPairAndQerfcPerLikePair) {
    const PropertyPtr ppt = hand_set();
    const TextPtr text(quorix_gin_lib_import_from_property(ppt.get()));
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(text->content, kHandLibrary);

}
