#include "base/failure.h"
#include "simulation/asked.h"

#include "support/runs.h"

#include <gtest/gtest.h>

namespace torvik::tools {

namespace {

constexpr double rounding = 1e-12;

std::string refusalof(const auto& work)
{
    try {
        work();
    } catch (const failure& why) {
        return why.what();
    }
    return "nothing";
}

TEST(ACellThatIsAskedFor, IsItsNumbersOrAFile)
{
    EXPECT_EQ(cellasked({"5 6 7 90 91 92 C"}).centring, 'C');
    EXPECT_EQ(cellasked({"5", "6", "7", "90", "91", "92"}).cell,
              (cell_parameters{5.0, 6.0, 7.0, 90.0, 91.0, 92.0}));
    const temporaryfolder folder;
    writefile(folder.file("a.cif"),
              "data_x\n_cell_length_a 5\n_cell_length_b 5\n_cell_length_c 5\n_cell_angle_alpha 90\n"
              "_cell_angle_beta 90\n_cell_angle_gamma 90\n_space_group_name_H-M_alt 'F m -3 m'\n");
    EXPECT_EQ(cellasked({folder.file("a.cif")}).centring, 'F');
    EXPECT_TRUE(refusalof([] {
                    cellasked({"b.cif"});
                }).starts_with("There is no file b.cif; and as a cell: "));
}

TEST(WrongReflections, AreANumberOrAPart)
{
    EXPECT_EQ(wrongasked("10", 40), 10);
    EXPECT_EQ(wrongasked("0.25", 40), 10);
    EXPECT_EQ(wrongasked("12.5%", 40), 5);
    EXPECT_EQ(wrongasked("0", 40), 0);
    EXPECT_EQ(wrongasked("1", 40), 1);
    for (const char* wrong : {"1.5", "-1", "ten", "", "%"})
        EXPECT_EQ(refusalof([&] { wrongasked(wrong, 40); }),
                  "'" + std::string(wrong)
                      + "' is neither a number of wrong reflections nor a part of them, as 0.25 or "
                        "25%.");
}

TEST(AnOrientation, IsThreeTurnsOneAfterTheOther)
{
    // x goes to y by the turn about z, y to z by the first one about x.
    const matrix3 Q = rotationasked({90.0, 0.0, 90.0});
    EXPECT_TRUE(Q.multiply(vector3(1, 0, 0)).approx({0, 1, 0}, rounding));
    EXPECT_TRUE(Q.multiply(vector3(0, 1, 0)).approx({0, 0, 1}, rounding));
    EXPECT_TRUE(rotationasked({0.0, 30.0, 0.0})
                    .multiply(vector3(0, 0, 1))
                    .approx({0.5, 0.0, std::sqrt(0.75)}, rounding));
}

TEST(AnOrientation, IsARotationOfNineNumbers)
{
    const matrix3 Q = rotationasked({0.8660, -0.5000, 0, 0.5000, 0.8660, 0, 0, 0, 1});
    EXPECT_TRUE(Q.multiply(Q.transpose()).approx(matrix3(), rounding));
    EXPECT_NEAR(Q[0][1], -0.5, 1e-4);
    EXPECT_EQ(refusalof([] {
                  rotationasked({1, 0, 0, 0, 1, 0, 0, 0, -1});
              }),
              "The nine numbers of the orientation are no rotation.");
    EXPECT_EQ(refusalof([] {
                  rotationasked({1, 2, 3, 4});
              }),
              "An orientation is three angles, or the nine elements of a rotation, not 4 numbers.");
}

TEST(ATwinLaw, HasAnAngleAndADirectionOrPlanes)
{
    const twinlaw law = twinasked("180 [1 0 -2]");
    EXPECT_EQ(law.angle, 180.0);
    EXPECT_EQ(law.axis, (std::array<double, 3>{1.0, 0.0, -2.0}));
    EXPECT_FALSE(law.normal);
    EXPECT_TRUE(twinasked("60(1,1,1)").normal);
    for (const char* wrong :
         {"180", "[1 0 0]", "180 [1 0]", "180 [1 0 0", "180 [1 0 0] x", "x [1 0 0]"})
        EXPECT_EQ(
            refusalof([&] { twinasked(wrong); }),
            "'" + std::string(wrong)
                + "' is no twin law: expected an angle and a direction, as in 180 [1 0 0], or "
                  "the normal of planes, as in 180 (1 0 0).");
}

} // namespace

} // namespace torvik::tools
