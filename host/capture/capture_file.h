/// @file
/// The file or pipe of a capture: whoever has a packet never waits for it.
#ifndef PLC_CAPTURE_CAPTURE_FILE_H
#define PLC_CAPTURE_CAPTURE_FILE_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "host/runtime_names.h"
#include "runtime/line/link_time.h"

namespace plc::host {

/// A thread of its own writes the blocks. Blocks that wait take kMostWaiting bytes and no more: what comes
/// then is lost and counted. Behind a write that fails nothing more is written, since the block is not whole.
/// add() from one thread at a time.
class CaptureFile
{
public:
    static constexpr std::size_t kMostWaiting = 8 << 20;

    /// Makes the file anew; of a named pipe waits for its reader.
    /// @param path    "-" = standard output.
    /// @param giveUp  asked over and over meanwhile: true ends the wait; null: the wait has no end.
    /// @throw Failure  (wrong usage) where it cannot be opened, or the wait was given up.
    explicit CaptureFile(const std::string &path, std::size_t mostWaiting = kMostWaiting,
                         const std::function<bool()> &giveUp = nullptr);
    ~CaptureFile();
    CaptureFile(const CaptureFile &) = delete;
    CaptureFile &operator=(const CaptureFile &) = delete;

    /// @return false where the block is lost.
    bool add(std::string block);
    /// Why nothing more is written, as errno has it; 0 while all is well, EPIPE where the reader has gone.
    int error() const;
    /// Waits for the blocks that are left, as long as the file takes some, and @p patience from the last on.
    void finish(Time patience);
    /// Whether no block is in the file. Final behind finish().
    bool isEmpty() const;
    /// Blocks that are not in the file. Final behind finish().
    std::uint64_t lost() const;

private:
    struct Shared;
    static void write(const std::shared_ptr<Shared> &shared);

    std::shared_ptr<Shared> shared_; ///< with the thread, which may hang in a file for longer than we wait
    std::thread thread_;
};

} // namespace plc::host

#endif
