// A descriptor of an open file, which is closed at the end.
#pragma once

#include <unistd.h>

#include <utility>

namespace torvik::tools {

class descriptor {
public:
    explicit descriptor(int number) : number_(number) {}
    descriptor(const descriptor&) = delete;
    descriptor& operator=(const descriptor&) = delete;
    descriptor(descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    descriptor& operator=(descriptor&&) = delete;
    ~descriptor()
    {
        if (isopen()) ::close(number_);
    }

    [[nodiscard]] bool isopen() const
    {
        return number_ >= 0;
    }
    [[nodiscard]] int number() const
    {
        return number_;
    }
    // Says whether all went well: some disks tell of a failure only here.
    bool close()
    {
        return ::close(std::exchange(number_, -1)) == 0;
    }

private:
    int number_;
};

} // namespace torvik::tools
