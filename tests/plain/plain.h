// The procedures of the program as they are defined, without regard to speed.
#pragma once

#include "numeric/arrays.h"
#include "plain/fields.h"
#include "store/modofsavedbases.h"
#include "text/names.h"

#include <vector>

// The program's own procedures of these names are fast, and must give the same answers: the same
// bits, or a bound that decides. These say what the answers are. They are never edited for speed;
// they work on the same data groups, and the tests and benchmarks hold the fast ones against them.
// What each computes is told where the fast one is declared.
//
// Calls among them are written plain::name, since arguments of the program's types would find the
// fast procedures as well.

namespace torvik::plain {

using periodogram = std::vector<double>;

void rayleigh_periodogram(periodogram& out);
void scargle_periodogram(periodogram& out);
void folding_periodogram(periodogram& out);
void computeperiodogram(const inputfilename& filename, periodogram& out);
double loga(double a, double x);

double maxrlvolumeinperiodogram();
void initializingvolumes2();
void estimate_true_rvolumes(const inputfilename& filename);
void sortthetestvolumes();

void rank_trial_vectors(int nremove);
int phaseindex(double d, double scale);

void buergerreduction(matrix3& M);
void simplereduction(matrix3& M);
void buergerstep(const vector3& x, vector3& y);
void lagrangegaussstep(const vector3& x, vector3& y, double xy, double xx);
void yswitch(vector3& u, vector3& v, double& p, double& q, double& r, double& t);

void basisquality(const matrix3& D, indexcounts& counts, double& quality);
void getreciprocalbasis(const matrix3& M, matrix3& N, double threshold, int& status);
void just_fit_aaa(int m, const vectorlist& A, const vectorlist& H, matrix3& R, int& status);
void fittingabovethreshold(double threshold, matrix3& D, int& status);
vector3 roundedindices(const vector3& x);

void savethebasis(matrix3& D, indexcounts& counts, double& quality);
int itissimilartoalreadysaved(const matrix3& D, const indexcounts& counts, double quality);
bool samelattice(const matrix3& M, const matrix3& inverse);
void indicatecurrentlyworstsavedbasis();
void checkindexdivisibility(matrix3& D, double& volume, int& changed);
void fillslot(int slot, const matrix3& D, const indexcounts& counts, double quality);

void getthebasis();
void fitting5();
void indexing(const matrix3& R);
void sequentialfittingrlbasis(matrix3& R, int n, const vectorlist& V, const numbered<int, 3>& start,
                              int& status);
void rlbasisfromshortesthighqualityvectors(matrix3& R, int n, const vectorlist& V, int& status);

} // namespace torvik::plain
