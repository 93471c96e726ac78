// What plchost finds out about stations by itself: identify, limits, map and raw, and projects with holes.

#include <unistd.h>

#include <csignal>
#include <json/json.h>

#include "packaging_line.h"
#include "programs.h"

namespace {

using namespace plc::test;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

/// A name of no file yet, which is gone with its object.
class NewFile
{
public:
    explicit NewFile(const std::string &name)
        : path_(::testing::TempDir() + name + "_" + std::to_string(getpid()))
    {
        unlink(path_.c_str());
    }
    ~NewFile() { unlink(path_.c_str()); }
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;
    const std::string &path() const { return path_; }

private:
    std::string path_;
};

Json::Value jsonOf(const std::string &text)
{
    Json::Value value;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &errors)) << errors << text;
    return value;
}

class Finding : public ::testing::Test
{
protected:
    Finished host(const std::string &command, const Words &arguments) const
    {
        return plchost(Words{command, "-p", terminal, "-o", "60"} + arguments);
    }

    void serve(const Words &arguments)
    {
        station = startStation(Words{"-a", "5"} + arguments);
        terminal = station->terminal();
    }

    std::unique_ptr<Server> station;
    std::string terminal;
};

const Words kDevice{"--server-id",     "Acme 7",     "--identity",  "0=Acme",
                    "--identity",      "1=P-7",      "--identity",  "2=1.4",
                    "--max-registers", "60",         "--only",      "4x:100-163",
                    "--only",          "4x:170-205", "--functions", "1,3,6,8,16,17,43"};

TEST_F(Finding, IdentifiesAStation)
{
    serve(kDevice);
    const Finished text = host("identify", {"-a", "5"});
    EXPECT_EQ(0, text.exitCode) << text.errors;
    EXPECT_EQ("station 5\n"
              "  identification (43/14)    basic, single objects too\n"
              "    object 0, vendor name   Acme\n"
              "    object 1, product code  P-7\n"
              "    object 2, revision      1.4\n"
              "  server id (17)            Acme 7 (run status on)\n"
              "  echo test (8/0)           answered\n",
              text.output);
    const Json::Value record = jsonOf(host("identify", {"-a", "5", "--format", "ndjson"}).output);
    EXPECT_EQ("Acme", record["identification"]["objects"][0]["value"]["text"].asString());
    EXPECT_TRUE(record["server_id"]["running"].asBool());
}

TEST_F(Finding, ToldBySeveralStationsTheExitCodeSaysHowMany)
{
    serve({"--functions", "3"});
    const Finished refused = host("identify", {"-a", "5"});
    EXPECT_EQ(3, refused.exitCode);
    EXPECT_THAT(refused.output, HasSubstr("exception 01 illegal function"));
    const Finished none = plchost({"identify", "-p", terminal, "-o", "0.1", "--retries", "0", "-a", "6,7"});
    EXPECT_EQ(2, none.exitCode);
    EXPECT_EQ("station 6: nothing heard\nstation 7: nothing heard\n", none.output);
}

TEST_F(Finding, TellsTheLimitsOfAStation)
{
    serve(kDevice);
    const Finished text = host("limits", {"-a", "5", "-r", "100", "--samples", "5"});
    EXPECT_EQ(0, text.exitCode) << text.errors;
    EXPECT_THAT(text.output, AllOf(HasSubstr("read coils (1)                known\n"),
                                   HasSubstr("read input registers (4)      unknown\n"),
                                   HasSubstr("most registers in one read    60\n"),
                                   HasSubstr("reads over lacking registers  refused, at 206\n")));
    const Json::Value record =
        jsonOf(host("limits", {"-a", "5", "-r", "100", "--samples", "5", "--format", "ndjson"}).output);
    EXPECT_EQ(60, record["registers"]["most"].asInt());
    EXPECT_EQ(5, record["reply_time"]["count"].asInt());
    const Finished stopped = station->stop();
    EXPECT_THAT(stopped.errors, HasSubstr("answered ")) << "the statistics of the station";
}

