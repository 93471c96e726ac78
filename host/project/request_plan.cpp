#include "host/project/request_plan.h"

#include <algorithm>
#include <numeric>

#include "core/register_types.h"
#include "core/result_codes.h"
#include "runtime/line/reply_search.h"
#include "runtime/panel/pieces.h"
#include "runtime/panel/session.h"

namespace plc::host {

namespace {

constexpr int kScansToSettle = 2;
constexpr int kScans = 10;
/// Far more steps than scans of thousands of requests take; reached only where some requests are never
/// served.
constexpr int kMostExchanges = 200000;

int readFunction(int baseType)
{
    switch (baseType) {
    case kCoil:
        return 1;
    case kDiscreteInput:
        return 2;
    case kInputRegister:
        return 4;
    default:
        return 3;
    }
}

QByteArray zeroReply(const Protocol &head, bool crcHighFirst)
{
    QByteArray reply;
    reply.append(static_cast<char>(head.var.station));
    reply.append(static_cast<char>(readFunction(head.var.regType)));
    reply.append(static_cast<char>(head.dataLen));
    reply.append(head.dataLen, '\0');
    const std::uint16_t crc = crcOf(reply.constData(), reply.size());
    const char low = static_cast<char>(crc & 0xFFu);
    const char high = static_cast<char>(crc >> 8);
    reply.append(crcHighFirst ? high : low);
    reply.append(crcHighFirst ? low : high);
    return reply;
}

} // namespace

std::optional<Exchange> exchangeWithoutLine(DriverLibrary &driver, const LinkSettings &link)
{
    Protocol *const head = driver.comCommunication(0);
    if (!head)
        return std::nullopt;
    QByteArray reply = zeroReply(*head, hasOption(link.options, kOptionSwapReplyCrc));
    Exchange exchange;
    exchange.place = {head->var.station, head->var.regType, head->var.address, head->var.count};
    exchange.bytesOut = head->sendLen;
    exchange.bytesIn = reply.size();
    // A Modbus reply is found by the first call and judged by the second; then the head is gone.
    if (head->replyLen == kReplyOpen)
        driver.dataCom(&reply, reply.size());
    const RW_VAR &result = *driver.dataCom(&reply, reply.size());
    if (result.status == kResultPending)
        throw Failure(FailureKind::Usage,
                      "the driver does not take the reply to one of its own requests; is '" + driver.path() +
                          "' the right library?");
    exchange.ordinary = isOrdinaryRead(result, exchange.place);
    return exchange;
}

Time exchangeTime(const LineTiming &timing, Time answerDelay, int bytesOut, int bytesIn)
{
    return timing.silence() + timing.wire(bytesOut) + std::max(answerDelay, timing.silence()) +
           timing.wire(bytesIn);
}

void Cost::add(const LineTiming &timing, Time answerDelay, const Exchange &exchange)
{
    ++requests;
    bytes += exchange.bytesOut + exchange.bytesIn;
    time += exchangeTime(timing, answerDelay, exchange.bytesOut, exchange.bytesIn);
}

RequestPlan::RequestPlan(const std::string &path, const Project &project, Time answerDelay)
    : link_(project.link), timing_(project.link.baud), answerDelay_(answerDelay),
      map_(project.variables, project.rows), scans_(map_)
{
    askOneByOne(path, project);
    DriverLibrary driver(path);
    // Sets the driver up; it is never started.
    Session session(driver, link_);
    session.registerVariables(project.variables, project.rows);
    // The first scan meets requests that are not known yet, and the second scan begins anywhere in the turn
    // of the slowest level: neither is counted.
    ScanStatistics first(map_);
    scan(driver, &first, kScansToSettle);
    scan(driver, &scans_, kScans);
    for (const Cost &cost : costs_) {
        grouped_.requests += cost.requests;
        grouped_.bytes += cost.bytes;
        grouped_.time += cost.time;
    }
}

/// Variables that are registered one by one are not packed. The driver moves its whole list on with every
/// request, so that a few hundred at a time take less than all at once.
void RequestPlan::askOneByOne(const std::string &path, const Project &project)
{
    constexpr std::ptrdiff_t kAtOnce = 500;
    for (auto from = project.variables.begin(); from != project.variables.end();) {
        DriverLibrary driver(path);
        Session session(driver, link_);
        int requests = 0;
        const auto to = from + std::min(kAtOnce, project.variables.end() - from);
        for (; from != to; ++from) {
            session.watch(*from);
            requests += readPieces(*from, link_);
        }
        for (int i = 0; i < requests; ++i) {
            const auto exchange = exchangeWithoutLine(driver, link_);
            if (exchange)
                single_.add(timing_, answerDelay_, *exchange);
        }
    }
}

void RequestPlan::scan(DriverLibrary &driver, ScanStatistics *scans, std::uint64_t number)
{
    // Over a relay only the read list is served, in turn.
    const int most = link_.linkMode != 0 ? single_.requests * static_cast<int>(number) : kMostExchanges;
    // Not 0, which stands for never.
    Time now = std::chrono::seconds(1);
    ServedRead read;
    for (int i = 0; i < most && scans->scans() < number; ++i) {
        const auto exchange = exchangeWithoutLine(driver, link_);
        if (!exchange)
            return;
        read.request = map_.note(exchange->place, exchange->ordinary);
        if (static_cast<std::size_t>(read.request) == costs_.size()) {
            costs_.emplace_back();
            costs_.back().add(timing_, answerDelay_, *exchange);
        }
        read.good = true;
        read.startedAt = now;
        now += exchangeTime(timing_, answerDelay_, exchange->bytesOut, exchange->bytesIn);
        read.endedAt = now;
        ++read.requestsSoFar;
        read.bytesSoFar += static_cast<std::uint64_t>(exchange->bytesOut + exchange->bytesIn);
        scans->served(read);
    }
}

std::vector<int> RequestPlan::sorted() const
{
    std::vector<int> numbers(costs_.size());
    std::iota(numbers.begin(), numbers.end(), 0);
    std::sort(numbers.begin(), numbers.end(), [this](int a, int b) { return map_.place(a) < map_.place(b); });
    return numbers;
}

std::vector<int> RequestPlan::neverRead() const
{
    std::vector<int> numbers;
    for (int variable = 0; variable < map_.variableCount(); ++variable) {
        if (!map_.isCovered(variable))
            numbers.push_back(variable);
    }
    return numbers;
}

} // namespace plc::host
