/// @file
/// What the settings of a line and of the driver on it may be: the one table that whoever takes settings from
/// people looks into, whether they were typed or stand in a file.
#ifndef PLC_LINE_SETTING_LIMITS_H
#define PLC_LINE_SETTING_LIMITS_H

namespace plc::runtime {

/// Least and most that a setting may be; both are allowed.
struct Limits
{
    int least;
    int most;
};

constexpr Limits kBaudLimits{300, 4000000}; ///< bits per second
constexpr Limits kStopBitLimits{1, 2};
constexpr Limits kRs485DelayMsLimits{0, 1000};
constexpr Limits kTimeoutMsLimits{10, 60000};
constexpr Limits kLateGuardMsLimits{0, 60000};
constexpr Limits kTurnaroundMsLimits{0, 60000};
constexpr Limits kRetryLimits{0, 100};
/// Before each request to a station that needs it. A register with a bit to be changed is written within half
/// a second from its reading, so that the pause must be shorter.
constexpr Limits kPauseMsLimits{0, 400};
constexpr Limits kStationLimits{1, 247}; ///< of a station that answers; 0 broadcasts writes
constexpr Limits kLinkModeLimits{0, 1};
constexpr Limits kMaxBlockLimits{1, 100};        ///< registers in a request; eight times as many bits
constexpr Limits kOfflineFailureLimits{1, 1000}; ///< failed requests in a row
constexpr Limits kProbeMsLimits{100, 3600000};   ///< from one probe of an offline station to the next
constexpr Limits kPollIntervalMsLimits{0, 3600000};
constexpr Limits kValueCountLimits{1, 65536}; ///< values of a variable

} // namespace plc::runtime

#endif
