// Pair terms between the species of a parameter set.
#include "quorix-rx-pair-term.hpp"

#include "quorix-rx.hpp"

QuorixPairTerm quorix_pair_term(const QUORIX_PROPERTY* ppt, int a, int b, QuorixPairModel model) {
    const bool lattice = model == QuorixPairModel::lattice;
    const long charge_sign = static_cast<long>(ppt->os[a]) * ppt->os[b];
    QuorixPairTerm term{};
    term.interacts = charge_sign != 0;
    term.coulomb = charge_sign > 0;
    term.qq = ppt->uni[a].q * ppt->uni[b].q;
    term.sigma = ppt->sf * (ppt->uni[a].rc + ppt->uni[b].rc);
    term.bin = ppt->os[a] < 0 ? &ppt->bin[b][a] : &ppt->bin[a][b];
    term.reach = !lattice ? kQuorixCoulombReach : term.coulomb ? quorix_property_coulomb_reach(ppt) : term.bin->cutoff;
    term.bonding_unit = lattice ? kQuorixEvPerUnit : 1.0;
    if (term.interacts && !term.coulomb)
        term.bonding_at_reach = quorix_energy_bonding(term.reach, term.bin->d0, term.bin->rmin, term.bin->b);
    return term;
}
