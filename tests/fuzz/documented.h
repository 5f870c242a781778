// What the documents promise of the terminal and of the parameters, for the harness.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace torvik {

// What the program did that it must not do. Its text says what.
class misbehaviour : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Throws misbehaviour unless a condition is met.
void demand(bool met, const char* what);

// Takes the message at the end of a terminal text, with its frame of empty lines, out of the text.
// Throws misbehaviour if docs/formats.md does not hold that message, or the frame is another.
std::string takemessage(std::string& terminal);

// Throws misbehaviour unless a terminal text consists of echo lines.
void checkechoes(std::string_view terminal);

// Throws misbehaviour unless a terminal text consists of echo lines and those of a run.
void checkstages(std::string_view terminal);

// Throws misbehaviour if a parameter is outside the range given in docs/formats.md.
void checkparameters();

} // namespace torvik
