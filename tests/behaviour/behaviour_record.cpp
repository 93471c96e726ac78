// Keeps a record of what the library does: a fingerprint of each of many random sequences of calls. A change
// of the library that should not be seen leaves the record as it is.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>

#include "sequence.h"

namespace plc::behaviour {

namespace {

constexpr int kSequences = 5000;
constexpr int kPerLine = 5;
// Fewer sequences need not meet every event.
constexpr int kFewestForEvents = 400;

constexpr const char *kHelp =
    "behaviour_record --library LIBRARY --record FILE [--sequences N] [--events]\n"
    "behaviour_record --library LIBRARY --record FILE --write\n"
    "behaviour_record --library LIBRARY --against OLDER-LIBRARY [--sequences N] [--sequence I]\n"
    "behaviour_record --library LIBRARY --show I\n"
    "\n"
    "Plays random sequences of calls of every entry point on the library and compares what it does with the "
    "record,\n"
    "or call by call with what an older build of the library does. Shows the first difference in words.\n"
    "\n"
    "--record FILE     fingerprints of the sequences\n"
    "--write           writes the record: after a change that is meant to be seen\n"
    "--against OLDER   the build that is right\n"
    "--sequences N     the first N sequences only\n"
    "--sequence I      sequence I only\n"
    "--show I          prints sequence I, call by call\n"
    "--events          prints how often each kind of event happened\n"
    "\n"
    "Exit codes: 0 no difference; 1 a difference, or an event that never happened; 2 wrong usage or no "
    "library.\n";

struct Arguments
{
    std::string library, record, against;
    int sequences = kSequences;
    int only = -1;
    int show = -1;
    bool write = false;
    bool events = false;
};

int numberOf(const std::string &option, const std::string &value)
{
    std::size_t used = 0;
    int number = -1;
    try {
        number = std::stoi(value, &used);
    } catch (const std::exception &) {
        used = 0;
    }
    if (used == 0 || used != value.size() || number < 0)
        throw std::invalid_argument("'" + value + "' is no value for " + option);
    return number;
}

Arguments readArguments(int argc, char **argv)
{
    Arguments arguments;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--write") {
            arguments.write = true;
            continue;
        }
        if (option == "--events") {
            arguments.events = true;
            continue;
        }
        if (i + 1 == argc)
            throw std::invalid_argument("unknown argument '" + option + "', or its value is missing");
        const std::string value = argv[++i];
        if (option == "--library")
            arguments.library = value;
        else if (option == "--record")
            arguments.record = value;
        else if (option == "--against")
            arguments.against = value;
        else if (option == "--sequences")
            arguments.sequences = std::min(numberOf(option, value), kSequences);
        else if (option == "--sequence")
            arguments.only = numberOf(option, value);
        else if (option == "--show")
            arguments.show = numberOf(option, value);
        else
            throw std::invalid_argument("unknown argument '" + option + "'");
    }
    if (arguments.library.empty() ||
        (arguments.record.empty() && arguments.against.empty() && arguments.show < 0))
        throw std::invalid_argument("what is to be done? See behaviour_record --help");
    return arguments;
}

/// Long texts are shown from a little before the place where they part.
std::string excerpt(const std::string &shown, const std::string &other)
{
    constexpr std::size_t before = 60, most = 600;
    std::size_t at = 0;
    while (at < shown.size() && at < other.size() && shown[at] == other[at])
        ++at;
    const std::size_t from = shown.size() > most && at > before ? at - before : 0;
    return (from > 0 ? "... " : "") + shown.substr(from, most) + (shown.size() > from + most ? " ..." : "");
}

void print(int number, const Call &call)
{
    constexpr std::size_t most = 300;
    const auto shortened = [](const std::string &text) {
        return text.size() > most ? text.substr(0, most) + " ..." : text;
    };
    std::cout << "  call " << number << ": " << shortened(call.asked) << "\n      " << shortened(call.found)
              << "\n";
}

/// Prints the first call in which the transcripts part, the one before it, and what each library did.
void printDifference(int sequence, const Transcript &older, const Transcript &newer)
{
    std::size_t at = 0;
    while (at < older.size() && at < newer.size() && older[at] == newer[at])
        ++at;
    const Call nothing = {"no call any more", ""};
    const Call &expected = at < older.size() ? older[at] : nothing;
    const Call &found = at < newer.size() ? newer[at] : nothing;
    std::cout << "sequence " << sequence << ", call " << at << " of " << older.size() << " differs.\n";
    if (at > 0)
        std::cout << "  before:   " << older[at - 1].asked << "\n";
    std::cout << "  call:     " << excerpt(expected.asked, found.asked) << "\n";
    if (expected.asked != found.asked)
        std::cout << "  or now:   " << excerpt(found.asked, expected.asked) << "\n";
    std::cout << "  expected: " << excerpt(expected.found, found.found) << "\n"
              << "  found:    " << excerpt(found.found, expected.found) << "\n";
}

