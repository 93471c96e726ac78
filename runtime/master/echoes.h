/// @file
/// The echoes of what was sent, on a line that hands them back.
#ifndef PLC_MASTER_ECHOES_H
#define PLC_MASTER_ECHOES_H

#include <QByteArray>

#include <optional>

namespace plc::runtime {

/// Counts the echoes that are due, and finds them in what is received. Each transmission owes one echo. Their
/// number tells them from replies, since the echo of a single write is byte for byte its good reply. On a
/// line without echoes none is ever due.
class Echoes
{
public:
    explicit Echoes(bool lineHasEchoes) : lineHasEchoes_(lineHasEchoes) {}

    /// @p frame goes out. Where echoes of other frames are still due, forgetEarlier() must come first.
    void sent(const QByteArray &frame);
    /// Echoes of earlier transmissions cannot come any more.
    void forgetEarlier() { due_ = 0; }

    bool areDue() const { return due_ > 0; }
    /// No echo has come since the last transmission, and the line has echoes.
    bool isMissing() const { return lineHasEchoes_ && !hasCome_; }

    /// Finds an echo that is due and counts it as come. The first echo after a transmission may stand behind
    /// noise. Any other must stand at the very front, since a reply may hold the bytes of a request.
    /// @return where the echo begins.
    std::optional<int> take(const QByteArray &received);

    /// Counts the frame of @p length bytes at @p at as an echo, if one is due and the frame is like it.
    bool takeAt(const QByteArray &received, int at, int length);

private:
    bool lineHasEchoes_;
    QByteArray frame_; ///< sent last
    int due_ = 0;
    bool hasCome_ = false; ///< since the last transmission
};

} // namespace plc::runtime

#endif
