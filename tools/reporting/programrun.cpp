#include "reporting/programrun.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

extern char** environ; // NOLINT(readability-redundant-declaration): not all systems declare it

namespace torvik::tools {

std::string programtorun(const std::string& asked)
{
    namespace fs = std::filesystem;
    if (!asked.empty())
        return asked.find('/') == std::string::npos ? asked : fs::absolute(asked).string();
    std::error_code none;
    const fs::path beside = fs::read_symlink("/proc/self/exe", none).parent_path() / "Torvik";
    return !none && access(beside.c_str(), X_OK) == 0 ? beside.string() : "Torvik";
}

bool runprogram(const std::string& program, const std::filesystem::path& folder,
                const std::string& file)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_WRONLY, 0);
    std::string name = program;
    std::string argument = file;
    char* arguments[] = {name.data(), argument.data(), nullptr};
    pid_t child = -1;
    const int failed = posix_spawnp(&child, name.c_str(), &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0) return false;
    int status = 0;
    while (waitpid(child, &status, 0) < 0)
        if (errno != EINTR) return false;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace torvik::tools
