#include "runs.h"

#include "support/runs.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace torvik {

namespace {

namespace fs = std::filesystem;

double secondsof(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

// In the child: becomes the program, with its output in the file "terminal".
[[noreturn]] void become(const std::string& program, const std::vector<std::string>& arguments,
                         const temporaryfolder& folder)
{
    const int output = open(folder.file("terminal").c_str(), O_WRONLY | O_CREAT, 0600);
    const int input = open("/dev/null", O_RDONLY);
    if (chdir(folder.path().c_str()) != 0 || dup2(output, STDOUT_FILENO) < 0
        || dup2(input, STDIN_FILENO) < 0)
        _exit(126);
    execute(program, arguments);
}

// Runs a program in a folder that holds its input. Gives what it took.
measured runin(const temporaryfolder& folder, const std::string& program,
               const std::vector<std::string>& arguments)
{
    const pid_t child = fork();
    if (child == 0) become(program, arguments, folder);
    int status = 0;
    rusage used = {};
    wait4(child, &status, 0, &used);
    if (status != 0) throw std::runtime_error(program + " failed");
    return {secondsof(used.ru_utime) + secondsof(used.ru_stime), 0, used.ru_maxrss};
}

std::uint64_t hashoffiles(const std::string& folder)
{
    std::vector<std::string> paths;
    for (const auto& entry : fs::directory_iterator(folder)) paths.push_back(entry.path().string());
    std::sort(paths.begin(), paths.end());
    std::uint64_t hash = emptyhash;
    for (const std::string& path : paths) {
        const std::string content = fs::path(path).filename().string() + masked(readfile(path));
        hash = hashed(content.data(), content.size(), hash);
    }
    return hash;
}

} // namespace

action runof(const std::string& program, const std::string& idx)
{
    return callof(program, {"a.idx"}, {"a.idx", idx});
}

action callof(const std::string& program, const std::vector<std::string>& arguments,
              const heldfile& file)
{
    return [=] {
        const temporaryfolder folder;
        writefile(folder.file(file.name), file.content);
        measured result = runin(folder, program, arguments);
        result.hash = hashoffiles(folder.path());
        return result;
    };
}

int printedbehind(const std::string& program, const std::string& idx, const std::string& text)
{
    const temporaryfolder folder;
    writefile(folder.file("a.idx"), idx);
    runin(folder, program, {"a.idx"});
    const std::string printed = readfile(folder.file("terminal"));
    const std::size_t place = printed.find(text);
    return place == std::string::npos ? -1 : std::atoi(printed.c_str() + place + text.size());
}

} // namespace torvik
