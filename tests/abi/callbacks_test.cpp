// Callbacks that do not come back: they throw, or their thread is cancelled inside them. The library is
// loaded as a runtime loads it, since the way of an exception through it depends on how it was linked.
#include <gtest/gtest.h>

#include <QByteArray>

#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <dlfcn.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include "plcdriver.h"
#include "support/hex.h"
#include "support/own_log_file.h"

namespace plc::test {
namespace {

const char kWriteOf1234To16[] = "01 06 00 10 12 34 85 78"; // request and its good reply
const char kWriteOf1To17[] = "01 06 00 11 00 01 18 0F";

/// What the callbacks do, and have heard; they carry no pointer.
struct Play
{
    std::vector<std::string> heard;
    bool throws = false;
    int entered = -1;           ///< a callback that blocks writes here first; -1 = it does not block
    int neverWritten = -1;      ///< and then reads from here
    bool failureBlocks = false; ///< the failure callback blocks, not the one for results
};

Play play;

void block()
{
    char byte = 0;
    EXPECT_EQ(1, write(play.entered, &byte, 1));
    EXPECT_EQ(1, read(play.neverWritten, &byte, 1)) << "returns only in a thread that is being cancelled";
}

void onResult(int, int hostId, int hostSubId, int outcome)
{
    play.heard.push_back("result " + std::to_string(hostId) + " " + std::to_string(hostSubId) + " " +
                         std::to_string(outcome));
    if (play.throws)
        throw std::runtime_error("the runtime's own");
    if (play.entered >= 0 && !play.failureBlocks)
        block();
}

void onFailure(QList<RW_VAR> *, int hostId, int)
{
    play.heard.push_back("failure " + std::to_string(hostId));
    if (play.throws)
        throw 42;
    if (play.entered >= 0 && play.failureBlocks)
        block();
}

using Heard = std::vector<std::string>;

/// A library of its own for each test, set up, with retryLimit 0.
class Callbacks : public ::testing::Test
{
protected:
    Callbacks() : library_(dlopen(PLC_LIBRARY, RTLD_NOW | RTLD_LOCAL))
    {
        play = Play();
        if (!library_) {
            ADD_FAILURE() << dlerror();
            return;
        }
        find("SetComInfo", &setComInfo_);
        find("FlashLocalRegister", &flashLocalRegister_);
        find("RegistCallBackFuncIntf", &registCallBackFuncIntf_);
        find("AddListWriteVar", &addListWriteVar);
        find("AddListOnceReadVar", &addListOnceReadVar);
        find("ComCommunication", &comCommunication);
        find("DataCom", &dataCom);
        find("customMessageHandler", &messageHandler);
        std::memset(&info_, 0, sizeof info_);
        info_.maxBlock = 100;
        info_.stationMode = 1;
        info_.writeMode = 2;
        setComInfo_(&info_);
        flashLocalRegister_(nullptr, nullptr, nullptr);
        registCallBackFuncIntf_(onResult, onFailure);
    }

    ~Callbacks() override
    {
        for (const int end : pipes_)
            close(end);
        if (library_)
            dlclose(library_);
    }

    void addWrite(int address, const char *data, int hostId)
    {
        RW_VAR var;
        var.hostId = hostId;
        var.direction = 1;
        var.regType = kHoldingRegister;
        var.address = address;
        var.station = 1;
        var.count = 1;
        var.data = hex(data);
        addListWriteVar(&var, 1);
    }

    QByteArray next()
    {
        const Protocol *head = comCommunication(0);
        return head ? head->frame : QByteArray();
    }

    /// Answers the write in progress as a good station does; the status of the last call.
    int answer(const char *reply)
    {
        QByteArray bytes = hex(reply);
        if (dataCom(&bytes, bytes.size())->status != kResultDone)
            return -1;
        return dataCom(&bytes, bytes.size())->status;
    }

    int silence()
    {
        QByteArray nothing;
        return dataCom(&nothing, 0)->status;
    }

    /// The callback of the next step will block until its thread is cancelled.
    void makeCallbacksBlock()
    {
        play.entered = makePipe().second;
        enteredEnd_ = pipes_[0];
        play.neverWritten = makePipe().first;
    }

    /// Runs @p step on a thread of its own and cancels that inside the blocking callback.
    template <typename Step>
    void cancelInside(Step step)
    {
        const auto run = [](void *argument) -> void * {
            (*static_cast<Step *>(argument))();
            return nullptr;
        };
        pthread_t thread;
        ASSERT_EQ(0, pthread_create(&thread, nullptr, run, &step));
        char byte = 0;
        ASSERT_EQ(1, read(enteredEnd_, &byte, 1));
        ASSERT_EQ(0, pthread_cancel(thread));
        void *result = nullptr;
        ASSERT_EQ(0, pthread_join(thread, &result));
        EXPECT_EQ(PTHREAD_CANCELED, result);
        play.entered = -1;
    }

    std::pair<int, int> makePipe()
    {
        int ends[2] = {-1, -1};
        EXPECT_EQ(0, pipe(ends));
        pipes_.insert(pipes_.end(), {ends[0], ends[1]});
        return {ends[0], ends[1]};
    }

    decltype(&AddListWriteVar) addListWriteVar = nullptr;
    decltype(&AddListOnceReadVar) addListOnceReadVar = nullptr;
    decltype(&ComCommunication) comCommunication = nullptr;
    decltype(&DataCom) dataCom = nullptr;
    decltype(&customMessageHandler) messageHandler = nullptr;

private:
    template <typename Function>
    void find(const char *name, Function *function)
    {
        *function = reinterpret_cast<Function>(dlsym(library_, name));
        ASSERT_NE(nullptr, *function) << name;
    }

