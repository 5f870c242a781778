#include "faults/process.h"

#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <sched.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

namespace torvik {

namespace {

namespace fs = std::filesystem;
using steadyclock = std::chrono::steady_clock;

double secondssince(steadyclock::time_point start)
{
    return std::chrono::duration<double>(steadyclock::now() - start).count();
}

double secondsof(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

void use(int descriptor, int place)
{
    if (descriptor < 0 || dup2(descriptor, place) < 0) _exit(126);
}

[[noreturn]] void becomeprogram(const processsetting& setting, const std::string& input,
                                const std::string& errors, int output)
{
    use(open(input.c_str(), O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    use(output, STDOUT_FILENO);
    use(open(errors.c_str(), O_WRONLY | O_CLOEXEC), STDERR_FILENO);
    if (chdir(setting.folder.c_str()) != 0) _exit(126);
    setting.before();
    const std::string program = setting.program.empty() ? TORVIK_PROGRAM : setting.program;
    execute(program, setting.arguments);
}

void writeentry(const char* name, const std::string& text)
{
    const int entry = open(name, O_WRONLY | O_CLOEXEC);
    if (entry < 0 || write(entry, text.data(), text.size()) < 0) _exit(125);
    close(entry);
}

} // namespace

process::process(const processsetting& setting)
{
    writefile(streams_.file("input"), setting.input);
    writefile(streams_.file("errors"), "");
    std::array<int, 2> ends = {};
    // A pipe of one page holds one packet.
    if (pipe2(ends.data(), O_CLOEXEC | (setting.piecewise ? O_DIRECT : 0)) != 0
        || (setting.piecewise && fcntl(ends[1], F_SETPIPE_SZ, 1) < 0))
        throw std::runtime_error("no pipe");
    std::fflush(nullptr); // what the test printed so far is its own, not the child's
    malloc_trim(0);       // the peak of the child begins with what the test has
    child_ = fork();
    if (child_ == 0)
        becomeprogram(setting, streams_.file("input"), streams_.file("errors"), ends[1]);
    close(ends[1]);
    pipe_ = ends[0];
}

process::~process()
{
    stopreading();
    if (child_ < 0) return;
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
}

bool process::readmore(double seconds)
{
    if (pipe_ < 0) return false;
    pollfd waiting = {pipe_, POLLIN, 0};
    if (poll(&waiting, 1, static_cast<int>(seconds * 1000)) <= 0) return false;
    std::array<char, 65536> block;
    const ssize_t count = read(pipe_, block.data(), block.size());
    if (count > 0) output_.append(block.data(), static_cast<std::size_t>(count));
    return count > 0;
}

bool process::shows(const std::string& text, double seconds)
{
    const auto start = steadyclock::now();
    while (output_.find(text) == std::string::npos)
        if (!readmore(seconds - secondssince(start))) return false;
    return true;
}

void process::stopreading()
{
    if (pipe_ >= 0) close(pipe_);
    pipe_ = -1;
}

void process::send(int signal) const
{
    kill(child_, signal);
}

ending process::wait()
{
    constexpr double longtime = 600;
    while (readmore(longtime)) {}
    ending end;
    int status = 0;
    rusage used = {};
    wait4(child_, &status, 0, &used);
    child_ = -1;
    end.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    end.output = output_;
    end.errors = readfile(streams_.file("errors"));
    end.cpuseconds = secondsof(used.ru_utime) + secondsof(used.ru_stime);
    end.peakmegabytes = static_cast<double>(used.ru_maxrss) * 1024 / 1e6;
    return end;
}

bool process::killonce(const std::function<bool()>& condition)
{
    return signalonce(SIGKILL, condition);
}

bool process::signalonce(int signal, const std::function<bool()>& condition)
{
    int status = 0;
    bool started = false;
    while (waitpid(child_, &status, 0) == child_ && WIFSTOPPED(status)) {
        if (condition()) {
            send(signal);
            if (signal != SIGKILL) ptrace(PTRACE_DETACH, child_, nullptr, 0);
            return true;
        }
        constexpr int call = SIGTRAP | 0x80; // a stop at a call of the system, in place of a signal
        const int stop = WSTOPSIG(status);
        if (!started)
            ptrace(PTRACE_SETOPTIONS, child_, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
        const bool own = stop == call || !started; // the first stop is at the start of the program
        started = true;
        ptrace(PTRACE_SYSCALL, child_, nullptr, own ? 0 : stop);
    }
    child_ = -1;
    return false;
}

ending ranprocess(const processsetting& setting)
{
    return process(setting).wait();
}

void becomeordinary()
{
    constexpr uid_t nobody = 65534;
    if (geteuid() == 0 && setuid(nobody) != 0) _exit(126);
}

void ownmounts()
{
    if (unshare(CLONE_NEWNS) == 0) return;
    const std::string user = "0 " + std::to_string(geteuid()) + " 1";
    const std::string group = "0 " + std::to_string(getegid()) + " 1";
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) _exit(125);
    writeentry("/proc/self/setgroups", "deny");
    writeentry("/proc/self/uid_map", user);
    writeentry("/proc/self/gid_map", group);
}

void betraced()
{
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(126);
}

bool tracingworks()
{
    processsetting setting;
    setting.folder = "/";
    setting.program = "/bin/true";
    setting.before = betraced;
    return process(setting).killonce([] { return true; });
}

bool within(double seconds, const std::function<bool()>& condition)
{
    const auto start = steadyclock::now();
    while (!condition()) {
        if (secondssince(start) > seconds) return false;
        constexpr useconds_t ashortwhile = 100;
        usleep(ashortwhile);
    }
    return true;
}

namedfiles filesin(const std::string& folder)
{
    namedfiles files;
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        files[name] = entry.is_directory() ? "folder" : readfile(entry.path().string());
    }
    return files;
}

publicprogram::publicprogram(const std::string& original)
{
    fs::copy_file(original, path());
    fs::permissions(folder_.path(), fs::perms(0755));
    fs::permissions(path(), fs::perms(0755));
}

} // namespace torvik
