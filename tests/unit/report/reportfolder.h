// A working folder of its own for a test of the reports, and a store filled by hand.
#pragma once

#include "store/savedbases.h"
#include "support/fresh.h"
#include "support/matrices.h"
#include "support/runs.h"

#include <filesystem>
#include <initializer_list>
#include <string>

namespace torvik {

// Makes a temporary folder the working directory for as long as it lives.
class workingfolder {
public:
    workingfolder() : before_(std::filesystem::current_path())
    {
        std::filesystem::current_path(folder_.path());
    }
    ~workingfolder()
    {
        std::error_code error;
        std::filesystem::current_path(before_, error);
    }
    workingfolder(const workingfolder&) = delete;
    workingfolder& operator=(const workingfolder&) = delete;

    bool holds(const std::string& name) const
    {
        return std::filesystem::exists(folder_.file(name));
    }
    std::string read(const std::string& name) const
    {
        return readfile(folder_.file(name));
    }
    int count() const
    {
        int files = 0;
        for (const auto& entry : std::filesystem::directory_iterator(folder_.path()))
            files += entry.is_regular_file() ? 1 : 0;
        return files;
    }

private:
    std::filesystem::path before_;
    temporaryfolder folder_;
};

struct savedsolution {
    matrix3 basis;
    double quality;
};

// Fills the store with bases and qualities. Four reflections or fewer never suffice for a refit, so
// with them the store keeps these bases to the bit.
inline void fillstore(std::initializer_list<savedsolution> solutions)
{
    int slot = 0;
    for (const savedsolution& s : solutions) fillslot(++slot, s.basis, {}, s.quality);
    modofsavedbases.numberofsavedbases = slot;
}

// Rules as they stand in the files: a blank, then 56 characters.
inline const std::string D = " --------------------------------------------------------\n";
inline const std::string E = " ========================================================\n";

} // namespace torvik
