// The ports of a machine that is made up: folders and files as the kernel shows them.

#include "runtime/line/port_list.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runtime/line/port_holder.h"

namespace {

using namespace plc::runtime;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace files = std::filesystem;

/// /sys, /dev and /proc in a folder of its own.
class Ports : public ::testing::Test
{
protected:
    Ports()
    {
        std::string name = ::testing::TempDir() + "ports-XXXXXX";
        root_ = files::canonical(mkdtemp(name.data())).string();
        for (const char *folder : {"/sys/class/tty", "/dev/serial/by-id", "/proc"})
            files::create_directories(root_ + folder);
        places_.terminals = root_ + "/sys/class/tty";
        places_.devices = root_ + "/dev";
        places_.processes = root_ + "/proc";
    }
    ~Ports() override { files::remove_all(root_); }

    void write(const std::string &path, const std::string &content) const
    {
        files::create_directories(files::path(root_ + path).parent_path());
        std::ofstream(root_ + path) << content;
    }
    void link(const std::string &path, const std::string &target) const
    {
        files::create_directories(files::path(root_ + path).parent_path());
        files::create_symlink(root_ + target, root_ + path);
    }
    /// A terminal whose device is the folder @p device, with its node under /dev.
    void addTerminal(const std::string &name, const std::string &device) const
    {
        files::create_directories(root_ + device);
        link("/sys/class/tty/" + name + "/device", device);
        write("/dev/" + name, "");
    }
    /// An adapter at the USB port 1-2 with one serial port.
    void addAdapter(const std::string &name) const
    {
        const std::string usb = "/sys/devices/pci0000:00/usb1/1-2";
        write(usb + "/idVendor", "0403\n");
        write(usb + "/idProduct", "6001\n");
        write(usb + "/manufacturer", "FTDI\n");
        write(usb + "/product", "USB-RS485 Cable\n");
        write(usb + "/serial", " FT1A2B3C \n");
        addTerminal(name, usb + "/1-2:1.0/" + name);
        link(usb + "/1-2:1.0/" + name + "/driver", "/sys/bus/usb-serial/drivers/ftdi_sio");
    }
    /// A line of /proc/locks by which process @p process has locked @p path.
    std::string lockOf(const std::string &path, const std::string &process) const
    {
        struct stat file
        {};
        EXPECT_EQ(0, stat((root_ + path).c_str(), &file));
        char line[200];
        std::snprintf(line, sizeof line, "7: FLOCK  ADVISORY  WRITE %s %02x:%02x:%llu 0 EOF\n",
                      process.c_str(), gnu_dev_major(file.st_dev), gnu_dev_minor(file.st_dev),
                      static_cast<unsigned long long>(file.st_ino));
        return line;
    }
    std::vector<ListedPort> ports() const { return listPorts(places_); }
    std::vector<std::string> paths() const
    {
        std::vector<std::string> result;
        for (const ListedPort &port : ports())
            result.push_back(port.path.substr(root_.size()));
        return result;
    }

