/// @file
/// Whoever finds something out by asking one thing after another.
#ifndef PLC_FINDING_FINDER_H
#define PLC_FINDING_FINDER_H

#include <functional>
#include <optional>

#include "host/finding/asking.h"
#include "runtime/line/port.h"
#include "runtime/master/link.h"

namespace plc::host {

/// Tells what to ask next and learns from the answers. It has neither clock nor port.
class Finder
{
public:
    Finder() = default;
    virtual ~Finder() = default;
    Finder(const Finder &) = delete;
    Finder &operator=(const Finder &) = delete;

    /// Nothing once all is known that can be.
    virtual std::optional<Question> next() = 0;
    /// The answer to what next() has told.
    virtual void take(const Answer &answer) = 0;
};

/// The line and the clock that finders work with.
struct FindingGround
{
    Port &port;
    std::function<Time()> now = steadyNow;
    std::function<bool()> isCancelled = [] { return false; };
    std::function<void(const FrameNews &)> trace = nullptr;
};

/// Asks one question.
/// @return nothing when it was cancelled.
/// @throw Failure  (port) when the port is lost.
std::optional<Answer> ask(FindingGround &ground, Asking &asking, const Question &question);

/// Asks all that @p finder wants to know.
/// @param heed  told of each answer, when the finder has taken it; may be null.
/// @return false when it was cancelled.
/// @throw Failure  as above.
bool carryOut(FindingGround &ground, Asking &asking, Finder &finder,
              const std::function<void(const Answer &)> &heed = nullptr);

} // namespace plc::host

#endif
