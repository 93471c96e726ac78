#include "help_text.h"

namespace plc::station {

cli::Manual manual()
{
    cli::Manual manual;
    manual.examples = {
        {"stations 1 and 2, holding register 0 of both counting, one reply in ten lost, and a master in a "
         "second terminal",
         {cli::asTyped("plcstation -a 1,2 --counters 4x:0 --drop 10 --seed 7 --link /tmp/plc-line\n"
                       "plchost read --port /tmp/plc-line -a 1 4x:0:10")}}};
    manual.chapters = {
        {"How it begins and ends",
         {cli::flowing(
             "The first line on standard output is the path of the pseudo-terminal, which stands for the "
             "serial port. SIGTERM, SIGINT or SIGHUP ends the program, SIGHUP unless it was started to "
             "ignore that, as nohup does.")}},
        {"A file for --areas: initial values by area and address",
         {cli::asTyped("{ \"4x\": { \"100\": [4660, -5], \"200-299\": 7 },\n"
                       "  \"0x\": { \"16\": [1, 0, true] },\n"
                       "  \"moving\": [ { \"area\": \"3x\", \"address\": 0, \"count\": 4, \"step\": 1 } ],\n"
                       "  \"stations\": { \"2\": { \"4x\": { \"100\": 1 } } } }"),
          cli::flowing(
              "What stands at the top is for every station, what stands under \"stations\" for that one "
              "alone. \"moving\" does what --counters does.")},
         cli::Extent::All},
        {"Exit codes",
         {cli::listed({{"0", "ended as it was asked to"},
                       {"1", "wrong usage or input file"},
                       {"5", "the pseudo-terminal cannot be opened or is lost"},
                       {"7", "output could not be written"}})}},
        {"Documents, in docs/ or in /usr/share/doc/plcdriver-tools",
         {cli::listed({{"plcstation.md", "all options, the areas file, faults, what is not simulated"},
                       {"wire_formats.md", "frames byte by byte, relay frames too"}})}}};
    return manual;
}

} // namespace plc::station
