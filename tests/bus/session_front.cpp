#include "session_front.h"

#include "runtime/panel/pieces.h"
#include "runtime/panel/registration.h"
#include "witness.h"

namespace plc::bus {

SessionFront::SessionFront(runtime::DriverLibrary &driver, const runtime::LinkSettings &settings,
                           const runtime::LinkFactory &makeLink, Listener listener,
                           const std::vector<runtime::Variable> &watched, bool packed,
                           const std::vector<std::pair<std::string, int>> &priorities)
    : driver_(driver), session_(driver, settings, makeLink), listener_(std::move(listener)),
      watched_(watched), packed_(packed)
{
    int reads = 0;
    for (const runtime::Variable &variable : watched_) {
        if (!packed_)
            session_.watch(variable);
        firstReads_.push_back(reads);
        reads += runtime::readPieces(variable, settings);
    }
    if (packed_)
        registerPacked(priorities);
    session_.setListener([this](const runtime::News &news) {
        if (news.transaction)
            listener_.transaction(*news.transaction);
        if (news.station)
            listener_.station(news.station->station, news.station->offline);
        if (news.port)
            listener_.port(news.port->change == runtime::PortNews::Change::Back);
    });
}

void SessionFront::registerPacked(const std::vector<std::pair<std::string, int>> &priorities)
{
    constexpr int kTexts = 10;
    constexpr int kLevelText = 8;
    std::vector<runtime::PriorityRow> rows;
    for (const auto &[name, level] : priorities) {
        runtime::PriorityRow row;
        for (int i = 0; i < kTexts; ++i)
            row.texts.append(QString());
        row.texts[kLevelText] = QString::number(level);
        row.texts.last() = QString::fromStdString(name);
        const runtime::Variable place =
            runtime::parseVariable(name.substr(0, 2) + ":" + name.substr(2), false);
        row.level = level;
        row.baseType = place.area->baseType;
        rows.push_back(row);
    }
    session_.registerVariables(watched_, rows);
    session_.setLevelStations(runtime::levelStations(watched_, rows, session_.settings()));
}

void SessionFront::checkStatus(Time now, std::size_t number, Witness &witness) const
{
    // What the driver has packed has no status in the session.
    if (packed_)
        return;
    const runtime::Variable &variable = watched_[number];
    const runtime::WatchStatus status = session_.status(static_cast<int>(number));
    witness.checkStatus(
        now, variable.text, session_.stationOf(variable),
        witness.readsOf(firstReads_[number], runtime::readPieces(variable, session_.settings())),
        {status.state, status.hasValue, status.age, Time(1), false, false});
}

} // namespace plc::bus
