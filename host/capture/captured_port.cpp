#include "host/capture/captured_port.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>

#include "cli/version.h"

namespace plc::host {

namespace {

constexpr Time kPatience = std::chrono::seconds(2);

std::string describe(const LineSettings &settings, bool hasRate)
{
    if (!hasRate)
        return settings.port;
    const char *const kLetters[] = {"E", "O", "N"};
    return settings.port + " at " + std::to_string(settings.baud) + " 8" +
           kLetters[static_cast<int>(settings.parity)] + std::to_string(settings.effectiveStopBits());
}

std::int64_t wallNow()
{
    return std::chrono::duration_cast<Time>(std::chrono::system_clock::now().time_since_epoch()).count();
}

class CapturedPort : public Port
{
public:
    CapturedPort(std::unique_ptr<Port> port, std::shared_ptr<Capture> capture)
        : port_(std::move(port)), capture_(std::move(capture))
    {}

    void send(const QByteArray &bytes) override
    {
        const Time begin = steadyNow();
        port_->send(bytes);
        capture_->sent(bytes, begin);
    }

    QByteArray receive(Time until) override
    {
        QByteArray bytes = port_->receive(until);
        capture_->received(bytes, steadyNow());
        return bytes;
    }

    std::string identity() const override { return port_->identity(); }
    void rest(Time until) override { port_->rest(until); }
    std::optional<LineErrors> errors() override { return port_->errors(); }

private:
    std::unique_ptr<Port> port_;
    std::shared_ptr<Capture> capture_;
};

} // namespace

std::shared_ptr<Capture> Capture::open(const std::string &path, const LineSettings &settings, bool hasRate,
                                       bool hasEcho, const std::function<bool()> &giveUp)
{
    if (path.empty())
        return nullptr;
    const CaptureHead head{cli::versionLine("plchost"), describe(settings, hasRate),
                           hasRate ? settings.baud : 0};
    return std::make_shared<Capture>(path, head, settings.baud, hasRate, hasEcho, giveUp);
}

Capture::Capture(const std::string &path, const CaptureHead &head, int baud, bool hasRate, bool hasEcho,
                 const std::function<bool()> &giveUp)
    : path_(path), hasEcho_(hasEcho), file_(path, CaptureFile::kMostWaiting, giveUp),
      listener_(baud, hasRate), line_(listener_.character()), wallStart_(wallNow() - steadyNow().count())
{
    file_.add(captureBegin(head));
}

void Capture::sent(const QByteArray &bytes, Time begin)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    addAll(listener_.sent(bytes, begin));
    echo_ = hasEcho_ ? bytes : QByteArray();
}

void Capture::received(const QByteArray &bytes, Time now)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    int echoed = 0;
    while (echoed < std::min(bytes.size(), echo_.size()) && bytes.at(echoed) == echo_.at(echoed))
        ++echoed;
    echo_ = echoed == bytes.size() ? echo_.mid(echoed) : QByteArray();
    addAll(listener_.take(bytes.mid(echoed), now));
}

void Capture::add(const HeardFrame &frame, const Heard &heard)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    write(frame, heard);
}

void Capture::addAll(const std::vector<HeardFrame> &frames)
{
    for (const HeardFrame &frame : frames)
        write(frame, line_.add(frame));
}

void Capture::write(const HeardFrame &frame, const Heard &heard)
{
    CapturedPacket packet;
    packet.frame = frame;
    packet.time = wallStart_ + frame.end.count();
    packet.comment = verdictOf(frame, heard);
    if (frame.uncertain > Time::zero()) {
        char text[64];
        std::snprintf(text, sizeof text, "; was up to %.1f ms earlier", 1000 * seconds(frame.uncertain));
        packet.comment += text;
    }
    if (missing_ > 0)
        packet.comment += "; " + std::to_string(missing_) + " packets before this packet are missing";
    missing_ = file_.add(captureBlock(packet)) ? 0 : missing_ + 1;
}

void Capture::finish()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    addAll(listener_.finish());
    file_.finish(kPatience);
}

std::unique_ptr<Port> captured(std::unique_ptr<Port> port, const std::shared_ptr<Capture> &capture)
{
    if (!capture)
        return port;
    return std::make_unique<CapturedPort>(std::move(port), capture);
}

} // namespace plc::host
