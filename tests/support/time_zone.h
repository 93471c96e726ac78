/// @file
/// The time zone of the user, for as long as a test wants it.
#ifndef PLC_TESTS_SUPPORT_TIME_ZONE_H
#define PLC_TESTS_SUPPORT_TIME_ZONE_H

#include <cstdlib>
#include <ctime>

namespace plc::test {

class TimeZone
{
public:
    /// @param rule  as POSIX has it, which needs no files: "CET-1CEST,M3.5.0,M10.5.0/3".
    explicit TimeZone(const char *rule)
    {
        setenv("TZ", rule, 1);
        tzset();
    }
    ~TimeZone()
    {
        unsetenv("TZ");
        tzset();
    }
    TimeZone(const TimeZone &) = delete;
    TimeZone &operator=(const TimeZone &) = delete;
};

} // namespace plc::test

#endif