TEST_F(Finding, MapsAnAreaIntoAProjectThatRunsWithoutAnException)
{
    serve(kDevice);
    const NewFile project("finding_project");
    const Finished mapped = host("map", {"-a", "5", "4x:0-999", "--write-project", project.path()});
    EXPECT_EQ(0, mapped.exitCode) << mapped.errors;
    EXPECT_THAT(mapped.output, HasSubstr("first  last  count\n100    163   64\n170    205   36\n"));
    EXPECT_THAT(mapped.errors, HasSubstr("islands of fewer than 32 registers may be missed"));
    const Finished again = host("map", {"-a", "5", "4x:0-999", "--write-project", project.path()});
    EXPECT_EQ(1, again.exitCode);
    EXPECT_THAT(again.errors, HasSubstr("exists; name a file that does not"));

    const Finished run = plchost({"run", project.path(), "--scans", "3", "--format", "ndjson"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const Json::Value statistics = jsonOf(run.lines().back());
    EXPECT_EQ(0, statistics["total"]["exceptions"].asInt());
    EXPECT_LE(6, statistics["total"]["good"].asInt());
}

TEST_F(Finding, AStationThatIsNotThereIsToldAsThat)
{
    serve({});
    const Finished none =
        plchost({"map", "-p", terminal, "-o", "0.02", "--retries", "1", "-a", "6", "4x:0-40"});
    EXPECT_EQ(2, none.exitCode);
    EXPECT_EQ("plchost: the station answers nothing; is it there? Where it is silent about what it lacks, "
              "--known names an address that it has\n",
              none.errors);
    const Finished known = plchost(
        {"map", "-p", terminal, "-o", "0.02", "--retries", "1", "-a", "6", "4x:0-40", "--known", "3"});
    EXPECT_EQ(2, known.exitCode);
    EXPECT_EQ("plchost: the station answers nothing; is it there?\n", known.errors);
}

TEST_F(Finding, OneOfAThingIsNotToldAsSeveral)
{
    serve({"--only", "4x:7-7"});
    const Finished mapped = host("map", {"-a", "5", "4x:7-7"});
    EXPECT_EQ(0, mapped.exitCode) << mapped.errors;
    EXPECT_THAT(mapped.output, HasSubstr("4x:7 to 7: 1 island, 1 register, in 1 request\n"));
}

TEST_F(Finding, AMapInCsvRunsAsItIs)
{
    serve(kDevice);
    const Finished mapped = host("map", {"-a", "5", "4x:0-999", "--format", "csv"});
    EXPECT_EQ("name,area,address,station,count,rate,kind\n"
              "4x.100-163,4x,100,5,64,0,\n4x.170-205,4x,170,5,36,0,\n,4x,164,5,6,,hole\n",
              mapped.output);
    EXPECT_THAT(mapped.errors, HasSubstr("plchost: no request may have more than 60 registers here; "
                                         "give project from-csv --max-block 60\n"));
    const TemporaryFile map(mapped.output);
    const Finished made =
        plchost({"project", "from-csv", map.path(), "-p", terminal, "-o", "60", "--max-block", "60"});
    EXPECT_EQ(0, made.exitCode) << made.errors;
    const TemporaryFile project(made.output);
    const Finished run = plchost({"run", project.path(), "--scans", "1"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
}

TEST_F(Finding, NoRequestOfAProjectReachesOverItsHoles)
{
    serve({"--only", "4x:0-9", "--only", "4x:12-40", "--only", "4x:45-60", "--only", "0x:0-7", "--only",
           "0x:9-20"});
    // Variables everywhere, one a line, of which the driver alone would make one request.
    std::string variables;
    for (const int address : {0, 3, 8, 12, 13, 20, 33, 39, 45, 60})
        variables += (variables.empty() ? "" : ",\n") + std::string("{\"name\": \"R") +
                     std::to_string(address) + R"(", "area": "4x", "address": )" + std::to_string(address) +
                     ", \"rate\": " + std::to_string(address % 3 == 0 ? 2 : 0) + "}";
    for (const int address : {0, 7, 9, 20})
        variables += ",\n{\"name\": \"B" + std::to_string(address) + R"(", "area": "0x", "address": )" +
                     std::to_string(address) + "}";
    const std::string link =
        R"("link": {"port": ")" + terminal + R"(", "replyTimeoutMs": 60000, "station": 5},)";
    const std::string holes = R"("holes": [{"area": "4x", "address": 10, "count": 2}, {"area": "4x",
        "address": 41, "count": 4}, {"area": "0x", "address": 8}],)";
    const TemporaryFile without("{" + link + "\"variables\": [" + variables + "]}");
    const Finished refused = plchost({"run", without.path(), "--scans", "1"});
    EXPECT_EQ(3, refused.exitCode) << "without its holes the project is refused as a whole";

    const TemporaryFile project("{" + link + holes + "\"variables\": [" + variables + "]}");
    const Finished planned = plchost({"plan", project.path(), "--format", "json"});
    EXPECT_EQ(0, planned.exitCode) << planned.errors;
    const Json::Value plan = jsonOf(planned.output);
    EXPECT_EQ(5u, plan["requests"].size()) << planned.output;
    for (const Json::Value &request : plan["requests"]) {
        const int first = request["first"].asInt();
        const int last = first + request["count"].asInt() - 1;
        const bool isBits = request["area"].asString() == "0x";
        for (const auto &[from, to] : isBits ? std::vector<std::pair<int, int>>{{8, 8}}
                                             : std::vector<std::pair<int, int>>{{10, 11}, {41, 44}})
            EXPECT_TRUE(last < from || to < first) << first << " to " << last;
    }
    const Finished run = plchost({"run", project.path(), "--scans", "3", "--format", "ndjson"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ(0, jsonOf(run.lines().back())["total"]["exceptions"].asInt());
}

TEST_F(Finding, CtrlCKeepsTheMapAndTheSameCommandGoesOn)
{
    const Words there{"--only", "4x:64-127", "--only", "4x:13000-13099"};
    // More than a minute of reads is left when the signal comes, however late that is.
    serve(there + Words{"--delay", "200"});
    const NewFile kept("finding_state");
    const auto words = [&] {
        return Words{"map",      "-p",        terminal, "-a", "5", "4x:0-16383",
                     "--resume", kept.path(), "-v",     "-o", "60"};
    };
    plc::host::ChildProcess map(PLC_HOST_PROGRAM, words(), true);
    const auto limit = plc::runtime::steadyNow() + kPatience;
    while (map.errors().find("-> 05 03 00 80 ") == std::string::npos && plc::runtime::steadyNow() < limit)
        map.readLine(plc::runtime::steadyNow() + std::chrono::milliseconds(20));
    map.signal(SIGINT);
    EXPECT_EQ(6, map.waitForEnd(limit)) << map.errors();
    EXPECT_THAT(map.output(), HasSubstr("64     127"));
    EXPECT_THAT(map.output(), Not(HasSubstr("13000")));
    EXPECT_THAT(map.errors(), HasSubstr("the same command goes on where this one has ended"));
    serve(there);
    const Finished rest = plchost(words());
    EXPECT_EQ(0, rest.exitCode) << rest.errors;
    EXPECT_THAT(rest.output, AllOf(HasSubstr("64     127"), HasSubstr("13000  13099")));
    EXPECT_THAT(rest.errors, Not(HasSubstr("-> 05 03 00 00 "))) << "what was known is not asked for again";
    const Finished other = plchost({"map", "-p", terminal, "-a", "5", "3x:0-4095", "--resume", kept.path()});
    EXPECT_EQ(1, other.exitCode);
    EXPECT_THAT(other.errors, HasSubstr("the map is another one"));
}

TEST_F(Finding, SendsAnyBytesAndShowsTheAnswerFieldByField)
{
    serve({"--areas", TemporaryFile(R"({"4x": {"100": [4660, 7]}})").path(), "--only", "4x:0-200"});
    const Finished good = host("raw", {"05", "03", "0064", "00", "02"});
    EXPECT_EQ(0, good.exitCode) << good.errors;
    EXPECT_EQ("-> 05 03 00 64 00 02 84 50\n"
              "<- 05 03 04 12 34 00 07 BA 87\n"
              "   station       05     5\n"
              "   function      03     read holding registers (3)\n"
              "   byte count    04     4\n"
              "   register 100  12 34  4660\n"
              "   register 101  00 07  7\n"
              "   CRC           BA 87  good\n",
              good.output);
    const Finished refused = host("raw", {"05 03 01 00 00 01"});
    EXPECT_EQ(3, refused.exitCode);
    EXPECT_THAT(refused.output, HasSubstr("exception code  02     02 illegal data address\n"));
    const Finished wrong =
        plchost({"raw", "-p", terminal, "-o", "0.1", "--no-crc", "05 03 00 64 00 02 84 51"});
    EXPECT_EQ(2, wrong.exitCode);
    EXPECT_EQ("-> 05 03 00 64 00 02 84 51\n-- nothing heard\n", wrong.output);
    const Finished broadcast = host("raw", {"00 06 00 64 00 09"});
    EXPECT_EQ(0, broadcast.exitCode);
    EXPECT_EQ("-> 00 06 00 64 00 09 09 C2\n-- a broadcast, which nobody answers\n", broadcast.output);
    EXPECT_EQ("broadcast",
              jsonOf(host("raw", {"00 06 00 64 00 0A", "--format", "ndjson"}).output)["state"].asString());
    EXPECT_THAT(host("raw", {"05 03 00 64 00 01"}).output, HasSubstr("register 100  00 0A"));
    const Finished forbidden = host("raw", {"--read-only", "05 06 00 64 00 01"});
    EXPECT_EQ(1, forbidden.exitCode);
    EXPECT_THAT(forbidden.errors, HasSubstr("--read-only: the bytes are no request of which it is known"));
    EXPECT_EQ(0, host("raw", {"--read-only", "05 03 00 64 00 01"}).exitCode);
}

TEST(FindingByLibmodbus, AStationOfAnotherMakerIsIdentifiedAndMapped)
{
    Server station(PLC_LIBMODBUS_STATION, {});
    // It is silent about functions that it does not know, which costs the time-out and its late guard twice.
    // The repetition is needed: behind a refusal it drops what comes too soon.
    const Words where{"-p", station.terminal(), "-a", "17"};
    const Words line = where + Words{"-o", "3", "--retries", "1"};
    const Finished identified = plchost(Words{"identify"} + line);
    EXPECT_EQ(0, identified.exitCode) << identified.errors;
    EXPECT_THAT(identified.output, AllOf(HasSubstr("server id (17)"), HasSubstr("4C 4D 42")))
        << "libmodbus says LMB and its version, behind a byte that is no letter";
    const Finished limits = plchost(Words{"limits", "--samples", "5"} + line);
    EXPECT_EQ(0, limits.exitCode) << limits.errors;
    EXPECT_THAT(limits.output, HasSubstr("most registers in one read    125\n"));
    for (const char *const area : {"4x:0-4095", "3x:0-4095", "0x:0-4095", "1x:0-4095"}) {
        const Finished mapped = plchost(Words{"map", area, "-o", "60"} + where);
        EXPECT_EQ(0, mapped.exitCode) << mapped.errors;
        EXPECT_THAT(mapped.output, HasSubstr("first  last  count\n0      999   1000\n\n")) << area;
    }
}

TEST(FindingByPymodbus, AStationOfAnotherMakerIsIdentifiedAndMapped)
{
    Server station("/usr/bin/python3", {PLC_PYMODBUS_STATION});
    const Words line{"-p", station.terminal(), "-a", "9", "-o", "60"};
    const Finished identified = plchost(Words{"identify"} + line);
    EXPECT_EQ(0, identified.exitCode) << identified.errors;
    EXPECT_THAT(identified.output,
                AllOf(HasSubstr("object 0, vendor name            Witness\n"),
                      HasSubstr("object 4, product name           Station of another maker\n"),
                      HasSubstr("echo test (8/0)                    answered\n")));
    const Finished mapped = plchost(Words{"map", "4x:0-999"} + line);
    EXPECT_EQ(0, mapped.exitCode) << mapped.errors;
    EXPECT_THAT(mapped.output, HasSubstr("first  last  count\n40     139   100\n145    244   100\n\n"));
}

} // namespace
