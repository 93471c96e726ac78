#include "host/commands/finding_reports.h"

#include "host/commands/json_line.h"
#include "host/finding/frame_fields.h"
#include "host/finding/map_state.h"
#include "host/finding/reading.h"
#include "runtime/line/exception_codes.h"
#include "runtime/line/number_text.h"
#include "runtime/line/rtu_layout.h"
#include "runtime/panel/value_text.h"

namespace plc::host {

namespace {

using Cells = std::vector<std::vector<std::string>>;

std::string hexOf(const QByteArray &bytes)
{
    return runtime::hexText(bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

/// The bytes as people read them; in other alphabets than ours in hexadecimal.
std::string textOf(const QByteArray &bytes)
{
    for (const char byte : bytes) {
        if (byte < ' ' || byte > '~')
            return std::string();
    }
    return bytes.toStdString();
}

std::string shown(const QByteArray &bytes)
{
    const std::string text = textOf(bytes);
    return text.empty() && !bytes.isEmpty() ? hexOf(bytes) : text;
}

std::string table(const Cells &cells)
{
    std::string lines;
    for (const std::string &line : layOut(cells)) {
        const std::size_t end = line.find_last_not_of(' ');
        lines += line.substr(0, end + 1) + "\n";
    }
    return lines;
}

const char *stateOf(const Answer &answer)
{
    switch (answer.kind) {
    case AnswerKind::Reply:
        return "good";
    case AnswerKind::Exception:
        return "refused";
    case AnswerKind::Unusable:
        return "bad reply";
    case AnswerKind::LineBusy:
        return "line busy";
    case AnswerKind::Nothing:
        break;
    }
    return "no answer";
}

void addState(const Answer &answer, JsonLine *line)
{
    line->text("state", stateOf(answer));
    if (answer.kind == AnswerKind::Exception)
        line->number("exception_code", answer.exceptionCode)
            .text("exception_name", exceptionMeaning(answer.exceptionCode).name);
    else if (!answer.isReply())
        line->text("reason", describe(answer));
}

/// What a server id has in front of its run status, which is 0 or FF.
QByteArray withoutStatus(const QByteArray &data)
{
    const bool hasStatus = !data.isEmpty() && (data.back() == '\0' || data.back() == '\xFF');
    return hasStatus ? data.left(data.size() - 1) : data;
}

std::string runStatus(const QByteArray &data)
{
    if (data.isEmpty() || (data.back() != '\0' && data.back() != '\xFF'))
        return std::string();
    return data.back() == '\0' ? "off" : "on";
}

std::string identityText(const Identification &found)
{
    Cells cells;
    const std::string head = "station " + std::to_string(found.station);
    if (!found.isThere())
        return head + ": " + describe(found.identification.answer) + "\n";
    std::string identity = describe(found.identification.answer);
    if (found.level != 0)
        identity = levelName(found.level);
    if (found.isCut)
        identity += "; it says that more follow, and was asked no further";
    cells.push_back({"  identification (43/14)", identity});
    for (const auto &[number, value] : found.objects) {
        const std::string name = objectName(number);
        cells.push_back(
            {"    object " + std::to_string(number) + (name.empty() ? "" : ", " + name), shown(value)});
    }
    const QByteArray id = found.serverIdData();
    std::string told = describe(found.serverId.answer);
    if (found.serverId.answer.isReply())
        told =
            shown(withoutStatus(id)) + (runStatus(id).empty() ? "" : " (run status " + runStatus(id) + ")");
    cells.push_back({"  server id (17)", told});
    cells.push_back({"  echo test (8/0)", describe(found.echoTest.answer)});
    return head + "\n" + table(cells);
}

std::string valueIn(const QByteArray &bytes)
{
    JsonLine value;
    value.text("hex", hexOf(bytes));
    if (!textOf(bytes).empty())
        value.text("text", textOf(bytes));
    return value.object();
}

std::string identityRecord(const Identification &found, WallTime time)
{
    JsonLine line("identity");
    line.text("time", isoTime(time)).number("station", found.station).flag("there", found.isThere());
    const auto add = [&line](const char *name, const FunctionNews &news, const auto &fill) {
        if (!news.isAsked)
            return;
        JsonLine part;
        addState(news.answer, &part);
        fill(&part);
        line.raw(name, part.object());
    };
    add("identification", found.identification, [&](JsonLine *part) {
        if (found.level != 0)
            part->number("level", found.level).text("level_name", levelName(found.level));
        std::string objects;
        for (const auto &[number, value] : found.objects) {
            JsonLine object;
            object.number("number", number);
            if (!objectName(number).empty())
                object.text("name", objectName(number));
            object.raw("value", valueIn(value));
            objects += (objects.empty() ? "" : ",") + object.object();
        }
        part->raw("objects", "[" + objects + "]").flag("cut", found.isCut);
    });
    add("server_id", found.serverId, [&](JsonLine *part) {
        const QByteArray data = found.serverIdData();
        if (!found.serverId.answer.isReply())
            return;
        part->raw("value", valueIn(withoutStatus(data)));
        if (!runStatus(data).empty())
            part->flag("running", runStatus(data) == "on");
    });
    add("echo_test", found.echoTest, [](JsonLine *) {});
    return line.object() + "\n";
}

const char *nameOf(Knowledge knowledge)
{
    switch (knowledge) {
    case Knowledge::Known:
        return "known";
    case Knowledge::Refuses:
        return "known, refuses this request";
    case Knowledge::Unknown:
        return "unknown";
    case Knowledge::NoAnswer:
        return "no answer";
    case Knowledge::NotAsked:
        break;
    }
    return "not asked";
}

const char *nameOf(GapReads gaps)
{
    switch (gaps) {
    case GapReads::Answered:
        return "answered";
    case GapReads::Refused:
        return "refused";
    case GapReads::NotFound:
        break;
    }
    return "not found";
}

std::string blockText(const LargestBlock &block)
{
    if (block.function == 0)
        return "no function reads them here";
    return std::string(block.isLimit ? "" : "at least ") + std::to_string(block.most) +
           (block.isLimit ? "" : "; what is behind them is lacking");
}

std::string limitsText(const StationLimits &limits)
{
    const std::string head = "station " + std::to_string(limits.station);
    if (!limits.isThere)
        return head + ": no answer to any read, with the CRC either way round\n";
    Cells cells;
    const auto order = [](bool highFirst) { return highFirst ? "high byte first" : "low byte first"; };
    cells.push_back({"  CRC of requests", order(limits.requestCrcHighFirst)});
    cells.push_back({"  CRC of replies", order(limits.replyCrcHighFirst)});
    for (const auto &[function, knowledge] : limits.functions)
        cells.push_back({"  " + numberedFunction(function), nameOf(knowledge)});
    cells.push_back({"  most registers in one read", blockText(limits.registers)});
    cells.push_back({"  most bits in one read", blockText(limits.bits)});
    cells.push_back({"  reads over lacking registers",
                     limits.gaps == GapReads::NotFound
                         ? "no lacking register was found"
                         : std::string(nameOf(limits.gaps)) + ", at " + std::to_string(limits.gapAt)});
    cells.push_back({"  least pause before a request", !limits.leastPause ? "not found"
                                                       : *limits.leastPause == Time::zero()
                                                           ? "the silence of the line is enough"
                                                           : inMilliseconds(*limits.leastPause) + " ms"});
    if (limits.replyTimes.count() > 0)
        cells.push_back({"  reply time", "p50 " + inMilliseconds(limits.replyTimes.percentile(50)) +
                                             " ms, p99 " + inMilliseconds(limits.replyTimes.percentile(99)) +
                                             " ms, longest " + inMilliseconds(limits.replyTimes.most()) +
                                             " ms, of " + std::to_string(limits.replyTimes.count()) +
                                             " reads"});
    return head + "\n" + table(cells);
}

std::string blockIn(const LargestBlock &block)
{
    if (block.function == 0)
        return "null";
    JsonLine part;
    part.number("function", block.function).number("most", block.most).flag("is_limit", block.isLimit);
    return part.object();
}

double ms(Time time)
{
    return seconds(time) * 1000;
}

std::string limitsRecord(const StationLimits &limits, WallTime time)
{
    JsonLine line("limits");
    line.text("time", isoTime(time)).number("station", limits.station).flag("there", limits.isThere);
    if (!limits.isThere)
        return line.object() + "\n";
    line.flag("request_crc_high_first", limits.requestCrcHighFirst);
    line.flag("reply_crc_high_first", limits.replyCrcHighFirst);
    std::string functions;
    for (const auto &[function, knowledge] : limits.functions) {
        JsonLine part;
        part.number("function", function).text("state", nameOf(knowledge));
        functions += (functions.empty() ? "" : ",") + part.object();
    }
    line.raw("functions", "[" + functions + "]");
    line.raw("registers", blockIn(limits.registers)).raw("bits", blockIn(limits.bits));
    line.text("gaps", nameOf(limits.gaps));
    if (limits.gaps != GapReads::NotFound)
        line.number("gap_at", limits.gapAt);
    if (limits.leastPause)
        line.decimal("least_pause_ms", ms(*limits.leastPause));
    else
        line.raw("least_pause_ms", "null");
    const runtime::Histogram &times = limits.replyTimes;
    JsonLine part;
    part.number("count", times.count())
        .decimal("least_ms", ms(times.least()))
        .decimal("p50_ms", ms(times.percentile(50)))
        .decimal("p99_ms", ms(times.percentile(99)))
        .decimal("most_ms", ms(times.most()));
    line.raw("reply_time", part.object());
    return line.object() + "\n";
}

const char *stateOf(const AreaMapper &mapper)
{
    switch (mapper.end()) {
    case MapEnd::Done:
        return "done";
    case MapEnd::NoAnswer:
        return "no answer";
    case MapEnd::UnknownFunction:
        return "refused";
    case MapEnd::Open:
        break;
    }
    return "interrupted";
}

int itemsOf(const AreaMapper &mapper)
{
    int items = 0;
    for (const Stretch &island : mapper.islands())
        items += island.count();
    return items;
}

std::string unitName(const AreaMapper &mapper)
{
    return isReadOfBits(mapper.wish().function) ? "bits" : "registers";
}

std::string countedItems(const AreaMapper &mapper, int number)
{
    return counted(static_cast<std::uint64_t>(number),
                   isReadOfBits(mapper.wish().function) ? "bit" : "register", unitName(mapper));
}

std::string mapText(const AreaMapper &mapper, std::uint64_t requests)
{
    const MapWish &wish = mapper.wish();
    const std::vector<Stretch> islands = mapper.islands();
    std::string text;
    if (!islands.empty()) {
        Cells cells{{"first", "last", "count"}};
        for (const Stretch &island : islands)
            cells.push_back(
                {std::to_string(island.first), std::to_string(island.last), std::to_string(island.count())});
        text = table(cells) + "\n";
    }
    return text + "station " + std::to_string(wish.station) + ", " + areaOfFunction(wish.function) + ":" +
           std::to_string(wish.first) + " to " + std::to_string(wish.first + wish.count - 1) + ": " +
           counted(islands.size(), "island", "islands") + ", " + countedItems(mapper, itemsOf(mapper)) +
           ", in " + counted(requests, "request", "requests") + "\n";
}

std::string mapRecords(const AreaMapper &mapper, std::uint64_t requests, WallTime time)
{
    const MapWish &wish = mapper.wish();
    const std::vector<Stretch> islands = mapper.islands();
    std::string lines;
    for (const Stretch &island : islands) {
        JsonLine line("island");
        line.text("time", isoTime(time))
            .number("station", wish.station)
            .text("area", areaOfFunction(wish.function));
        line.number("first", island.first).number("last", island.last).number("count", island.count());
        lines += line.object() + "\n";
    }
    JsonLine line("map");
    line.text("time", isoTime(time))
        .number("station", wish.station)
        .text("area", areaOfFunction(wish.function));
    line.number("first", wish.first)
        .number("last", wish.first + wish.count - 1)
        .text("state", stateOf(mapper));
    line.number("islands", islands.size()).number("items", itemsOf(mapper)).number("requests", requests);
    line.number("least", wish.least).number("most_in_one_read", mapper.block());
    line.number("unsettled", mapper.unsettled().size());
    line.flag("silent_about_lacking", mapper.isSilentAboutLacking());
    line.flag("reads_over_lacking", mapper.readsOverLacking());
    return lines + line.object() + "\n";
}

} // namespace

ExitCode exitCodeOf(const Answer &answer)
{
    switch (answer.kind) {
    case AnswerKind::Reply:
        return kExitGood;
    case AnswerKind::Exception:
        return kExitException;
    case AnswerKind::Unusable:
    case AnswerKind::LineBusy:
        return kExitUnusable;
    case AnswerKind::Nothing:
        break;
    }
    return kExitNoReply;
}

std::string rawReport(const QByteArray &request, const Answer &answer, bool isToAll, Format format,
                      WallTime time)
{
    constexpr const char *kNobodyAnswers = "a broadcast, which nobody answers";
    const bool isWithoutAnswer = isToAll && answer.kind == AnswerKind::Nothing;
    const std::vector<FrameField> fields =
        answer.isAnswer() ? fieldRows(answer.frame, request) : std::vector<FrameField>();
    if (format == Format::NdJson) {
        JsonLine line("answer");
        line.text("time", isoTime(time)).text("request", hexOf(request));
        if (isWithoutAnswer)
            line.text("state", "broadcast").text("reason", kNobodyAnswers);
        else
            addState(answer, &line);
        if (!answer.isAnswer())
            return line.object() + "\n";
        line.text("reply", hexOf(answer.frame)).decimal("reply_time_ms", ms(answer.replyTime));
        std::string list;
        for (const FrameField &field : fields) {
            JsonLine part;
            part.text("name", field.name).text("bytes", field.bytes);
            if (!field.text.empty())
                part.text("text", field.text);
            list += (list.empty() ? "" : ",") + part.object();
        }
        return line.raw("fields", "[" + list + "]").object() + "\n";
    }
    std::string text = "-> " + hexOf(request) + "\n";
    if (!answer.isAnswer())
        return text + "-- " + (isWithoutAnswer ? kNobodyAnswers : describe(answer)) + "\n";
    text += "<- " + hexOf(answer.frame) + "\n";
    Cells cells;
    for (const FrameField &field : fields)
        cells.push_back({"   " + field.name, field.bytes, field.text});
    return text + table(cells);
}

std::string identityReport(const Identification &found, Format format, WallTime time)
{
    return format == Format::NdJson ? identityRecord(found, time) : identityText(found);
}

std::string limitsReport(const StationLimits &limits, Format format, WallTime time)
{
    return format == Format::NdJson ? limitsRecord(limits, time) : limitsText(limits);
}

std::string mapReport(const AreaMapper &mapper, std::uint64_t requests, Format format, WallTime time)
{
    return format == Format::NdJson ? mapRecords(mapper, requests, time) : mapText(mapper, requests);
}

std::string mapAdvice(const AreaMapper &mapper, const std::string &resume)
{
    const auto line = [](const std::string &text) { return "plchost: " + text + "\n"; };
    std::string advice;
    switch (mapper.end()) {
    case MapEnd::Done:
        if (mapper.wish().least > 1)
            advice += line("islands of fewer than " + std::to_string(mapper.wish().least) + " " +
                           unitName(mapper) + " may be missed; --exact asks every address");
        break;
    case MapEnd::UnknownFunction:
        advice += line("the station refuses the function: exception 01 illegal function");
        break;
    case MapEnd::NoAnswer:
        if (!mapper.islands().empty())
            advice += line("the station no longer answers");
        else
            advice += line(std::string("the station answers nothing; is it there?") +
                           (mapper.wish().known ? ""
                                                : " Where it is silent about what it lacks, --known names an "
                                                  "address that it has"));
        break;
    case MapEnd::Open:
        break;
    }
    if (mapper.end() != MapEnd::Done && mapper.end() != MapEnd::UnknownFunction && !resume.empty())
        advice += line("the same command goes on where this one has ended: " + resume);
    if (mapper.isSilentAboutLacking())
        advice += line("the station is silent about what it lacks");
    if (mapper.readsOverLacking())
        advice +=
            line("the station answers reads over what it lacks, so that each address was asked for alone");
    const std::size_t unsettled = mapper.unsettled().size();
    if (unsettled > 0)
        advice += line(counted(unsettled, "address was", "addresses were") +
                       " never answered, and taken for lacking; is the line good?");
    return advice;
}

} // namespace plc::host
