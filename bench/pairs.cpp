#include "pairs.h"

#include <algorithm>
#include <ctime>

namespace torvik {

double processortime()
{
    timespec now = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

std::uint64_t hashed(const void* bytes, std::size_t count, std::uint64_t hash)
{
    const auto* byte = static_cast<const unsigned char*>(bytes);
    for (std::size_t i = 0; i < count; ++i) hash = (hash ^ byte[i]) * 1099511628211U;
    return hash;
}

action timed(std::function<void()> before, std::function<void()> act,
             std::function<std::uint64_t()> hash)
{
    return [=] {
        before();
        const double start = processortime();
        act();
        const double seconds = processortime() - start;
        return measured{seconds, hash()};
    };
}

double median(std::vector<double> numbers)
{
    std::sort(numbers.begin(), numbers.end());
    const std::size_t n = numbers.size();
    return (numbers[(n - 1) / 2] + numbers[n / 2]) / 2.0;
}

comparison compared(const action& plain, const action& fast, int most, double seconds)
{
    std::vector<double> plaintimes;
    std::vector<double> fasttimes;
    std::vector<double> ratios;
    comparison result;
    double spent = 0.0;
    do {
        // Each is the first in every other pair.
        const bool plainfirst = result.pairs % 2 == 0;
        const measured first = plainfirst ? plain() : fast();
        const measured second = plainfirst ? fast() : plain();
        const measured& p = plainfirst ? first : second;
        const measured& f = plainfirst ? second : first;
        plaintimes.push_back(p.seconds);
        fasttimes.push_back(f.seconds);
        ratios.push_back(p.seconds / std::max(f.seconds, 1e-9));
        if (result.pairs == 0) result.hash = p.hash;
        result.same = result.same && p.hash == result.hash && f.hash == result.hash;
        result.plainkilobytes = std::max(result.plainkilobytes, p.kilobytes);
        result.fastkilobytes = std::max(result.fastkilobytes, f.kilobytes);
        spent += p.seconds + f.seconds;
        ++result.pairs;
    } while (result.pairs < most && spent < seconds);
    result.plain = median(plaintimes);
    result.fast = median(fasttimes);
    result.ratio = median(ratios);
    return result;
}

} // namespace torvik
