/// @file
/// The variables of a line, the screen, and what is known of each.
#ifndef PLC_API_VARIABLE_BOOK_H
#define PLC_API_VARIABLE_BOOK_H

#include <map>
#include <memory>
#include <set>
#include <vector>

#include "plcruntime/plcruntime.h"
#include "runtime/api/line_access.h"
#include "runtime/panel/grouped_reads.h"
#include "runtime/panel/session.h"

namespace plc::api {

/// What has changed for somebody who watches.
struct VariableChange
{
    plcruntime::VariableId id = 0;
    bool value = false;
    bool quality = false;
};

/// Not locked, and knows neither threads nor handlers. What a session knows is handed in; without a session
/// the line is not open.
class VariableBook
{
public:
    using Id = plcruntime::VariableId;
    using Changes = std::vector<VariableChange>;

    explicit VariableBook(const plcruntime::LineSettings &line) : line_(line) {}

    /// @throw runtime::Failure  (wrong usage) as of Line::addVariable().
    Id add(const plcruntime::VariableSettings &settings, bool isOpen);
    /// @return false for an unknown one.
    bool remove(Id id);
    Id find(const QString &name) const;
    QList<Id> ids() const;
    /// Null for an unknown one.
    const plcruntime::VariableSettings *settings(Id id) const;
    const runtime::Variable *variable(Id id) const;

    /// @throw runtime::Failure  (wrong usage) as of Line::showScreen().
    void setScreen(const QList<Id> &ids);
    const QList<Id> &screen() const { return screen_; }
    /// Hands the screen to the driver, which reads it from now on.
    void show(runtime::Session &session);
    /// The rows that the driver has been given.
    void setRows(const std::vector<runtime::PriorityRow> &rows) { rows_ = rows; }
    /// The user has switched a station: what was read before it says nothing of how long a scan takes.
    void interrupt(int station)
    {
        if (reads_)
            reads_->interrupt(station);
    }
    /// Name rows for all variables with a priority.
    std::vector<runtime::PriorityRow> priorityRows() const;

    /// Takes news that the session has digested.
    Changes note(const runtime::News &news, runtime::Session &session);
    /// An order to read it has ended so.
    Changes noteReading(Id id, const runtime::OrderResult &result, runtime::Session &session);
    /// A write of @p written has ended: the readings that waited for it can be taken, or are lost.
    Changes noteWritten(const runtime::Variable &written, bool isGood, const runtime::Session &session);
    /// An order to write it has begun, or ended.
    Changes notePending(Id id, int change, const runtime::Session *session, runtime::Time now);
    /// All that may have changed by itself: with the time, with a station, with the port.
    Changes look(const runtime::Session *session, runtime::Time now);
    /// The line is about to be closed: what is known stays.
    void keep(const runtime::Session &session);

    /// @return with an id of 0 for an unknown one.
    plcruntime::VariableState state(Id id, const runtime::Session *session, runtime::Time now) const;
    /// See LineAccess::partsOf().
    plcruntime::KnownParts partsOf(Id id, runtime::Time now) const;

private:
    /// What is known of a variable of which no reading was complete.
    struct Partial
    {
        QByteArray bytes;
        std::vector<bool> missing; ///< by value; empty = nothing is known
        runtime::Time readAt{};    ///< the oldest part
    };
    struct Entry
    {
        plcruntime::VariableSettings settings;
        runtime::Variable variable;
        int shown = -1; ///< its number among the reads of the screen; -1 = it is not on the screen
        bool hasValue = false;
        bool isInPieces = false;
        QByteArray bytes;       ///< of the last complete good reading
        runtime::Time readAt{}; ///< its oldest part
        Partial partial;        ///< while there is no value
        runtime::OrderResult
            lastRead; ///< how its last reading ended that the present screen knows nothing of
        int pendingWrites = 0;
        plcruntime::Quality toldQuality = plcruntime::Quality::NeverRead;
        bool toldPending = false;
    };

    static std::map<int, int> readsBefore(const std::vector<runtime::Variable> &variables,
                                          const runtime::LinkSettings &settings);
    runtime::WatchStatus statusOf(const Entry &entry, const runtime::Session *session,
                                  runtime::Time now) const;
    runtime::Time timeoutOf(int station, const runtime::Session *session) const;
    void fold(Entry *entry, const runtime::Session &session);
    void takePartial(Entry *entry, const runtime::Session &session) const;
    Changes noteRequest(int request, runtime::Session &session);
    Changes noteFormer(int request, runtime::Session &session);
    bool take(Id id, Entry *entry, const runtime::WatchStatus &status, const runtime::Session &session,
              runtime::Time now);
    bool noteQuality(Entry *entry, const runtime::WatchStatus &status);
    void pace(runtime::Session &session);

    const plcruntime::LineSettings &line_;
    std::map<Id, Entry> entries_;
    Id last_ = 0;
    std::set<Id> putOff_; ///< whose good reading waits for the end of a write that touches it
    QList<Id> screen_;
    std::vector<Id> shown_; ///< ids by their number among the reads of the screen
    std::unique_ptr<runtime::GroupedReads> reads_;
    /// The screen before, of which a request may still be under way.
    struct Former
    {
        std::unique_ptr<runtime::GroupedReads> reads;
        std::vector<Id> shown;
        int generation = 0;
    };
    Former former_;
    std::vector<runtime::PriorityRow> rows_; ///< that the driver has
    int generation_ = 0;                     ///< as News::screen has it
    int pacedBy_ = 0;                        ///< requests known when the pace was told last
};

} // namespace plc::api

#endif
