// The messages for parameters out of bounds.
#pragma once

namespace torvik {

// What is out of bounds, in the order of the messages.
enum parametererror : int {
    toomanyreflections = 1,
    toofewreflections,
    periodogramtypeoutofbounds,
    periodogramtypewithuservolumes,
    millerindexoutofbounds,
    minvolumetoosmall,
    minvolumeabovemaxvolume,
    volumeratiotoosmall,
    fractiontoolarge,
    fractiontoosmall,
    rankingfunctionoutofrange,
    extenttoolarge,
    extenttoosmall,
    criteriontoolarge,
    criteriontoosmall,
    firstweightnegative,
    secondweightnegative,
    weightstoosmall,
    savedbasestoomany,
    savedbasestoofew,
    sortingtoolarge,
    sortingtoosmall,
    lepagetoolarge,
    lepagetoosmall,
    logtoolarge,
    logtoosmall,
    wavelengthoutofbounds,
    uservolumestoofew,
    uservolumestoomany,
    uservolumetoosmall
};

// Prints the message of a parameter out of bounds, pauses and stops. Never returns.
//
// Given:     code   one of the above
[[noreturn]] void print_stop(int code);

} // namespace torvik
