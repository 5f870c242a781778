#include "numeric/arrays.h"

#include "support/fresh.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace torvik {

namespace {

class Arrays : public fresh {};

TEST_F(Arrays, AreNumberedFromOne)
{
    const numbered<int, 3> a = {{10, 20, 30}};
    EXPECT_EQ(a(1), 10);
    EXPECT_EQ(a(3), 30);
    EXPECT_EQ(&a(1), &a.element[0]);
}

TEST_F(Arrays, MayNameZeroAsTheirFirstNumber)
{
    const fromzero<int, 3> a = {{10, 20, 30}};
    EXPECT_EQ(a(0), 10);
    EXPECT_EQ(a(2), 30);
}

TEST_F(Arrays, OfTwoIndicesAreAddressedByRowThenColumn)
{
    table<int, 2, 3> a = {{{11, 12, 13}, {21, 22, 23}}};
    EXPECT_EQ(a(1, 3), 13);
    EXPECT_EQ(a(2, 1), 21);
    a(2, 3) = 99;
    EXPECT_EQ(a.element[1][2], 99);
}

TEST_F(Arrays, AreCopiedAsPlainValues)
{
    static_assert(std::is_trivially_copyable_v<matrix3>);
    vector3 a = {{1, 2, 3}};
    const vector3 b = a;
    a(2) = 7.0;
    EXPECT_EQ(b(2), 2.0);
    EXPECT_EQ(a(2), 7.0);
}

TEST_F(Arrays, AListOfVectorsHoldsAnyNumberOfReflectionsThatAnInputMayHave)
{
    static vectorlist list;
    list(999)(3) = 5.0;
    EXPECT_EQ(list.element[998].element[2], 5.0);
}

} // namespace

} // namespace torvik
