#include "base/reading.h"

#include "base/descriptor.h"
#include "base/failure.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace torvik::tools {

namespace {

constexpr std::size_t blocklength = std::size_t{1} << 16U;

std::string kindof(mode_t mode)
{
    switch (mode & S_IFMT) {
    case S_IFDIR: return "a folder";
    case S_IFIFO: return "a pipe";
    case S_IFSOCK: return "a socket";
    default: return "a device";
    }
}

void checkkind(const std::string& name, const struct stat& found)
{
    if (!S_ISREG(found.st_mode))
        throw failure(name + " is " + kindof(found.st_mode) + ", not a file.");
}

// Looks before it opens: to open a device can have effects. Looks again behind, since what bears the name
// may have changed.
descriptor opened(const std::filesystem::path& path)
{
    struct stat found = {};
    if (stat(path.c_str(), &found) == 0) checkkind(path.string(), found);
    descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file.isopen() || fstat(file.number(), &found) != 0)
        throw failure("Cannot open " + path.string() + ".");
    checkkind(path.string(), found);
    return file;
}

} // namespace

std::string bytesof(const std::filesystem::path& path, std::size_t most)
{
    const descriptor file = opened(path);
    struct stat found = {};
    fstat(file.number(), &found);
    // Files of the system have no size before they are read; others may grow.
    const auto size = static_cast<std::size_t>(std::max<off_t>(found.st_size, 0));
    std::string bytes(std::min(most, size + 1), '\0');
    std::size_t length = 0;
    for (;;) {
        if (length == bytes.size()) {
            if (length == most) break;
            bytes.resize(std::min(most, length + std::max(length, blocklength)));
        }
        const ssize_t count = read(file.number(), bytes.data() + length, bytes.size() - length);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw failure("Cannot read " + path.string() + ".");
        if (count == 0) break;
        length += static_cast<std::size_t>(count);
    }
    bytes.resize(length);
    return bytes;
}

} // namespace torvik::tools
