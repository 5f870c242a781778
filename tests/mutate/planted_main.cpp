// Runs tests, and writes which faults each of them reaches.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

extern "C" {
extern unsigned char* torvik_reached_faults;
extern std::size_t torvik_reachable_faults;
}

namespace {

using faults = std::vector<unsigned char>;

// What has been reached since the last call.
faults taken()
{
    faults reached(torvik_reached_faults, torvik_reached_faults + torvik_reachable_faults);
    std::fill(torvik_reached_faults, torvik_reached_faults + torvik_reachable_faults, 0);
    return reached;
}

// A line for each test: its name, its time in milliseconds, and the numbers. What is reached before
// the first test, or while a suite is set up, counts for all tests that follow it.
class recorder : public testing::EmptyTestEventListener {
public:
    explicit recorder(const std::string& name) : file_(name), at_start_(taken()) {}

    void OnTestSuiteStart(const testing::TestSuite& suite) override
    {
        taken();
        of_suite_.assign(torvik_reachable_faults, 0);
        first_ = suite.test_to_run_count() > 0;
    }

    void OnTestStart(const testing::TestInfo& /*test*/) override
    {
        const faults before = taken();
        if (first_) of_suite_ = before;
        first_ = false;
    }

    void OnTestEnd(const testing::TestInfo& test) override
    {
        const faults reached = taken();
        file_ << test.test_suite_name() << '.' << test.name() << ' '
              << test.result()->elapsed_time();
        for (std::size_t i = 0; i < reached.size(); ++i)
            if (reached[i] + of_suite_[i] + at_start_[i] > 0) file_ << ' ' << i;
        file_ << std::endl;
    }

private:
    std::ofstream file_;
    faults at_start_;
    faults of_suite_;
    bool first_ = true;
};

} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    const char* const name = std::getenv("TORVIK_FAULTS_TESTS");
    if (name != nullptr && torvik_reached_faults != nullptr) {
        testing::UnitTest::GetInstance()->listeners().Append(new recorder(name));
        unsetenv("TORVIK_FAULTS_TESTS"); // a test may start this program again
    }
    return RUN_ALL_TESTS();
}
