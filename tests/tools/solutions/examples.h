// Simulated measurements and their answers, for the tests of what is made of these.
#pragma once

#include "simulation/simulate.h"
#include "solutions/solved.h"

#include <string>
#include <vector>

namespace torvik::tools {

inline simulationrequest usual_crystal()
{
    simulationrequest asked;
    asked.cell = cell_parameters{7.0, 8.0, 10.0, 85.0, 100.0, 95.0};
    asked.reflections = 24;
    asked.wrong = 4;
    asked.noise = 0.01;
    return asked;
}

inline solver::measurement vectors_of(const std::vector<vector3>& vectors)
{
    solver::measurement list;
    for (const vector3& q : vectors) list.vectors.push_back({q.x, q.y, q.z});
    return list;
}

// The budget is beyond what any machine takes: an answer that it ended would depend on the machine.
inline solver::options patient()
{
    solver::options how;
    how.budget = std::chrono::hours(1);
    return how;
}

inline solved_measurement solved_of(const solver::measurement& measured,
                                    const solver::options& how = patient())
{
    solved_measurement solved;
    solved.measured = measured;
    solved.options = how;
    solved.found = solver::solve(measured, how);
    solved.input = "a.txt";
    solved.frame = "x, y and z are as given.";
    return solved;
}

inline solved_measurement solved_of(const simulationrequest& asked,
                                    const solver::options& how = patient())
{
    return solved_of(vectors_of(simulate(asked).vectors()), how);
}

} // namespace torvik::tools