    std::string root_;
    PortPlaces places_;
};

TEST_F(Ports, OfAnAdapterSayDriverAndWhatTheAdapterIs)
{
    addAdapter("ttyUSB0");
    ASSERT_THAT(ports(), SizeIs(1));
    const ListedPort port = ports().front();
    EXPECT_EQ(root_ + "/dev/ttyUSB0", port.path);
    EXPECT_EQ("ftdi_sio", port.driver);
    EXPECT_EQ("FTDI USB-RS485 Cable FT1A2B3C", port.adapter);
    EXPECT_THAT(port.lastingNames, IsEmpty());
    EXPECT_EQ("", port.holder);
}

TEST_F(Ports, OfAnAdapterThatDoesNotSayWhatItIsHaveItsNumbers)
{
    write("/sys/devices/usb1/1-2/idVendor", "1a86\n");
    write("/sys/devices/usb1/1-2/idProduct", "7523\n");
    addTerminal("ttyACM0", "/sys/devices/usb1/1-2/1-2:1.0");
    ASSERT_THAT(ports(), SizeIs(1));
    EXPECT_EQ("USB 1a86:7523", ports().front().adapter);
}

TEST_F(Ports, HaveAllNamesThatLastTheFirstInFront)
{
    addAdapter("ttyUSB0");
    addAdapter("ttyUSB1");
    link("/dev/serial/by-id/usb-b", "/dev/ttyUSB0");
    link("/dev/serial/by-id/usb-a", "/dev/ttyUSB0");
    link("/dev/serial/by-id/usb-other", "/dev/ttyUSB1");
    link("/dev/serial/by-id/usb-gone", "/dev/ttyUSB9");
    EXPECT_THAT(ports().front().lastingNames,
                ElementsAre(root_ + "/dev/serial/by-id/usb-a", root_ + "/dev/serial/by-id/usb-b"));
}

TEST_F(Ports, OfTheMachineItselfHaveADriverAndNoAdapter)
{
    addTerminal("ttymxc0", "/sys/devices/platform/soc/2020000.serial");
    link("/sys/devices/platform/soc/2020000.serial/driver", "/sys/bus/platform/drivers/imx-uart");
    EXPECT_EQ("imx-uart", ports().front().driver);
    EXPECT_EQ("", ports().front().adapter);
}

TEST_F(Ports, HaveTheDriverOfTheChipAndNotThatOfTheKernelsBusBefore)
{
    addTerminal("ttyS0", "/sys/devices/pnp0/00:01/00:01:0/00:01:0.0");
    link("/sys/devices/pnp0/00:01/00:01:0/00:01:0.0/driver", "/sys/bus/serial-base/drivers/port");
    link("/sys/devices/pnp0/00:01/00:01:0/00:01:0.0/subsystem", "/sys/bus/serial-base");
    link("/sys/devices/pnp0/00:01/driver", "/sys/bus/pnp/drivers/serial");
    EXPECT_EQ("serial", ports().front().driver);
}

TEST_F(Ports, AreNoTerminalsWithoutADeviceNorPlacesThatNoChipFills)
{
    addTerminal("ttyS0", "/sys/devices/platform/serial8250");
    write("/sys/class/tty/ttyS0/type", "4\n");
    addTerminal("ttyS1", "/sys/devices/platform/serial8250");
    write("/sys/class/tty/ttyS1/type", "0\n");
    write("/sys/class/tty/tty1/dev", "4:1\n");
    write("/dev/tty1", "");
    addTerminal("ttyS2", "/sys/devices/platform/serial8250");
    files::remove(root_ + "/dev/ttyS2"); // not handed to this container
    EXPECT_THAT(paths(), ElementsAre("/dev/ttyS0"));
}

TEST_F(Ports, AreInTheOrderOfTheirNumbers)
{
    for (const char *name : {"ttyS10", "ttyUSB0", "ttyS9", "ttyACM2"})
        addTerminal(name, "/sys/devices/platform/serial8250");
    EXPECT_THAT(paths(), ElementsAre("/dev/ttyACM2", "/dev/ttyS9", "/dev/ttyS10", "/dev/ttyUSB0"));
}

TEST_F(Ports, AreUsedByWhoHasLockedThem)
{
    addAdapter("ttyUSB0");
    write("/proc/locks",
          "1: POSIX  ADVISORY  WRITE 1 00:01:1 0 EOF\nbroken\n" + lockOf("/dev/ttyUSB0", "4711"));
    write("/proc/4711/comm", "plchost\n");
    link("/proc/12/fd/3", "/dev/ttyUSB0");
    EXPECT_EQ("process 4711 (plchost)", ports().front().holder);
    const ListedPort unasked = listPorts(places_, Holders::LeftOut).front();
    EXPECT_EQ("", unasked.holder) << "nobody has looked";
    EXPECT_EQ(root_ + "/dev/ttyUSB0", unasked.path);
}

TEST_F(Ports, AreUsedByWhoHasThemOpenWhereNobodyHasLockedThem)
{
    addAdapter("ttyUSB0");
    addAdapter("ttyUSB1");
    write("/proc/locks", "");
    link("/proc/120/fd/0", "/dev/ttyUSB1");
    link("/proc/13/fd/0", "/dev/null");
    link("/proc/13/fd/4", "/dev/ttyUSB0");
    write("/proc/13/comm", "minicom\n");
    link("/proc/self/fd/4", "/dev/ttyUSB0");
    EXPECT_EQ("process 13 (minicom)", ports()[0].holder);
    EXPECT_EQ("process 120", ports()[1].holder);
}

TEST_F(Ports, AreNoneWhereTheSystemShowsNone)
{
    EXPECT_THAT(ports(), IsEmpty());
    places_.terminals = root_ + "/nowhere";
    EXPECT_THAT(ports(), IsEmpty());
}

TEST_F(Ports, OfTheLockAreLookedForUnderWhateverName)
{
    write("/dev/ttyUSB0", "");
    link("/dev/serial/by-id/usb-a", "/dev/ttyUSB0");
    write("/proc/locks", lockOf("/dev/ttyUSB0", "9"));
    EXPECT_EQ("process 9", lockHolder(root_ + "/dev/serial/by-id/usb-a", places_.processes));
    EXPECT_EQ("", lockHolder(root_ + "/dev/nowhere", places_.processes));
    EXPECT_EQ("", openHolder(root_ + "/dev/nowhere", places_.processes));
}

} // namespace
