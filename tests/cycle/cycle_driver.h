/// @file
/// Words for scripts over many cycles: serve, answer, look what it was.
#ifndef PLC_TESTS_CYCLE_CYCLE_DRIVER_H
#define PLC_TESTS_CYCLE_CYCLE_DRIVER_H

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "core/context.h"
#include "support/driver_fixture.h"
#include "support/records.h"

namespace plc::test {

/// A reply that the station of @p head could give: values of a read are zero, a write is echoed.
inline QByteArray goodReply(const Protocol &head)
{
    QByteArray reply;
    if (head.dataLen > 0) {
        reply.append(static_cast<char>(head.var.station));
        reply.append(static_cast<char>(head.frame.at(1)));
        reply.append(static_cast<char>(head.dataLen));
        reply.append(QByteArray(head.dataLen, '\0'));
    } else {
        reply = head.frame.left(6);
        reply[0] = static_cast<char>(head.var.station);
    }
    return withCrc(toHex(reply).c_str());
}

/// Plays whole cycles. Addresses say what a variable stands for: thousands 0 = cyclic read, 1 to 4 = priority
/// level, 5 = write, 6 = one-shot read.
class CycleDriver : public SetUpDriver
{
protected:
    void addCyclic(int number)
    {
        for (int i = 0; i < number; ++i)
            addRead(holding(i));
    }

    void addPriority(int level, int number)
    {
        for (int i = 0; i < number; ++i)
            priorityReads(level).append(holding(1000 * level + i));
    }

    /// Writes with identifiers of their own, so that each reports.
    void addWrites(int number)
    {
        for (int i = 0; i < number; ++i)
            addWrite(holding(5000 + i).ids(5000 + i, 0).data("00 00"));
    }

    void addOnceReads(int number)
    {
        for (int i = 0; i < number; ++i)
            addOnceRead(holding(6000 + i).ids(6000 + i, 0));
    }

    static QList<RW_VAR> &priorityReads(int level) { return PLC_driver.priorityReads[level - 1]; }
    static PriorityClock &priorityClock(int level) { return PLC_driver.priorityClocks[level - 1]; }

    /// Answers the head transaction well and returns the status.
    int answer()
    {
        const Protocol &head = PLC_driver.sendQueue.first();
        if (head.replyLen == 0)
            return silence();
        const QByteArray reply = goodReply(head);
        return head.replyLen == -1 ? complete(reply) : receive(reply);
    }

    /// Spends every attempt that the retry limit leaves; returns the status of the last.
    int failBySilence()
    {
        int status = silence();
        while (status == 0)
            status = silence();
        return status;
    }

    /// Serves and answers @p calls times. One letter a call: C, 1 to 4, W, O as the address says, - for null.
    std::string serve(int calls)
    {
        std::string letters;
        for (int i = 0; i < calls; ++i) {
            const Protocol *head = next();
            letters += head ? "C1234WO"[head->var.address / 1000] : '-';
            if (head)
                answer();
        }
        return letters;
    }

    /// Addresses of the next @p calls requests, each answered.
    std::vector<int> serveAddresses(int calls)
    {
        std::vector<int> addresses;
        for (int i = 0; i < calls; ++i) {
            addresses.push_back(next()->var.address);
            answer();
        }
        return addresses;
    }

    static std::vector<int> addressesOf(const QList<RW_VAR> &list)
    {
        std::vector<int> addresses;
        for (const RW_VAR &var : list)
            addresses.push_back(var.address);
        return addresses;
    }
};

} // namespace plc::test

#endif
