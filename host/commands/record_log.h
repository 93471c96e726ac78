/// @file
/// Lines for a file that may be slow, or full: whoever has a line never waits for it.
#ifndef PLC_COMMANDS_RECORD_LOG_H
#define PLC_COMMANDS_RECORD_LOG_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "host/commands/appended_file.h"
#include "host/commands/wall_clock.h"
#include "host/runtime_names.h"
#include "runtime/line/link_time.h"

namespace plc::host {

/// A thread of its own appends the lines, each at once. Lines that wait take so much memory and no more:
/// what comes then is lost and counted, and a line of kind "loss" stands in the place of lost lines. All
/// functions from one thread.
class RecordLog
{
public:
    static constexpr std::size_t kMostWaiting = 8 << 20; ///< bytes

    /// @param mostWaiting  bytes of the lines that may wait.
    /// @throw Failure  (wrong usage) where the file cannot be opened.
    explicit RecordLog(const std::string &path, std::size_t mostWaiting = kMostWaiting,
                       WallClock clock = std::chrono::system_clock::now);
    /// Waits a while for the lines that are left. Where lines were lost, a line on standard error says how
    /// many and why, and the program ends with the exit code of lost output.
    ~RecordLog();
    RecordLog(const RecordLog &) = delete;
    RecordLog &operator=(const RecordLog &) = delete;

    /// @param line  without its end.
    void add(std::string line);
    /// The lines that are added from now on go to the file that then stands at the path.
    void reopen();

    /// What people should know at once: that lines are being lost, or that the file could not be opened
    /// again. Told once for each; else empty.
    std::string complaint();

    /// Ends the log: waits for the lines that are left, as long as the file takes some and @p patience from
    /// the last one on, but no longer than @p most. Lines that are still left then are lost.
    void finish(Time patience, Time most);
    /// Lines that are not in the file. Final behind finish().
    std::uint64_t lost() const;

private:
    struct Shared;
    static void write(const std::shared_ptr<Shared> &shared);

    std::string path_;
    std::shared_ptr<Shared> shared_; ///< with the thread, which may hang in a file for longer than we wait
    std::thread thread_;
    std::optional<std::uint64_t> lost_; ///< behind finish()
    bool lossTold_ = false;
};

} // namespace plc::host

#endif
