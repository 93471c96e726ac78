/// @file
/// What a sequence of calls did, in words.
#ifndef PLC_TESTS_BEHAVIOUR_TRANSCRIPT_H
#define PLC_TESTS_BEHAVIOUR_TRANSCRIPT_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace plc::behaviour {

/// One call: what was asked, and all that could be seen afterwards.
struct Call
{
    std::string asked;
    std::string found;

    bool operator==(const Call &other) const { return asked == other.asked && found == other.found; }
};

using Transcript = std::vector<Call>;

/// How often each kind of event happened.
using EventCounts = std::map<std::string, long>;

/// The fingerprint of a transcript: 16 hexadecimal digits. The first eight stand for the whole. The others
/// stand for its first 20, 40, ... 160 calls, so that a difference can be placed without a second library.
std::string fingerprintOf(const Transcript &transcript);

/// Calls from #first to the one before #end, counted from 0.
struct Stretch
{
    int first;
    int end;
};

/// The calls among which two fingerprints part. One digit is equal by chance once in sixteen times, so the
/// difference may also lie a little before.
Stretch firstDifference(const std::string &expected, const std::string &found);

} // namespace plc::behaviour

#endif
