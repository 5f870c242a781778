// The standard streams of a program.
#pragma once

namespace torvik::tools {

// Takes the places of standard streams that were closed before the start, so that no file gets one and with it
// what is meant for the terminal. What is written there fails; a program that this one becomes finds them
// closed again.
void reservestreams();

} // namespace torvik::tools
