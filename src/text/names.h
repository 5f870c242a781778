// The name of the input file and the names made from it.
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace torvik {

// A name as it was given, padded with blanks to 1024 characters; a longer one is cut.
using inputfilename = std::array<char, 1024>;

// Puts a text into a name.
inputfilename makefilename(std::string_view text);

// Gives the name without its leading and trailing blanks.
std::string trimmedname(const inputfilename& filename);

// Gives the name of an output file: the trimmed name without its last four characters (the
// ".idx"), then the suffix.
//
// Given:     filename   as obtained
//            suffix     for example "_idx.log"
// Returned:  the name; where the trimmed name has four characters or fewer, the suffix alone
std::string outputname(const inputfilename& filename, std::string_view suffix);

} // namespace torvik
