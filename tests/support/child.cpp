#include "support/child.h"

#include "support/runs.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace torvik {

namespace {

void redirect(const std::string& name, int flags, int descriptor)
{
    const int file = open(name.c_str(), flags, 0600);
    if (file < 0 || dup2(file, descriptor) < 0) _exit(126);
}

} // namespace

childresult inchild(const std::function<void()>& step, const std::string& input)
{
    const temporaryfolder streams;
    writefile(streams.file("input"), input);
    std::fflush(nullptr); // what the test printed so far is its own, not the child's
    const pid_t child = fork();
    if (child == 0) {
        redirect(streams.file("input"), O_RDONLY, STDIN_FILENO);
        redirect(streams.file("output"), O_WRONLY | O_CREAT, STDOUT_FILENO);
        redirect(streams.file("errors"), O_WRONLY | O_CREAT, STDERR_FILENO);
        step();
        std::exit(stepreturned);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
            readfile(streams.file("output")), readfile(streams.file("errors"))};
}

} // namespace torvik
