// The number fields against their plain versions.

#include "text/fields.h"

#include "plain/fields.h"
#include "property/randomlattices.h"
#include "support/cases.h"
#include "support/fresh.h"

#include <bit>
#include <cmath>
#include <string>

namespace torvik {

namespace {

class NumberFields : public fresh {};

using numberfield = std::string (*)(int, int, double);

// A number for d decimals: any bits at all, of the sizes that logs print, a tie of the last decimal
// or next to one, a power of two, next to a power of ten.
double numberfor(int d, randomnumbers& random)
{
    const double sign = random.whole(0, 1) == 0 ? 1.0 : -1.0;
    const double size = std::pow(10.0, random.whole(-24, 20));
    switch (random.whole(0, 6)) {
    case 0: return std::bit_cast<double>(random.bits());
    case 1: return sign * random.between(0.0, 10.0) * size;
    case 2: return sign * (random.whole(0, 1 << 20) + 0.5) / std::pow(2.0, random.whole(0, d + 1));
    case 3: return sign * std::ldexp(1.0, random.whole(-150, 150));
    case 4: return sign * std::nextafter(size, random.whole(0, 1) == 0 ? 0.0 : 1e300);
    case 5: return sign * (size - 0.5 * std::pow(10.0, -random.whole(0, d))); // rounds up, or not
    default: return sign * (random.whole(0, 100000) + 0.5) / std::pow(10.0, d);
    }
}

void expectsame(numberfield field, numberfield plain, int mostdecimals)
{
    randomnumbers random(71);
    for (int n = cases(200000, 20000000); n > 0; --n) {
        const int d = random.whole(0, mostdecimals);
        const int w = random.whole(1, d + 12);
        const double x = numberfor(d, random);
        ASSERT_EQ(field(w, d, x), plain(w, d, x)) << std::hexfloat << x << " in " << w << '.' << d;
    }
}

TEST_F(NumberFields, InFixedPointAreThePlainOnes)
{
    expectsame(F, plain::F, 30);
}

TEST_F(NumberFields, InScientificNotationAreThePlainOnes)
{
    expectsame(ES, plain::ES, 30);
}

TEST_F(NumberFields, InEngineeringNotationAreThePlainOnes)
{
    expectsame(EN, plain::EN, 15);
}

} // namespace

} // namespace torvik
