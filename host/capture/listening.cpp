#include "host/capture/listening.h"

#include "runtime/line/failure.h"

namespace plc::host {

void listenOn(Port &port, Listener &listener, const ListeningManner &manner,
              const std::function<void(const std::vector<HeardFrame> &)> &take)
{
    try {
        while (!manner.isOver()) {
            const Time until = std::min(manner.now() + ListeningManner::kLongestWait, listener.wakeAt());
            const QByteArray bytes = port.receive(until);
            take(listener.take(bytes, manner.now()));
        }
    } catch (const Failure &) {
        take(listener.finish());
        throw;
    }
    take(listener.finish());
}

std::optional<LineSetup> findSetup(SettingSearch &search, const ListeningManner &manner,
                                   const std::function<std::unique_ptr<Port>(const LineSetup &)> &open)
{
    SettingSearch::Step step = SettingSearch::Step::Next;
    std::unique_ptr<Port> port;
    bool hasOpened = false;
    while (!manner.isOver()) {
        if (step == SettingSearch::Step::Next) {
            port.reset(); // its settings are put back before others are asked for
            try {
                port = open(search.current());
            } catch (const Failure &) {
                // Not every port has every rate; but a port that cannot be opened at all is the end.
                if (!hasOpened)
                    throw;
                search.skip();
                continue;
            }
            hasOpened = true;
            search.begin(manner.now());
        }
        const Time until = std::min(manner.now() + ListeningManner::kLongestWait, search.wakeAt());
        const QByteArray bytes = port->receive(until);
        step = search.take(bytes, manner.now());
        if (step == SettingSearch::Step::Found)
            return search.current();
    }
    return std::nullopt;
}

} // namespace plc::host
