#include "core/context.h"

#include <algorithm>
#include <utility>

#include "core/arithmetic.h"
#include "core/options.h"
#include "plcdriver.h"

Communication_Protocol PLC_driver;

unsigned char *LB = nullptr;
unsigned short *LW = nullptr;
unsigned short *RWI = nullptr;

namespace {

constexpr int kLargestBlock = 100;

} // namespace

Communication_Protocol::Communication_Protocol()
    : comInfo(nullptr), resultCallback(nullptr), failureCallback(nullptr), servingList(plc::kServingNothing),
      writeBurst(0), onceBurst(0), readsServed(0), failed(false), txBuf(), options(0), optBit0(false),
      optBit1(false), optBit4(false), optBit5(false), optBit6(false), optBit7(false), optBit8(false),
      optBit9(false), optBit10(false), optBit11(false), forceCheck(0), writeCount(0)
{}

Communication_Protocol::~Communication_Protocol() {}

void SetComInfo(COM_INFO *info)
{
    if (!info)
        return;
    // The runtime reads the corrected value back from its own record.
    info->maxBlock = std::max(1, std::min(info->maxBlock, kLargestBlock));
    info->reserved52 = 0;
    info->reserved40 = 0;

    const quint32 options = info->options;
    PLC_driver.options = options;
    PLC_driver.comInfo = info;
    PLC_driver.optBit0 = plc::hasOption(options, plc::kOptionOneBased);
    PLC_driver.optBit1 = plc::hasOption(options, plc::kOptionRegisterAsBlock);
    PLC_driver.optBit4 = plc::hasOption(options, plc::kOptionBitFromMirror);
    PLC_driver.optBit5 = plc::hasOption(options, plc::kOptionSingleRegisters);
    PLC_driver.optBit6 = plc::hasOption(options, plc::kOptionSingleCoils);
    PLC_driver.optBit7 = plc::hasOption(options, plc::kOptionSwapRequestCrc);
    PLC_driver.optBit8 = plc::hasOption(options, plc::kOptionSwapReplyCrc);
    PLC_driver.optBit9 = plc::hasOption(options, plc::kOptionNoReplyToSingle);
    PLC_driver.optBit10 = plc::hasOption(options, plc::kOptionNoReplyToBlock);
    PLC_driver.optBit11 = plc::hasOption(options, plc::kOptionNoBitPacking);
}

void FlashLocalRegister(unsigned char *bits, unsigned short *words, unsigned short *third)
{
    LB = bits;
    LW = words;
    RWI = third;
}

void RegistCallBackFuncIntf(ResultCallback onResult, FailureCallback onFailure)
{
    PLC_driver.resultCallback = onResult;
    PLC_driver.failureCallback = onFailure;
}

int QueryFinishFlag()
{
    return 1;
}

void passRetValue(const RW_VAR *var)
{
    if (!var)
        return;
    // Copies that are moved: Qt's assignments are calls, its copies and, with Qt 5, its moves are not.
    RW_VAR copy(*var);
    copy.data = QByteArray();
    PLC_driver.retVar = std::move(copy);
}

namespace plc {

Protocol &queueTransaction(const RW_VAR &var, QByteArray frame)
{
    PLC_driver.sendQueue.append(Protocol());
    Protocol &transaction = PLC_driver.sendQueue.last();
    transaction.frame.swap(frame);
    transaction.sendLen = transaction.frame.size();
    transaction.var = RW_VAR(var);
    return transaction;
}

int registerLimit()
{
    const int limit = PLC_driver.comInfo ? PLC_driver.comInfo->maxBlock : 1;
    return limit < 1 ? 1 : limit;
}

int bitLimit()
{
    return timesEight(registerLimit());
}

int effectiveStation(int ownStation)
{
    const COM_INFO *info = PLC_driver.comInfo;
    return info && info->stationMode == 0 ? info->defaultStation : ownStation;
}

} // namespace plc