int compareLibraries(const Arguments &arguments, EventCounts &events)
{
    LoadedDriver older(arguments.against);
    LoadedDriver newer(arguments.library);
    EventCounts ignored = noEvents();
    const int first = arguments.only >= 0 ? arguments.only : 0;
    const int last = arguments.only >= 0 ? arguments.only + 1 : arguments.sequences;
    for (int sequence = first; sequence < last; ++sequence) {
        const Transcript expected = play(older, sequence, ignored);
        const Transcript found = play(newer, sequence, events);
        if (expected != found) {
            printDifference(sequence, expected, found);
            return 1;
        }
    }
    std::cout << last - first << " sequences, no difference\n";
    return 0;
}

std::map<int, std::string> readRecord(const std::string &path)
{
    std::ifstream file(path);
    if (!file)
        throw std::runtime_error("no record " + path);
    std::map<int, std::string> record;
    std::string word;
    int next = 0;
    while (file >> word) {
        if (word[0] == '#')
            std::getline(file, word);
        else if (word.back() == ':')
            next = numberOf(path, word.substr(0, word.size() - 1));
        else
            record[next++] = word;
    }
    return record;
}

void writeRecord(const std::string &path, LoadedDriver &driver, EventCounts &events)
{
    std::ofstream file(path);
    file << "# What the library does in " << kSequences << " random sequences of calls: a fingerprint each.\n"
         << "# Written by behaviour_record --write after a change that is meant to be seen, and never by "
            "hand.\n";
    for (int sequence = 0; sequence < kSequences; ++sequence) {
        if (sequence % kPerLine == 0)
            file << (sequence > 0 ? "\n" : "") << sequence << ":";
        file << ' ' << fingerprintOf(play(driver, sequence, events));
    }
    file << "\n";
    if (!file.flush())
        throw std::runtime_error("the record cannot be written: " + path);
}

int compareRecord(const Arguments &arguments, EventCounts &events)
{
    LoadedDriver driver(arguments.library);
    const std::map<int, std::string> record = readRecord(arguments.record);
    int different = 0;
    for (int sequence = 0; sequence < arguments.sequences; ++sequence) {
        const Transcript transcript = play(driver, sequence, events);
        const std::string found = fingerprintOf(transcript);
        const auto kept = record.find(sequence);
        const std::string expected = kept == record.end() ? std::string() : kept->second;
        if (found == expected)
            continue;
        if (++different > 1)
            continue;
        const int calls = static_cast<int>(transcript.size());
        const Stretch where = kept == record.end() ? Stretch{0, 0} : firstDifference(expected, found);
        const int end = std::min(where.end, calls);
        std::cout << "sequence " << sequence << " differs from the record, most likely from one of its calls "
                  << where.first << " to " << end - 1 << " on. What the library does there now:\n";
        for (int call = where.first; call < end; ++call)
            print(call, transcript[static_cast<std::size_t>(call)]);
        std::cout << "The call itself, with what was expected, is shown beside a build of the last commit "
                     "that was right:\n"
                  << "  behaviour_record --library " << arguments.library
                  << " --against OLDER-LIBRARY --sequence " << sequence << "\n";
    }
    if (different > 0)
        std::cout << different << " of " << arguments.sequences << " sequences differ from the record\n";
    else
        std::cout << arguments.sequences << " sequences as recorded\n";
    return different > 0 ? 1 : 0;
}

int reportEvents(const EventCounts &events, bool all, int sequences)
{
    int missing = 0;
    for (const auto &event : events) {
        if (all)
            std::cout << "  " << event.second << "  " << event.first << "\n";
        if (event.second > 0 || sequences < kFewestForEvents)
            continue;
        std::cout << "never happened: " << event.first << "\n";
        ++missing;
    }
    return missing > 0 ? 1 : 0;
}

int run(const Arguments &arguments)
{
    EventCounts events = noEvents();
    if (arguments.show >= 0) {
        LoadedDriver driver(arguments.library);
        const Transcript transcript = play(driver, arguments.show, events);
        for (std::size_t i = 0; i < transcript.size(); ++i)
            std::cout << "  call " << i << ": " << transcript[i].asked << "\n      " << transcript[i].found
                      << "\n";
        return 0;
    }
    if (!arguments.against.empty())
        return compareLibraries(arguments, events);
    int result = 0;
    if (arguments.write) {
        LoadedDriver driver(arguments.library);
        writeRecord(arguments.record, driver, events);
    } else {
        result = compareRecord(arguments, events);
    }
    const int sequences = arguments.write ? kSequences : arguments.sequences;
    return std::max(result, reportEvents(events, arguments.events, sequences));
}

} // namespace

} // namespace plc::behaviour

int main(int argc, char **argv)
{
    if (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
        std::fputs(plc::behaviour::kHelp, stdout);
        return 0;
    }
    try {
        return plc::behaviour::run(plc::behaviour::readArguments(argc, argv));
    } catch (const std::exception &error) {
        std::cerr << "behaviour_record: " << error.what() << "\n";
        return 2;
    }
}
