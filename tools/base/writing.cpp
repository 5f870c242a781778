#include "base/writing.h"

#include "base/descriptor.h"
#include "base/failure.h"
#include "base/signals.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <optional>
#include <system_error>
#include <thread>

namespace torvik::tools {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const fs::path& path)
{
    throw failure("Cannot write " + path.string() + ".");
}

// Waits a while for who reads a pipe, or less if a signal is to end the program.
bool cangoon(const descriptor& file)
{
    constexpr int milliseconds = 50;
    pollfd waiting = {file.number(), POLLOUT, 0};
    poll(&waiting, 1, milliseconds);
    return !heldsignals::waiting();
}

bool wrote(const descriptor& file, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t count = write(file.number(), text.data(), text.size());
        if (count < 0 && errno != EINTR && !(errno == EAGAIN && cangoon(file))) return false;
        if (count > 0) text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

// Some disks, as those of other machines, have no such step.
bool forced(const descriptor& file)
{
    return fsync(file.number()) == 0 || errno == EINVAL || errno == ENOTSUP;
}

// ------------------------------------------------------------------ what bears the name

std::optional<struct stat> found(const fs::path& path)
{
    struct stat what = {};
    if (stat(path.c_str(), &what) != 0) return std::nullopt;
    return what;
}

// Names such as /dev/stdout lead to an open file: it is written to, whatever it is.
bool isopenfile(const fs::path& path)
{
    return path.string().starts_with("/proc/") || path.string().starts_with("/dev/fd/");
}

// Where a link leads, also one that leads to nothing yet.
fs::path followed(fs::path path)
{
    constexpr int mostlinks = 40;
    std::error_code error;
    for (int i = 0; i < mostlinks && !isopenfile(path) && fs::is_symlink(path, error); ++i) {
        const fs::path next = fs::read_symlink(path, error);
        path = next.is_absolute() ? next : path.parent_path() / next;
    }
    return path;
}

// What is no file and no folder.
bool iswrittento(const fs::path& path)
{
    const auto what = found(path);
    return what && !S_ISDIR(what->st_mode)
           && (!S_ISREG(what->st_mode) || isopenfile(followed(path)));
}

// A pipe can be opened once somebody reads it.
descriptor openeddevice(const fs::path& path)
{
    using clock = std::chrono::steady_clock;
    constexpr auto longest = std::chrono::seconds(10);
    const auto end = clock::now() + longest;
    for (;;) {
        descriptor file(open(path.c_str(), O_WRONLY | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
        const bool unread = !file.isopen() && errno == ENXIO;
        if (!unread || clock::now() > end || heldsignals::waiting()) return file;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

void writeto(const namedtext& file)
{
    const auto what = found(file.path);
    if (!what || S_ISBLK(what->st_mode)) fail(file.path); // a disk holds more than a text
    descriptor device = openeddevice(file.path);
    if (!device.isopen()) fail(file.path);
    if (!wrote(device, file.text) || !device.close()) fail(file.path);
}

// ------------------------------------------------------------------ files

// A name in a folder that no file has, and the file.
std::pair<fs::path, descriptor> freshfile(const fs::path& folder)
{
    constexpr int attempts = 100;
    for (int i = 0; i < attempts; ++i) {
        std::uint64_t number = 0;
        if (getrandom(&number, sizeof number, 0) != sizeof number) break;
        std::array<char, 32> name = {};
        std::snprintf(name.data(), name.size(), ".torvik-%016llx",
                      static_cast<unsigned long long>(number));
        fs::path path = folder / name.data();
        descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
        if (file.isopen()) return {std::move(path), std::move(file)};
        if (errno != EEXIST) break;
    }
    return {fs::path(), descriptor(-1)};
}

// A file that is complete under a name beside, until it takes its own.
class replacement {
public:
    explicit replacement(const namedtext& file)
        : asked_(file.path), path_(followed(file.path)), before_(found(path_))
    {
        std::error_code none;
        if (before_ && (S_ISDIR(before_->st_mode) || !mayreplace())) fail(asked_);
        if (fs::is_symlink(path_, none)) fail(asked_); // links that go round
        auto [beside, opened] = freshfile(path_.parent_path());
        beside_ = beside;
        const bool done = opened.isopen() && takesover(opened) && wrote(opened, file.text)
                          && forced(opened) && opened.close();
        if (done) return;
        clear();
        fail(asked_);
    }
    replacement(const replacement&) = delete;
    replacement& operator=(const replacement&) = delete;
    replacement(replacement&& other) noexcept
        : asked_(std::move(other.asked_)), path_(std::move(other.path_)),
          beside_(std::exchange(other.beside_, {})), before_(other.before_), how_(other.how_)
    {
    }
    replacement& operator=(replacement&&) = delete;
    ~replacement()
    {
        clear();
    }

    void put()
    {
        if (before_ && exchange()) {
            how_ = state::exchanged;
            return;
        }
        const bool known = !before_ || errno == EINVAL || errno == ENOSYS || errno == ENOENT;
        if (!known || std::rename(beside_.c_str(), path_.c_str()) != 0) fail(asked_);
        how_ = before_ ? state::replaced : state::created;
        beside_.clear();
    }

    // What was there is there again; a disk that cannot exchange names has lost it.
    void takeback()
    {
        if (how_ == state::exchanged) exchange();
        if (how_ == state::created) unlink(path_.c_str());
    }

    // Makes the name outlast the end of power.
    void settle() const
    {
        const fs::path folder = path_.parent_path();
        const descriptor opened(
            open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (opened.isopen()) forced(opened);
    }

private:
    enum class state { beside, exchanged, replaced, created };

    [[nodiscard]] bool mayreplace() const
    {
        return faccessat(AT_FDCWD, path_.c_str(), W_OK, AT_EACCESS) == 0;
    }

    // The owner first: a change of it may change the permissions.
    [[nodiscard]] bool takesover(const descriptor& file) const
    {
        if (!before_) return true;
        constexpr mode_t permissions = 0777;
        if (fchown(file.number(), before_->st_uid, before_->st_gid) != 0) errno = 0;
        return fchmod(file.number(), before_->st_mode & permissions) == 0 || errno == EPERM;
    }

    bool exchange() const
    {
        return renameat2(AT_FDCWD, beside_.c_str(), AT_FDCWD, path_.c_str(), RENAME_EXCHANGE) == 0;
    }

    void clear()
    {
        if (!beside_.empty()) unlink(beside_.c_str());
        beside_.clear();
    }

    fs::path asked_;
    fs::path path_;
    fs::path beside_; // empty when nothing bears the name
    std::optional<struct stat> before_;
    state how_ = state::beside;
};

void putall(std::vector<replacement>& files)
{
    for (std::size_t i = 0; i < files.size(); ++i) {
        try {
            files[i].put();
        } catch (const failure&) {
            while (i > 0) files[--i].takeback();
            throw;
        }
    }
    for (const replacement& one : files) one.settle();
}

} // namespace

void writetogether(const std::vector<namedtext>& files)
{
    std::vector<const namedtext*> devices;
    const heldsignals held;
    std::vector<replacement> whole;
    for (const namedtext& file : files) {
        if (iswrittento(file.path))
            devices.push_back(&file);
        else
            whole.emplace_back(file);
    }
    for (const namedtext* file : devices) writeto(*file);
    putall(whole);
}

void writewhole(const std::filesystem::path& path, std::string_view text)
{
    if (path == "-") {
        std::cout << text << std::flush;
        if (!std::cout) throw failure("Cannot write to the standard output.");
        return;
    }
    writetogether({{path, std::string(text)}});
}

} // namespace torvik::tools
