// Finds the lattice of the vectors x y z on the standard input, 1/angstrom.
#include <torvik/solver.h>

#include <exception>
#include <iostream>

int main()
try {
    torvik::solver::measurement measured;
    for (torvik::solver::vec3 q; std::cin >> q[0] >> q[1] >> q[2];) measured.vectors.push_back(q);
    const torvik::solver::answer found = torvik::solver::solve(measured);
    std::cout << found.reason << '\n';
    if (found.how == torvik::solver::verdict::refused) return 1;
    for (const auto& [x, y, z] : found.lattices[0].basis)
        std::cout << x << ' ' << y << ' ' << z << '\n';
    std::cout << found.lattices[0].indexed << " of " << measured.vectors.size() << " indexed\n";
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 2;
}
