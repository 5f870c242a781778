#include "inputs.h"

#include "driver/read_idx_file.h"
#include "driver/recorded_reflections.h"
#include "search/fitting.h"
#include "superlattices/hermite.h"
#include "support/fresh.h"
#include "support/runs.h"
#include "truth/crystals.h"

#include <cmath>
#include <cstdio>

namespace torvik {

namespace {

sample simulated(int N)
{
    experiment asked;
    asked.volume = simulatedvolume;
    asked.reflections = N;
    asked.noise = 0.01;
    asked.wrong = 0.1;
    randomnumbers random(static_cast<std::uint64_t>(N));
    return samplefor(asked, random);
}

std::string text(const char* format, double x)
{
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, format, x);
    return buffer;
}

} // namespace

std::string simulatedinput(int N, int extent, const volumerange& range)
{
    std::string idx = "_ExtentOfTheSearch\n" + std::to_string(extent) + "\n";
    idx += "_MinMaxVolumeOfPrimitiveCell\n" + text("%.1f", range.smallest)
           + text(" %.1f", range.largest) + "\n";
    idx += "_NumberOfReflections\n" + std::to_string(N) + "\n_Reflections\n";
    for (const vector3& v : simulated(N).reflections)
        idx += text("%10.6f", v(1)) + text(" %10.6f", v(2)) + text(" %10.6f", v(3)) + "\n";
    return idx;
}

void readsimulated(int N, int extent, const volumerange& range)
{
    const temporaryfolder folder;
    writefile(folder.file("a.idx"), simulatedinput(N, extent, range));
    resetgroups();
    fix_defaults();
    read_idx_file(makefilename(folder.file("a.idx")));
    getlowindexsuperlattices();
}

std::vector<triplebasis> triplebases(int count)
{
    const auto& recorded = recorded_reflections;
    randomnumbers random(5);
    std::vector<triplebasis> bases;
    const auto number = [&] { return random.whole(1, recorded.numberofreflections); };
    while (static_cast<int>(bases.size()) < count) {
        const numbered<int, 3> start = {{number(), number(), number()}};
        const auto& r = recorded.reflections;
        const matrix3 R = rowsmatrix(r(start(1)), r(start(2)), r(start(3)));
        if (std::fabs(deter(R)) * simulatedvolume >= 0.5) bases.push_back({R, start});
    }
    return bases;
}

std::vector<matrix3> directbases(int count)
{
    const matrix3 truth = simulated(recorded_reflections.numberofreflections).truth;
    randomnumbers random(6);
    std::vector<matrix3> bases;
    for (int i = 0; i < count; ++i) {
        matrix3 T = randomunimodular(random, 12);
        if (i % 3 > 0) T(random.whole(1, 3), random.whole(1, 3)) += random.whole(-2, 2);
        const matrix3 D = matrixproduct(T, truth);
        if (std::fabs(deter(D)) > 1.0) bases.push_back(D); // not in a plane
    }
    return bases;
}

} // namespace torvik
