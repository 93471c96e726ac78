/// @file
/// One line of a process that serves several: a copy of the library's file, loaded by its path.
#ifndef PLC_TESTS_LINES_LINE_H
#define PLC_TESTS_LINES_LINE_H

#include <gtest/gtest.h>

#include <QByteArray>
#include <QString>

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <stdlib.h>

#include "core/records.h"

namespace plc::test {

/// A folder that is gone with the object.
class ScratchFolder
{
public:
    ScratchFolder()
    {
        std::string pattern = ::testing::TempDir() + "lines.XXXXXX";
        if (mkdtemp(pattern.data()))
            path_ = pattern;
        else
            ADD_FAILURE() << "no folder " << pattern;
    }

    ~ScratchFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    ScratchFolder(const ScratchFolder &) = delete;
    ScratchFolder &operator=(const ScratchFolder &) = delete;

    const std::filesystem::path &path() const { return path_; }

private:
    std::filesystem::path path_;
};

/// A loaded copy of the library with settings and memory areas of its own. It keeps to looked-up names.
class Line
{
public:
    Line(const std::filesystem::path &file, int flags) : words_(50501, 0)
    {
        if (!std::filesystem::exists(file))
            std::filesystem::copy_file(PLC_LIBRARY, file);
        library_ = dlopen(file.c_str(), RTLD_NOW | flags);
        if (!library_) {
            ADD_FAILURE() << dlerror();
            return;
        }
        settings_.maxBlock = 100;
        settings_.stationMode = 1;
        settings_.writeMode = 2;
        function<void(COM_INFO *)>("SetComInfo")(&settings_);
        function<void(unsigned char *, unsigned short *, unsigned short *)>("FlashLocalRegister")(
            bits_.data(), words_.data(), nullptr);
    }

    ~Line() { unload(); }

    Line(const Line &) = delete;
    Line &operator=(const Line &) = delete;

    void unload()
    {
        if (library_)
            dlclose(library_);
        library_ = nullptr;
    }

    /// Leaves the library to the end of the process.
    void forget() { library_ = nullptr; }

    void *address(const char *name) const { return library_ ? dlsym(library_, name) : nullptr; }

    template <typename Function>
    Function *function(const char *name) const
    {
        void *const found = address(name);
        EXPECT_NE(nullptr, found) << name;
        return reinterpret_cast<Function *>(found);
    }

    /// Adds a cyclic read of one holding register of station 1; gives the length of the read list.
    int addRead(int address) const
    {
        RW_VAR var{};
        var.regType = 5;
        var.address = address;
        var.station = 1;
        var.count = 1;
        return function<int(RW_VAR *)>("AddListReadVar")(&var);
    }

    /// Queues a write of one holding register; gives the length of the write list.
    int write(int station, const char *addressText) const
    {
        QByteArray data("\x34\x12", 2);
        return function<int(const QString &, int, const QString &, int, QByteArray *, int, int, int)>(
            "SetRegisterData")(QString(), 5, QString::fromLatin1(addressText), station, &data, 1, 5, 6);
    }

    /// The next frame in hex without its checksum; empty when there is none.
    std::string nextFrame() const
    {
        const Protocol *const head = function<Protocol *(int)>("ComCommunication")(0);
        return head ? head->frame.left(head->sendLen - 2).toHex().toStdString() : std::string();
    }

    /// Hands a whole reply over, as often as a good one needs; gives the last status.
    int receive(const char *hexText) const
    {
        QByteArray reply = QByteArray::fromHex(hexText);
        auto *const dataCom = function<RW_VAR *(QByteArray *, int)>("DataCom");
        dataCom(&reply, reply.size());
        return dataCom(&reply, reply.size())->status;
    }

    /// The mirrored value of one holding register of station 1 in hex, low byte first.
    std::string value(const char *addressText) const
    {
        QByteArray out;
        function<int(const QString &, int, const QString &, int, QByteArray *, int)>("GetRegisterData")(
            QString(), 5, QString::fromLatin1(addressText), 1, &out, 1);
        return out.toHex().toStdString();
    }

    void enable(int station, int on) const { function<void(int, int)>("EnCommStation")(station, on); }

    void overrideStation(unsigned short station) { words_[50500] = station; }

    /// The memory area that the copy's own LW points at.
    const unsigned short *wordsOfTheLibrary() const { return *static_cast<unsigned short **>(address("LW")); }

    const unsigned short *words() const { return words_.data(); }

private:
    void *library_ = nullptr;
    COM_INFO settings_{};
    std::array<unsigned char, 16> bits_{};
    std::vector<unsigned short> words_;
};

/// What the cases of this folder begin with. The parameter is how a line is loaded: RTLD_LOCAL or
/// RTLD_GLOBAL.
class Lines : public ::testing::TestWithParam<int>
{
protected:
    std::filesystem::path file(int number) const
    {
        return folder_.path() / ("line" + std::to_string(number) + ".so");
    }

private:
    ScratchFolder folder_;
};

inline std::string howLoaded(const ::testing::TestParamInfo<int> &flags)
{
    return flags.param == RTLD_LOCAL ? "Local" : "Global";
}

} // namespace plc::test

#endif
