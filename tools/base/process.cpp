#include "base/process.h"

#include "base/failure.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <system_error>
#include <thread>

extern char** environ; // NOLINT(readability-redundant-declaration): not all systems declare it

namespace torvik::tools {

namespace {

// What a new process does before it becomes the program.
class preparation {
public:
    explicit preparation(const std::filesystem::path& folder)
    {
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_addchdir_np(&actions_, folder.c_str());
        posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_adddup2(&actions_, STDOUT_FILENO, STDERR_FILENO);
        posix_spawnattr_init(&attributes_);
        const sigset_t usual = ignoredsignals();
        posix_spawnattr_setsigdefault(&attributes_, &usual);
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }
    preparation(const preparation&) = delete;
    preparation& operator=(const preparation&) = delete;
    preparation(preparation&&) = delete;
    preparation& operator=(preparation&&) = delete;
    ~preparation()
    {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }

    [[nodiscard]] const posix_spawn_file_actions_t* actions() const
    {
        return &actions_;
    }
    [[nodiscard]] const posix_spawnattr_t* attributes() const
    {
        return &attributes_;
    }

private:
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

// Waits for a process that is told to end.
ending finish(pid_t process, ending how)
{
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
    return how;
}

bool executable(const std::filesystem::path& path)
{
    std::error_code none;
    return std::filesystem::is_regular_file(path, none) && access(path.c_str(), X_OK) == 0;
}

// Empty if there is none.
std::filesystem::path onthepath(const std::string& name)
{
    const char* path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? "" : path);
    for (std::string folder; std::getline(folders, folder, ':');)
        if (executable(std::filesystem::path(folder) / name))
            return std::filesystem::path(folder) / name;
    return {};
}

} // namespace

ending runprocess(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                  const std::filesystem::path& folder, double seconds,
                  const std::atomic<bool>& stop)
{
    using clock = std::chrono::steady_clock;
    std::vector<std::string> words = {program.string()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);

    const preparation before(folder);
    pid_t process = 0;
    const int error = posix_spawn(&process, program.c_str(), before.actions(), before.attributes(),
                                  argv.data(), environ);
    if (error != 0)
        throw failure("Cannot start " + program.string() + ": " + std::strerror(error) + ".");

    const auto end = clock::now() + std::chrono::duration<double>(seconds);
    auto pause = std::chrono::microseconds(500);
    for (;;) {
        int status = 0;
        const pid_t ended = waitpid(process, &status, WNOHANG);
        if (ended == process)
            return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? ending::finished
                                                                 : ending::failed;
        if (ended < 0 && errno != EINTR) return ending::failed;
        if (stop || heldsignals::waiting()) return finish(process, ending::stopped);
        if (clock::now() >= end) return finish(process, ending::outoftime);
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, std::chrono::microseconds(8000));
    }
}

std::filesystem::path thisprogram()
{
    std::error_code none;
    return std::filesystem::read_symlink("/proc/self/exe", none);
}

std::filesystem::path torvikprogram(const std::string& asked)
{
    if (asked.find('/') != std::string::npos) return std::filesystem::absolute(asked);
    if (!asked.empty()) {
        if (auto found = onthepath(asked); !found.empty()) return found;
        throw failure("The program " + asked + " is not on the PATH.");
    }
    const std::filesystem::path self = thisprogram();
    if (!self.empty() && executable(self.parent_path() / "Torvik"))
        return self.parent_path() / "Torvik";
    if (auto found = onthepath("Torvik"); !found.empty()) return found;
    throw failure("Torvik is neither beside torvik-tools nor on the PATH.");
}

temporarydirectory::temporarydirectory()
{
    const char* asked = std::getenv("TMPDIR");
    const std::filesystem::path place = asked == nullptr || *asked == '\0' ? "/tmp" : asked;
    std::string name = (std::filesystem::absolute(place) / "torvik.XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr)
        throw failure("Cannot make a folder for temporary files in " + place.string()
                      + "; TMPDIR names another place.");
    path_ = name;
}

temporarydirectory::~temporarydirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

} // namespace torvik::tools
