// Mistakes that the static checks must find, each by one of them. Never part of a program.
#include <cstdio>
#include <string>

namespace torvik {

// clang-tidy: a quotient of integers where a fraction is meant.
double half(int n)
{
    return n / 2;
}

// cppcheck: an index beyond the end.
int beyondtheend()
{
    int numbers[3] = {1, 2, 3};
    return numbers[3];
}

// gcc's analyzer: a file that is never closed.
int firstcharacter(const std::string& name)
{
    std::FILE* stream = std::fopen(name.c_str(), "rb");
    return stream == nullptr ? 0 : std::fgetc(stream);
}

} // namespace torvik
