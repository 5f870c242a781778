#include "superlattices/hermite.h"

#include "support/fresh.h"

namespace torvik {

namespace {

class Hermite : public fresh {};

TEST_F(Hermite, TablesHoldAsManyMatricesAsThereAreSublattices)
{
    getlowindexsuperlattices();
    for (int n = 1; n <= 16; ++n) {
        int sublattices = 0; // the sum of d1^2 d2 over all ordered factorizations
        for (int d1 = 1; d1 <= n; ++d1)
            for (int d2 = 1; d1 * d2 <= n; ++d2)
                if (n % (d1 * d2) == 0) sublattices += d1 * d1 * d2;
        EXPECT_EQ(matricesforalternativebases.icounterofhnf(n), sublattices) << n;
    }
}

} // namespace

} // namespace torvik
