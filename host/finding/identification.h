/// @file
/// What a station tells of itself: device identification, server id, echo test.
#ifndef PLC_FINDING_IDENTIFICATION_H
#define PLC_FINDING_IDENTIFICATION_H

#include <map>
#include <string>
#include <vector>

#include "host/finding/finder.h"

namespace plc::host {

/// What one function has told.
struct FunctionNews
{
    bool isAsked = false;
    Answer answer;
};

struct Identification
{
    int station = 0;
    FunctionNews echoTest;       ///< of function 8/0
    FunctionNews serverId;       ///< of function 17
    FunctionNews identification; ///< of the first request of function 43/14
    /// Conformity level (MODBUS Application Protocol V1.1b3, 6.21), with its flag 0x80 for access to single
    /// objects; 0 = not told.
    int level = 0;
    std::map<int, QByteArray> objects; ///< by number
    /// The station says that more follow than were asked for.
    bool isCut = false;

    /// True where the station has given any answer.
    bool isThere() const;
    bool isKnown() const
    {
        return echoTest.answer.isReply() || serverId.answer.isReply() || !objects.empty();
    }
    /// Data of function 17 without its run status; all of it where there is none.
    QByteArray serverIdData() const
    {
        return serverId.answer.isReply() ? serverId.answer.data() : QByteArray();
    }
};

/// "vendor name"; empty for a number that the standard has no name for.
std::string objectName(int number);
/// "regular, single objects too".
std::string levelName(int level);

/// Asks a station who it is. Of function 43/14 it asks at most kMostIdentificationRequests times, whatever
/// the station says of more to follow.
class Identifier : public Finder
{
public:
    static constexpr int kMostIdentificationRequests = 8;

    explicit Identifier(int station, int retries = 1, bool crcHighFirst = false)
        : retries_(retries), crcHighFirst_(crcHighFirst)
    {
        result_.station = station;
    }

    std::optional<Question> next() override;
    void take(const Answer &answer) override;

    const Identification &result() const { return result_; }

private:
    enum class Stage
    {
        Stream,
        Single,
        ServerId,
        EchoTest,
        Over
    };
    Question question(std::initializer_list<int> bytes) const;
    void takeObjects(const Answer &answer);
    void goOn(const Answer &answer);
    void nextCategory();
    bool missesOne();

    int retries_;
    bool crcHighFirst_;
    Identification result_;
    Stage stage_ = Stage::Stream;
    int category_ = 1;          ///< of the objects that are asked for: 1 basic, 2 regular, 3 extended
    int object_ = 0;            ///< from which on they are asked for
    int asked_ = 0;             ///< requests of function 43/14
    std::map<int, bool> tried_; ///< single objects
};

} // namespace plc::host

#endif
