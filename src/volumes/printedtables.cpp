#include "volumes/printedtables.h"

#include "numeric/constants.h"
#include "numeric/kernel.h"
#include "text/fields.h"
#include "volumes/nearsums.h"
#include "volumes/plainsums.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace torvik {

namespace {

bool settled(const periodogramtable& table, std::size_t i)
{
    return printsalike(table.value, i)
           && F(10, 1, table.angle.least[i]) == F(10, 1, table.angle.most[i]);
}

std::vector<std::size_t> unsettledrows(const periodogramtable& table,
                                       const std::vector<std::size_t>& rows)
{
    std::vector<std::size_t> left;
    for (const std::size_t i : rows)
        if (!settled(table, i)) left.push_back(i);
    return left;
}

std::vector<std::size_t> allrows(std::size_t periods)
{
    std::vector<std::size_t> rows(periods);
    for (std::size_t i = 0; i < periods; ++i) rows[i] = i;
    return rows;
}

// Narrows four rows; the last one may stand for several.
void narrow(const tripleproducts& products, const double* P, const std::size_t rows[4],
            periodogramtable& table)
{
    const double four[] = {P[rows[0]], P[rows[1]], P[rows[2]], P[rows[3]]};
    nearsum sums[4];
    int status = failed;
    nearrayleighsums(products, four, sums, status);
    if (status == failed) return;
    const double D = wrappedsquare(products.number);
    for (int j = 0; j < 4; ++j) {
        const boundedsum F = {sums[j].S, sums[j].C, sums[j].bound};
        setbounds(table.value, rows[j], rayleighbounds(F, D));
        setbounds(table.angle, rows[j], anglebounds(F));
    }
}

void narrowrows(const tripleproducts& products, const double* P,
                const std::vector<std::size_t>& rows, periodogramtable& table)
{
    for (std::size_t first = 0; first < rows.size(); first += 4) {
        std::size_t four[4];
        for (std::size_t j = 0; j < 4; ++j) four[j] = rows[std::min(first + j, rows.size() - 1)];
        narrow(products, P, four, table);
    }
}

// Computes rows by plain sums, all together: the phases of one triple product at neighbouring periods
// go the same ways through a sine, which the processor then foresees.
void computerows(const tripleproducts& products, int kind, const double* P,
                 const std::vector<std::size_t>& rows, periodogramtable& table)
{
    const std::size_t count = rows.size();
    std::vector<double> periods(count);
    for (std::size_t j = 0; j < count; ++j) periods[j] = P[rows[j]];
    std::vector<double> value(count);
    std::vector<double> angle(count);
    if (kind == rayleigh) {
        std::vector<double> C(count);
        rayleighsums(products, periods.data(), count, value.data(), angle.data(), C.data());
        for (std::size_t j = 0; j < count; ++j) angle[j] = printedphase(angle[j], C[j]);
    } else {
        scarglesums(products, periods.data(), count, value.data(), angle.data());
        for (double& offset : angle) offset = printedoffset(offset);
    }
    for (std::size_t j = 0; j < count; ++j) {
        setbounds(table.value, rows[j], {value[j], value[j]});
        setbounds(table.angle, rows[j], {angle[j], angle[j]});
    }
}

// The same for any number of rows, in parts that need little memory.
void computeall(const tripleproducts& products, int kind, const double* P,
                const std::vector<std::size_t>& rows, periodogramtable& table)
{
    constexpr std::size_t atonce = 4096;
    for (std::size_t first = 0; first < rows.size(); first += atonce) {
        const auto begin = rows.begin() + static_cast<std::ptrdiff_t>(first);
        const auto count = std::min(atonce, rows.size() - first);
        computerows(products, kind, P, {begin, begin + static_cast<std::ptrdiff_t>(count)}, table);
    }
}

} // namespace

double printedphase(double S, double C)
{
    return std::atan2(S, C) * 180.0 / pisingle;
}

double printedoffset(double tau)
{
    return 360.0 * tau;
}

bool printsalike(const periodogrambounds& value, std::size_t i)
{
    return EN(15, 5, value.least[i]) == EN(15, 5, value.most[i]);
}

void computetable(const tripleproducts& products, int kind, const double* P, std::size_t periods,
                  periodogramtable& table, int& status)
{
    boundperiodogram(products, kind, P, periods, table.value, status, &table.angle);
    if (status == failed) return;
    std::vector<std::size_t> rows = unsettledrows(table, allrows(periods));
    table.nearrows = table.plainrows = 0;
    if (kind == rayleigh) {
        table.nearrows = static_cast<int>(rows.size());
        narrowrows(products, P, rows, table);
        rows = unsettledrows(table, rows);
    }
    table.plainrows = static_cast<int>(rows.size());
    computeall(products, kind, P, rows, table);
}

} // namespace torvik
