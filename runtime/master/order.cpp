#include "runtime/master/order.h"

namespace plc::runtime {

namespace {

int word(const QByteArray &frame, int at)
{
    return static_cast<unsigned char>(frame.at(at)) * 256 + static_cast<unsigned char>(frame.at(at + 1));
}

/// Fills in what exactly a station has refused.
void noteRefused(const TransactionReport &report, OrderResult *result)
{
    constexpr int kRequestHead = 6;
    const Request &request = report.request;
    result->function = report.refusedFunction;
    result->address = request.address;
    result->count = request.count;
    // A relay frame counts in its own units; a Modbus frame has on the line what the station has seen.
    if (request.function == 0 || request.frame.size() < kRequestHead)
        return;
    const bool isSingle = request.function == 5 || request.function == 6;
    result->address = word(request.frame, 2);
    result->count = isSingle ? 1 : word(request.frame, 4);
}

} // namespace

OrderResult resultOf(const TransactionReport &report)
{
    OrderResult result;
    result.function = report.request.function;
    result.exceptionCode = report.exceptionCode;
    result.attempts = report.attempts;
    result.missed = report.missed;
    switch (report.cause) {
    case AttemptEnd::Good:
    case AttemptEnd::NoReplyDue:
        result.end = report.done ? OrderEnd::Good : OrderEnd::Unusable;
        break;
    case AttemptEnd::Exception:
        result.end = OrderEnd::Refused;
        noteRefused(report, &result);
        break;
    case AttemptEnd::Unusable:
        result.end = OrderEnd::Unusable;
        break;
    case AttemptEnd::NoReply:
        result.end = OrderEnd::NoReply;
        break;
    case AttemptEnd::LineBusy:
        result.end = OrderEnd::LineBusy;
        break;
    case AttemptEnd::PortLost:
        result.end =
            report.attempts > 0 && report.request.direction != 0 ? OrderEnd::Unconfirmed : OrderEnd::PortLost;
        break;
    case AttemptEnd::Withheld:
        result.end =
            report.attempts > 0 && report.request.direction != 0 ? OrderEnd::Unconfirmed : OrderEnd::Offline;
        break;
    }
    return result;
}

} // namespace plc::runtime
