/// @file
/// The simulated stations behind the panel, and what happens to them.
#ifndef PLC_TESTS_PANEL_STATIONS_H
#define PLC_TESTS_PANEL_STATIONS_H

#include <string>

#include <sys/types.h>

namespace plc::test {

/// plcstation with stations 1 to 8 on a port that has a name of its own: what is behind the name goes with
/// them.
class Stations
{
public:
    explicit Stations(std::string port);
    ~Stations();
    Stations(const Stations &) = delete;
    Stations &operator=(const Stations &) = delete;

    /// Starts them, all holding 0; the port is there when this returns.
    void plugIn();
    /// Ends them; the port is gone when this returns.
    void pullOut();
    /// Gives a command of plcstation --commands, and returns when it was carried out.
    void say(const std::string &command);
    /// What the place of a station holds, as "1 4x:0 5".
    std::string get(const std::string &place);

    const std::string &port() const { return port_; }

private:
    void write(const std::string &line) const;
    std::string readLine();

    const std::string port_;
    pid_t pid_ = -1;
    int input_ = -1;  ///< of plcstation: commands
    int output_ = -1; ///< of plcstation: values
};

} // namespace plc::test

#endif
