#include "runtime/testing/fault.h"

namespace plc::simulation {

const char *nameOf(Fault fault)
{
    switch (fault) {
    case Fault::LateReply:
        return "late reply";
    case Fault::ForeignReply:
        return "reply of a foreign station";
    case Fault::LeadingZero:
        return "leading 0x00";
    case Fault::NoiseBefore:
        return "noise before the reply";
    case Fault::NoiseWithin:
        return "noise within the reply";
    case Fault::NoiseAfter:
        return "noise after the reply";
    case Fault::CutFrame:
        return "cut frame";
    case Fault::ByteGap:
        return "gap between bytes";
    case Fault::WrongCrc:
        return "wrong CRC";
    case Fault::SwappedCrc:
        return "swapped CRC";
    case Fault::Exception:
        return "exception reply";
    case Fault::WrongLength:
        return "reply of the wrong length";
    case Fault::DoubledReply:
        return "doubled reply";
    case Fault::LostReply:
        return "lost reply";
    case Fault::NoiseInRequest:
        return "noise in the request";
    case Fault::GapInRequest:
        return "gap in the request";
    case Fault::StrayEcho:
        return "stray echo of the request";
    case Fault::LateEcho:
        return "late echo of the request";
    case Fault::Silence:
        return "station silent for a time";
    case Fault::Restart:
        return "station restarted";
    case Fault::LineCut:
        return "line cut and back";
    case Fault::SecondMaster:
        return "request of a second master";
    case Fault::Busy:
        return "station busy for a time";
    case Fault::Acknowledge:
        return "station that says it has begun";
    case Fault::OtherWriter:
        return "other writer at a station";
    case Fault::PortGone:
        return "port pulled out";
    case Fault::Babble:
        break;
    }
    return "line babbling";
}

} // namespace plc::simulation
