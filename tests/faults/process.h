// A run of the program that goes on while the test looks on: it can be watched, signalled and ended.
#pragma once

#include "support/runs.h"

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace torvik {

// How a process is started.
struct processsetting {
    std::string folder;                   // its working directory
    std::vector<std::string> arguments;   // behind the program
    std::string program;                  // the program of this build if empty
    std::string input;                    // standard input
    std::function<void()> before = [] {}; // done in the child just before the program
    // The terminal takes one piece of output at a time: a run that goes on printing waits until the
    // test has read what it printed before.
    bool piecewise = false;
};

// How a process ended.
struct ending {
    int status = -1;          // exit status; 128 + signal for a run that was killed
    std::string output;       // standard output from the start
    std::string errors;       // standard error
    double cpuseconds = 0;    // user and system
    double peakmegabytes = 0; // of memory in use (MB: 10^6 bytes)
};

// A child process. It is killed if the test leaves it alone.
class process {
public:
    explicit process(const processsetting& setting);
    ~process();
    process(const process&) = delete;
    process& operator=(const process&) = delete;

    // Waits until standard output, read through a pipe, holds a text. Gives false if it ends, or
    // the seconds pass, without it.
    bool shows(const std::string& text, double seconds);

    // Closes the reading end of standard output.
    void stopreading();

    void send(int signal) const;

    // Waits for the end.
    ending wait();

    // For a process that was started to be traced: looks, before and after each of its calls of the
    // system, whether a condition holds, and kills it there as soon as it does. Gives false if the
    // process ended without.
    bool killonce(const std::function<bool()>& condition);

    // Sends another signal in the same manner, and lets the process go.
    bool signalonce(int signal, const std::function<bool()>& condition);

private:
    bool readmore(double seconds);

    temporaryfolder streams_;
    pid_t child_ = -1;
    int pipe_ = -1;
    std::string output_;
};

// Starts a process and waits for its end.
ending ranprocess(const processsetting& setting);

// In a child: becomes a user whom the protection of files stops, if it is root.
void becomeordinary();

// In a child: lets it mount disks that only it sees. A user who is not root becomes one to himself.
void ownmounts();

// In a child: lets the test trace it.
void betraced();

// Says whether a process can be traced here.
bool tracingworks();

// Says whether a condition holds within some seconds; looks at it every
// tenth of a millisecond.
bool within(double seconds, const std::function<bool()>& condition);

// Gives the files of a folder with their contents; a folder in it has the content "folder".
namedfiles filesin(const std::string& folder);

// A copy of the program that any user may run.
class publicprogram {
public:
    explicit publicprogram(const std::string& original = TORVIK_PROGRAM);
    std::string path() const
    {
        return folder_.file("Torvik");
    }

private:
    temporaryfolder folder_;
};

} // namespace torvik
