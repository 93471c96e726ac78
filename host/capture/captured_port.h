/// @file
/// --capture of a command that sends: its port, with everything that goes over it kept.
///
/// A command that opens a port of its own wraps it:
///
///     const std::shared_ptr<Capture> capture = Capture::open(options.captureFile, head, hasRate);
///     std::unique_ptr<Port> port = captured(std::make_unique<SerialPort>(settings), capture);
///     ...
///     port.reset();
///     finishCapture(capture.get()); // host/commands/capture_option.h: exit code 7 where packets are missing
#ifndef PLC_CAPTURE_CAPTURED_PORT_H
#define PLC_CAPTURE_CAPTURED_PORT_H

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "host/capture/capture_file.h"
#include "host/capture/heard_line.h"
#include "host/capture/listener.h"
#include "host/capture/pcapng.h"
#include "host/runtime_names.h"
#include "runtime/line/port.h"

namespace plc::host {

/// The capture of one line. Calls from several threads come one after the other.
class Capture
{
public:
    using NanosecondClock = std::function<std::int64_t()>;

    /// @param path     file, or "-" for standard output; empty: null is returned, which captures nothing.
    /// @param hasRate  false for a pseudo-terminal.
    /// @param hasEcho  the line hands back what is sent on it; that is left out of the capture.
    /// @param giveUp   see CaptureFile.
    /// @throw Failure  (wrong usage) where the file cannot be opened.
    static std::shared_ptr<Capture> open(const std::string &path, const LineSettings &settings, bool hasRate,
                                         bool hasEcho = false, const std::function<bool()> &giveUp = nullptr);

    Capture(const std::string &path, const CaptureHead &head, int baud, bool hasRate, bool hasEcho,
            const std::function<bool()> &giveUp = nullptr);

    /// @param begin  when the first bit went out.
    void sent(const QByteArray &bytes, Time begin);
    /// Bytes that came at @p now; none where nothing has come until then.
    void received(const QByteArray &bytes, Time now);
    /// A frame that a listener has heard.
    void add(const HeardFrame &frame, const Heard &heard);
    /// Writes what is left.
    void finish();

    const std::string &path() const { return path_; }
    /// See CaptureFile.
    int error() const { return file_.error(); }
    std::uint64_t lost() const { return file_.lost(); }
    /// Without its head, which is a block too, nothing of the capture can be read.
    bool hasHead() const { return !file_.isEmpty(); }

private:
    void addAll(const std::vector<HeardFrame> &frames);
    void write(const HeardFrame &frame, const Heard &heard);

    const std::string path_;
    const bool hasEcho_;
    std::mutex mutex_;
    CaptureFile file_;
    Listener listener_;
    HeardLine line_;
    std::int64_t wallStart_;    ///< nanoseconds since 1970 where the other clock shows 0
    QByteArray echo_;           ///< what is still to come back
    std::uint64_t missing_ = 0; ///< packets lost since the last that was kept
};

/// @return @p port, with its bytes kept in @p capture; @p port itself where that is null.
std::unique_ptr<Port> captured(std::unique_ptr<Port> port, const std::shared_ptr<Capture> &capture);

} // namespace plc::host

#endif
