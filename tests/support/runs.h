// Whole runs of the program in a folder of their own, and what they leave there.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace torvik {

// A folder that is removed with everything in it when it goes out of scope.
class temporaryfolder {
public:
    temporaryfolder();
    ~temporaryfolder();
    temporaryfolder(const temporaryfolder&) = delete;
    temporaryfolder& operator=(const temporaryfolder&) = delete;

    const std::string& path() const
    {
        return path_;
    }
    std::string file(const std::string& name) const
    {
        return path_ + "/" + name;
    }

private:
    std::string path_;
};

std::string readfile(const std::string& path);
void writefile(const std::string& path, const std::string& content);

using namedfiles = std::map<std::string, std::string>; // name to content

struct runresult {
    int status = -1;    // exit status; 128 + signal for a run that was killed
    std::string output; // standard output
    std::string errors; // standard error
    namedfiles files;   // what the run left beside its inputs
};

// What a run is given.
struct runsetting {
    std::vector<std::string> arguments;
    std::string input = "\n"; // standard input
    namedfiles files;         // laid into the folder before
    std::string program;      // the program of this build if empty
};

// Runs the program in a new folder and waits for it.
runresult runtorvik(const runsetting& setting);

// Runs the program on one input file "a.idx" with the given content.
runresult runtorvik(const std::string& idx);

// Becomes another program, in a child process; its exit status is 127 if that fails.
[[noreturn]] void execute(const std::string& program, const std::vector<std::string>& arguments);

// Masks the date and the figures of the timing lines, which become "<8 columns>" or "<13 columns>".
std::string masked(const std::string& text);

// Gives what an action prints on standard output.
std::string printedby(const std::function<void()>& action);

// Gives what an action writes to a unit, which is opened for it.
std::string writtenby(int unit, const std::function<void()>& action);

// Gives what an action writes to the log, which is on for it alone.
std::string loggedby(const std::function<void()>& action);

// Gives the lines of a text, without their ends.
std::vector<std::string> linesof(const std::string& text);

} // namespace torvik
