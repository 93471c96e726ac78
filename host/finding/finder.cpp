#include "host/finding/finder.h"

#include <algorithm>

namespace plc::host {

namespace {

/// How long Ctrl-C may go unnoticed.
constexpr Time kSlice = std::chrono::milliseconds(50);

void tell(const FindingGround &ground, FrameNews::Kind kind, const QByteArray &bytes, int attempt)
{
    if (!ground.trace)
        return;
    FrameNews news;
    news.kind = kind;
    news.at = ground.now();
    news.bytes = bytes;
    news.attempt = attempt;
    ground.trace(news);
}

} // namespace

std::optional<Answer> ask(FindingGround &ground, Asking &asking, const Question &question)
{
    asking.begin(question, ground.now());
    for (;;) {
        if (ground.isCancelled())
            return std::nullopt;
        const Time now = ground.now();
        const Asking::Step step = asking.step(now);
        if (step.kind == Asking::Step::Kind::Over)
            return asking.answer();
        if (step.kind == Asking::Step::Kind::Send) {
            ground.port.send(step.bytes);
            asking.sent(now, ground.now());
            tell(ground, FrameNews::Kind::Sent, step.bytes, asking.answer().attempts);
            continue;
        }
        const QByteArray bytes = ground.port.receive(std::min(step.until, now + kSlice));
        if (!bytes.isEmpty())
            tell(ground, FrameNews::Kind::Received, bytes, 0);
        asking.heard(bytes, ground.now());
    }
}

bool carryOut(FindingGround &ground, Asking &asking, Finder &finder,
              const std::function<void(const Answer &)> &heed)
{
    while (const std::optional<Question> question = finder.next()) {
        const std::optional<Answer> answer = ask(ground, asking, *question);
        if (!answer)
            return false;
        finder.take(*answer);
        if (heed)
            heed(*answer);
    }
    return true;
}

} // namespace plc::host
