#include "superlattices/hermite.h"

#include "numeric/constants.h"
#include "numeric/kernel.h"

namespace torvik {

namespace {

struct factorization {
    int d1, d2, d3;
};

// All ordered factorizations d1 d2 d3 = n, for n = 1..16. Constant data, not computed: their order
// numbers the alternatives, and with it decides between solutions of equal quality.
// clang-format off
constexpr factorization factorizations[] = {
    // n = 1
    {1, 1, 1},
    // n = 2
    {1, 1, 2}, {1, 2, 1}, {2, 1, 1},
    // n = 3
    {1, 1, 3}, {1, 3, 1}, {3, 1, 1},
    // n = 4
    {1, 1, 4}, {1, 4, 1}, {4, 1, 1}, {1, 2, 2}, {2, 1, 2}, {2, 2, 1},
    // n = 5
    {1, 1, 5}, {1, 5, 1}, {5, 1, 1},
    // n = 6
    {1, 1, 6}, {1, 6, 1}, {6, 1, 1}, {1, 2, 3}, {2, 1, 3}, {1, 3, 2}, {2, 3, 1}, {3, 1, 2},
    {3, 2, 1},
    // n = 7
    {1, 1, 7}, {1, 7, 1}, {7, 1, 1},
    // n = 8
    {1, 1, 8}, {1, 8, 1}, {8, 1, 1}, {1, 2, 4}, {2, 1, 4}, {1, 4, 2}, {2, 4, 1}, {4, 1, 2},
    {4, 2, 1}, {2, 2, 2},
    // n = 9
    {1, 1, 9}, {1, 9, 1}, {9, 1, 1}, {1, 3, 3}, {3, 1, 3}, {3, 3, 1},
    // n = 10
    {1, 1, 10}, {1, 10, 1}, {10, 1, 1}, {1, 2, 5}, {2, 1, 5}, {1, 5, 2}, {2, 5, 1}, {5, 1, 2},
    {5, 2, 1},
    // n = 11
    {1, 1, 11}, {1, 11, 1}, {11, 1, 1},
    // n = 12
    {1, 1, 12}, {1, 12, 1}, {12, 1, 1}, {1, 2, 6}, {2, 1, 6}, {1, 6, 2}, {2, 6, 1}, {6, 1, 2},
    {6, 2, 1}, {1, 3, 4}, {3, 1, 4}, {1, 4, 3}, {3, 4, 1}, {4, 1, 3}, {4, 3, 1}, {2, 2, 3},
    {2, 3, 2}, {3, 2, 2},
    // n = 13
    {1, 1, 13}, {1, 13, 1}, {13, 1, 1},
    // n = 14
    {1, 1, 14}, {1, 14, 1}, {14, 1, 1}, {1, 2, 7}, {2, 1, 7}, {1, 7, 2}, {2, 7, 1}, {7, 1, 2},
    {7, 2, 1},
    // n = 15
    {1, 1, 15}, {1, 15, 1}, {15, 1, 1}, {1, 3, 5}, {3, 1, 5}, {1, 5, 3}, {3, 5, 1}, {5, 1, 3},
    {5, 3, 1},
    // n = 16
    {1, 1, 16}, {1, 16, 1}, {16, 1, 1}, {1, 2, 8}, {2, 1, 8}, {1, 8, 2}, {2, 8, 1}, {8, 1, 2},
    {8, 2, 1}, {1, 4, 4}, {4, 1, 4}, {4, 4, 1}, {4, 2, 2}, {2, 4, 2}, {2, 2, 4},
};
// clang-format on

} // namespace

matrix3* superlatticetable(int n)
{
    auto& tables = matricesforalternativebases;
    switch (n) {
    case 2: return tables.superlatt02.element;
    case 3: return tables.superlatt03.element;
    case 4: return tables.superlatt04.element;
    case 5: return tables.superlatt05.element;
    case 6: return tables.superlatt06.element;
    case 7: return tables.superlatt07.element;
    case 8: return tables.superlatt08.element;
    case 9: return tables.superlatt09.element;
    case 10: return tables.superlatt10.element;
    case 11: return tables.superlatt11.element;
    case 12: return tables.superlatt12.element;
    case 13: return tables.superlatt13.element;
    case 14: return tables.superlatt14.element;
    case 15: return tables.superlatt15.element;
    case 16: return tables.superlatt16.element;
    default: return tables.superlatt01.element;
    }
}

void generatehermitenormalforms(int n, int d1, int d2, int d3)
{
    int& counter = matricesforalternativebases.icounterofhnf(n);
    matrix3* superlatt = superlatticetable(n);
    matrix3 M = {{{double(d1), 0.0, 0.0}, {0.0, double(d2), 0.0}, {0.0, 0.0, double(d3)}}};
    int status = done; // never failed: det M = n
    for (int p = 0; p < d1; ++p)
        for (int q = 0; q < d1; ++q)
            for (int r = 0; r < d2; ++r) {
                M(1, 2) = p;
                M(1, 3) = q;
                M(2, 3) = r;
                invmat(M, superlatt[counter], machineepsilon, status);
                ++counter;
            }
}

void getlowindexsuperlattices()
{
    matricesforalternativebases.icounterofhnf = {};
    for (const auto& [d1, d2, d3] : factorizations)
        generatehermitenormalforms(d1 * d2 * d3, d1, d2, d3);
}

void getalternativerlbases(int n, const matrix3& M, int& count, alternativebases& bases)
{
    count = matricesforalternativebases.icounterofhnf(n);
    if (n == 1) {
        bases(1) = M;
        return;
    }
    const matrix3* S = superlatticetable(n);
    for (int k = 1; k <= count; ++k) bases(k) = matrixproduct(S[k - 1], M);
}

} // namespace torvik
