#include "volumes/knatorx.h"

namespace torvik {

namespace {

int positionofknatorx = 0; // the entry of the subset that the next call raises, 1..k
int positionofknatory = 0;

void nextsubset(int& p, int& first, int n, int k, subset& a)
{
    // 1.
    if (first != 0) {
        first = 1;
        if (n < k) return;
        for (int i = 1; i <= n; ++i) a(i) = i;
        p = k;
        first = 0;
        return;
    }
    // 2.
    ++a(p);
    if (a(p) <= p + n - k) return;
    // 3.
    do {
        --p;
        if (p == 0) {
            first = 1;
            return;
        }
    } while (a(p) == p + n - k);
    // 4.
    ++a(p);
    for (int j = p + 1; j <= k; ++j) a(j) = a(j - 1) + 1;
    p = k;
}

} // namespace

void knatorx(int& first, int n, int k, subset& a)
{
    nextsubset(positionofknatorx, first, n, k, a);
}

void knatory(int& first, int n, int k, subset& a)
{
    nextsubset(positionofknatory, first, n, k, a);
}

} // namespace torvik
