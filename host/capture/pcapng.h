/// @file
/// Captures in the format pcapng, with a packet for each frame of the line.
///
/// A packet is an exported protocol unit (link type 252) of the dissector "mbrtu", noise of "data". It stands
/// on interface 0, "tx", where it goes to the stations, and on interface 1, "rx", where it comes from them.
/// Its flags have the same direction as seen from the master, none of a frame that may be either, and its
/// errors. Its time is the end of the last character.
#ifndef PLC_CAPTURE_PCAPNG_H
#define PLC_CAPTURE_PCAPNG_H

#include <QByteArray>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/capture/heard_frame.h"
#include "host/runtime_names.h"

namespace plc::host {

/// What is told once of a captured line.
struct CaptureHead
{
    std::string program; ///< that made the capture
    std::string line;    ///< for people: port and settings
    int baud = 0;        ///< bits per second; 0 = the line has no rate, as a pseudo-terminal
};

/// A packet. Its frame has no time of its own: that is `time`.
struct CapturedPacket
{
    HeardFrame frame;
    std::int64_t time = 0;    ///< nanoseconds since 1970, UTC
    bool hasDirection = true; ///< false: the capture does not tell who sent the frame
    std::string comment;
};

/// The blocks that begin a capture.
std::string captureBegin(const CaptureHead &head);
/// The block of one packet.
std::string captureBlock(const CapturedPacket &packet);

/// Reads a capture block by block. Holds one block, of kMostBlock bytes at most.
class CaptureReader
{
public:
    static constexpr std::uint32_t kMostBlock = 1 << 20;
    /// Sets bytes to at most @p count further ones and returns how many; 0 at the end.
    using Source = std::function<std::size_t(char *bytes, std::size_t count)>;

    /// @param name  how complaints call the capture.
    CaptureReader(std::string name, Source source);

    /// @return false at the end.
    /// @throw Failure  (wrong usage) for what is no capture of such a line, or damaged. A capture that breaks
    ///                 off in the middle of a block ends before this block, and isCut() is true.
    bool next(CapturedPacket *packet);
    bool isCut() const { return isCut_; }
    /// Of the last packet's interface; 0 where none is told.
    int baud() const { return baud_; }

private:
    struct Interface
    {
        int linkType = 0;
        int baud = 0;
        bool isToStations = false;
        std::uint64_t unitsPerSecond = 1000000;
    };

    [[noreturn]] void refuse(const std::string &reason) const;
    bool fill(std::size_t count, std::string *bytes);
    bool readBlock(std::uint32_t *type);
    std::uint16_t word(std::size_t at) const;
    std::uint32_t number(std::size_t at) const;
    template <typename Take>
    void eachOption(std::size_t at, Take take) const;
    void takeInterface();
    bool takePacket(CapturedPacket *packet);

    std::string name_;
    Source source_;
    std::uint64_t position_ = 0; ///< of the block
    std::uint64_t read_ = 0;     ///< bytes so far
    std::string body_;           ///< of the block
    bool isBigEndian_ = false;
    bool hasSection_ = false;
    bool isCut_ = false;
    int baud_ = 0;
    std::vector<Interface> interfaces_;
};

} // namespace plc::host

#endif
