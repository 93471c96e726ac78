/// @file
/// What a station can do and has, where that is less or more than everything.
#ifndef PLC_STATION_ABILITIES_H
#define PLC_STATION_ABILITIES_H

#include "bytes.h"
#include "modbus_codes.h"
#include "register_model.h"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace plc::station {

/// What a station does with a request for items that it lacks.
enum class Lacking
{
    Refuses,   ///< exception 02
    IsSilent,  ///< no answer at all
    ReadsZeros ///< reads are answered where at least one item is there; else exception 02
};

/// Without a change: every function of the station, everything in its areas, blocks as the standard has them.
struct Abilities
{
    std::set<int> functions; ///< that it knows; empty for all but 17 and 43, which need what they tell
    int mostRegisters = kMaxReadRegisters; ///< in one request that reads; more get exception 03
    int mostBits = kMaxReadBits;
    /// The items that there are, first and last, by area; an area that is not named has them all.
    std::map<Area, std::vector<std::pair<int, int>>> present;
    Lacking lacking = Lacking::Refuses;
    std::string serverId;               ///< of function 17; empty: function 17 is not known
    std::map<int, std::string> objects; ///< of function 43/14, by number; empty: function 43 is not known
    bool endlessObjects = false;        ///< every reply of function 43/14 says that more follow
};

/// Reads "4x:100-163".
/// @return empty, or what is wrong.
std::string addPresent(const std::string &text, Abilities *abilities);

/// Reads "1=Pump controller": an object of function 43/14.
/// @return empty, or what is wrong.
std::string addObject(const std::string &text, Abilities *abilities);

/// The answer to a request that the abilities decide.
/// @param pdu  at least the function code.
/// @return nothing where the registers are to answer; an empty reply for silence.
std::optional<Bytes> answerByAbilities(const Abilities &abilities, ByteView pdu);

} // namespace plc::station

#endif