    void *library_;
    COM_INFO info_;
    decltype(&SetComInfo) setComInfo_ = nullptr;
    decltype(&FlashLocalRegister) flashLocalRegister_ = nullptr;
    decltype(&RegistCallBackFuncIntf) registCallBackFuncIntf_ = nullptr;
    std::vector<int> pipes_;
    int enteredEnd_ = -1;
};

// ---- that throw ----

TEST_F(Callbacks, ThatThrowEndTheStepAsIfTheyHadReturned)
{
    play.throws = true;
    addWrite(16, "34 12", 7);
    ASSERT_EQ(hex(kWriteOf1234To16), next());
    EXPECT_EQ(kResultDone, answer(kWriteOf1234To16));
    EXPECT_EQ((Heard{"result 7 0 1"}), play.heard);
    EXPECT_EQ(QByteArray(), next()) << "the write goes out no second time";
    EXPECT_EQ((Heard{"result 7 0 1"}), play.heard) << "nor is its end told twice";
}

TEST_F(Callbacks, ThatThrowStillLetTheFailureBeToldAndItsIdentifiersDiscarded)
{
    play.throws = true;
    addWrite(16, "34 12", 7);
    addWrite(17, "01 00", 7);
    ASSERT_EQ(hex(kWriteOf1234To16), next());
    EXPECT_EQ(kResultNoReply, silence());
    EXPECT_EQ((Heard{"result 7 0 2", "failure 7"}), play.heard);
    EXPECT_EQ(QByteArray(), next()) << "what shares the identifiers is discarded all the same";
}

TEST_F(Callbacks, OfOnceReadsThatThrowEndTheStep)
{
    play.throws = true;
    RW_VAR read;
    read.hostId = 7;
    read.regType = kHoldingRegister;
    read.station = 1;
    read.count = 1;
    addListOnceReadVar(&read, 1);
    ASSERT_EQ(hex("01 03 0000 0001 840A"), next());
    EXPECT_EQ(kResultDone, answer("01 03 02 00 2A 39 9B"));
    EXPECT_EQ((Heard{"result 7 0 1"}), play.heard);
    EXPECT_EQ(QByteArray(), next());
}

// ---- whose thread is cancelled ----

TEST_F(Callbacks, WhoseThreadIsCancelledEndItAlone)
{
    makeCallbacksBlock();
    addWrite(16, "34 12", 7);
    addWrite(17, "01 00", 8);
    ASSERT_EQ(hex(kWriteOf1234To16), next());
    cancelInside([this] { answer(kWriteOf1234To16); });
    ASSERT_EQ(hex(kWriteOf1To17), next()) << "the locks are free, and what was told is over";
    EXPECT_EQ(kResultDone, answer(kWriteOf1To17));
    EXPECT_EQ(QByteArray(), next());
    EXPECT_EQ((Heard{"result 7 0 1", "result 8 0 1"}), play.heard);
}

TEST_F(Callbacks, WhoseThreadIsCancelledAfterAFailureDiscardWhatSharesTheIdentifiers)
{
    makeCallbacksBlock();
    addWrite(16, "34 12", 7);
    addWrite(16, "34 12", 7);
    addWrite(17, "01 00", 8);
    ASSERT_EQ(hex(kWriteOf1234To16), next());
    cancelInside([this] { silence(); });
    ASSERT_EQ(hex(kWriteOf1To17), next());
    EXPECT_EQ(kResultDone, answer(kWriteOf1To17));
    EXPECT_EQ((Heard{"result 7 0 2", "result 8 0 1"}), play.heard);
}

TEST_F(Callbacks, OfFailuresWhoseThreadIsCancelledEndItAlone)
{
    makeCallbacksBlock();
    play.failureBlocks = true;
    addWrite(16, "34 12", 7);
    addWrite(16, "34 12", 7);
    addWrite(17, "01 00", 8);
    ASSERT_EQ(hex(kWriteOf1234To16), next());
    cancelInside([this] { silence(); });
    ASSERT_EQ(hex(kWriteOf1To17), next());
    EXPECT_EQ(kResultDone, answer(kWriteOf1To17));
    EXPECT_EQ((Heard{"result 7 0 2", "failure 7", "result 8 0 1"}), play.heard);
}

// The log is a pipe that nobody reads: opening it blocks.
TEST_F(Callbacks, MessageHandlerWhoseThreadIsCancelledEndsItAlone)
{
    const OwnLogFile log;
    ASSERT_EQ(0, mkfifo(OwnLogFile::path(), 0600));
    const std::pair<int, int> started = makePipe();
    struct Handler
    {
        decltype(&customMessageHandler) write;
        int started;
    } handler{messageHandler, started.second};
    const auto run = [](void *argument) -> void * {
        const Handler *mine = static_cast<Handler *>(argument);
        char byte = 0;
        int state = 0;
        // So that the handler's first blocking call is the first that can end the thread.
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
        EXPECT_EQ(1, ::write(mine->started, &byte, 1));
        pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &state);
        mine->write(QtDebugMsg, "message");
        return nullptr;
    };
    pthread_t thread;
    ASSERT_EQ(0, pthread_create(&thread, nullptr, run, &handler));
    char byte = 0;
    ASSERT_EQ(1, read(started.first, &byte, 1));
    ASSERT_EQ(0, pthread_cancel(thread));
    void *result = nullptr;
    ASSERT_EQ(0, pthread_join(thread, &result));
    EXPECT_EQ(PTHREAD_CANCELED, result);
}

} // namespace
} // namespace plc::test
