#include "support/runs.h"

#include "driver/write_log_file.h"
#include "text/units.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace torvik {

namespace {

namespace fs = std::filesystem;

// In the child: takes the three streams from files and becomes the program.
[[noreturn]] void becomeprogram(const runsetting& setting, const std::string& program,
                                const temporaryfolder& folder, const temporaryfolder& streams)
{
    const auto redirect = [&](const char* name, int flags, int descriptor) {
        const int file = open(streams.file(name).c_str(), flags, 0600);
        if (file < 0 || dup2(file, descriptor) < 0) _exit(126);
    };
    redirect("input", O_RDONLY, STDIN_FILENO);
    redirect("output", O_WRONLY | O_CREAT, STDOUT_FILENO);
    redirect("errors", O_WRONLY | O_CREAT, STDERR_FILENO);
    if (chdir(folder.path().c_str()) != 0) _exit(126);
    execute(program, setting.arguments);
}

int exitstatus(int status)
{
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

namedfiles filesleft(const temporaryfolder& folder, const namedfiles& inputs)
{
    namedfiles left;
    for (const auto& entry : fs::recursive_directory_iterator(folder.path())) {
        const std::string name = fs::relative(entry.path(), folder.path()).string();
        if (entry.is_regular_file() && !inputs.contains(name))
            left[name] = readfile(entry.path().string());
    }
    return left;
}

} // namespace

temporaryfolder::temporaryfolder()
{
    std::string name = (fs::temp_directory_path() / "torvik_XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    path_ = name;
}

temporaryfolder::~temporaryfolder()
{
    std::error_code error;
    fs::remove_all(path_, error);
}

std::string readfile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("cannot read " + path);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

void writefile(const std::string& path, const std::string& content)
{
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream file(path, std::ios::binary);
    file << content;
    if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

runresult runtorvik(const runsetting& setting)
{
    const temporaryfolder folder;
    const temporaryfolder streams;
    writefile(streams.file("input"), setting.input);
    for (const auto& [name, content] : setting.files) writefile(folder.file(name), content);
    const std::string program = setting.program.empty() ? TORVIK_PROGRAM : setting.program;

    const pid_t child = fork();
    if (child == 0) becomeprogram(setting, program, folder, streams);
    int status = 0;
    waitpid(child, &status, 0);
    return {exitstatus(status), readfile(streams.file("output")), readfile(streams.file("errors")),
            filesleft(folder, setting.files)};
}

runresult runtorvik(const std::string& idx)
{
    runsetting setting;
    setting.arguments = {"a.idx"};
    setting.files = {{"a.idx", idx}};
    return runtorvik(setting);
}

std::string masked(const std::string& text)
{
    static const std::regex date(R"( Date : \d{4}\.\d\d\.\d\d {20}Time : \d\d:\d\d:\d\d\.\d{3})");
    static const std::regex timing(
        R"( (System time|CPU time   ) :               ([ \d.*-]{8}|[ \d.*-]{13}) seconds)");
    std::string result;
    for (const std::string& line : linesof(text)) {
        std::smatch match;
        const bool candidate = line.starts_with(" Date") || line.starts_with(" System")
                               || line.starts_with(" CPU"); // the expressions take their time
        if (!candidate)
            result += line;
        else if (std::regex_match(line, date))
            result += " Date : <date>";
        else if (std::regex_match(line, match, timing))
            result += " " + match[1].str() + " : <" + std::to_string(match[2].length())
                      + " columns> seconds";
        else
            result += line;
        result += '\n';
    }
    if (!text.ends_with('\n') && !result.empty()) result.pop_back();
    return result;
}

std::string printedby(const std::function<void()>& action)
{
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

std::string writtenby(int unit, const std::function<void()>& action)
{
    const temporaryfolder folder;
    openoutput(unit, folder.file("unit"));
    action();
    closeoutput(unit);
    return readfile(folder.file("unit"));
}

std::string loggedby(const std::function<void()>& action)
{
    write_log_file.log_file_level = 1;
    write_log_file.log_file_number = logunit;
    const std::string text = writtenby(logunit, action);
    write_log_file = {};
    return text;
}

void execute(const std::string& program, const std::vector<std::string>& arguments)
{
    std::vector<std::string> words = {program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    execv(program.c_str(), pointers.data());
    _exit(127);
}

std::vector<std::string> linesof(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

} // namespace torvik
