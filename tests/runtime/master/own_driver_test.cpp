#include "runtime/master/own_driver.h"

#include <dirent.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <set>

#include "runtime/line/failure.h"

namespace {

using namespace plc::runtime;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// Names in a folder, without those of every folder.
std::set<std::string> namesIn(const std::string &folder)
{
    std::set<std::string> names;
    DIR *const open = opendir(folder.c_str());
    while (const dirent *entry = open ? readdir(open) : nullptr)
        names.insert(entry->d_name);
    if (open)
        closedir(open);
    names.erase(".");
    names.erase("..");
    return names;
}

/// Mappings of the process with the driver in their names.
int driversMapped()
{
    std::ifstream maps("/proc/self/maps");
    int count = 0;
    for (std::string line; std::getline(maps, line);)
        count += line.find("plcdriver") != std::string::npos ? 1 : 0;
    return count;
}

class NoMemory : public CopyPlaces
{
public:
    explicit NoMemory(const std::string &folder) : folder_(folder) {}
    int anonymousFile() override
    {
        errno = EPERM;
        return -1;
    }
    std::string temporaryFolder() override { return folder_; }

private:
    std::string folder_;
};

class OwnDriverTest : public ::testing::Test
{
protected:
    OwnDriverTest()
    {
        std::string name = ::testing::TempDir() + "drivers.XXXXXX";
        folder = mkdtemp(name.data());
    }
    ~OwnDriverTest() override { rmdir(folder.c_str()); }

    std::string folder;
};

TEST_F(OwnDriverTest, IsTheFileItselfWhereNobodyHasLoadedIt)
{
    OwnDriver driver(PLC_DRIVER_PATH);
    EXPECT_EQ(PLC_DRIVER_PATH, driver.library().path());
}

TEST_F(OwnDriverTest, SharesNothingWithThoseThatAreLoadedAlready)
{
    OwnDriver first(PLC_DRIVER_PATH);
    OwnDriver second(PLC_DRIVER_PATH);
    OwnDriver third(PLC_DRIVER_PATH);
    OwnDriver fourth(PLC_DRIVER_PATH, NoMemory(folder));
    const std::array<OwnDriver *, 4> drivers{&first, &second, &third, &fourth};
    std::array<COM_INFO, 4> infos{};
    std::array<unsigned short, 50501> words{};
    for (std::size_t i = 0; i < drivers.size(); ++i) {
        infos[i].maxBlock = static_cast<int>(10 * i + 10);
        drivers[i]->library().claim();
        drivers[i]->library().setComInfo(&infos[i]);
        drivers[i]->library().flashLocalRegister(nullptr, words.data(), nullptr);
        RW_VAR read;
        read.regType = 5;
        read.station = static_cast<int>(i) + 1;
        read.count = 1;
        EXPECT_EQ(1, drivers[i]->library().addListReadVar(&read)) << "its list has nothing of the others";
    }
    for (std::size_t i = 0; i < drivers.size(); ++i)
        EXPECT_EQ(static_cast<int>(i) + 1, drivers[i]->library().comCommunication(0)->var.station);
}

TEST_F(OwnDriverTest, LeavesAloneADriverThatTheProgramHasLoadedItself)
{
    void *const bare = dlopen(PLC_DRIVER_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_TRUE(bare);
    OwnDriver driver(PLC_DRIVER_PATH);
    EXPECT_NE(dlsym(bare, "SetComInfo"), reinterpret_cast<void *>(driver.library().setComInfo));
    dlclose(bare);
}

TEST_F(OwnDriverTest, IsCopiedIntoAFolderWhereMemoryMayNotBeRun)
{
    OwnDriver first(PLC_DRIVER_PATH);
    OwnDriver second(PLC_DRIVER_PATH, NoMemory(folder));
    EXPECT_THAT(second.library().path(), HasSubstr(folder));
    EXPECT_THAT(namesIn(folder), IsEmpty()) << "the name is gone at once";
}

TEST_F(OwnDriverTest, SaysWhyNeitherPlaceDoes)
{
    OwnDriver first(PLC_DRIVER_PATH);
    try {
        OwnDriver second(PLC_DRIVER_PATH, NoMemory("/nowhere"));
        ADD_FAILURE() << "it was loaded from nowhere";
    } catch (const Failure &failure) {
        EXPECT_EQ(FailureKind::Driver, failure.kind());
        EXPECT_THAT(failure.what(),
                    AllOf(HasSubstr(PLC_DRIVER_PATH), HasSubstr("Operation not permitted"),
                          HasSubstr("/nowhere"), HasSubstr("No such file"), HasSubstr("TMPDIR")));
    }
}

TEST_F(OwnDriverTest, LeavesNothingBehindHoweverOftenFourAreLoaded)
{
    const std::set<std::string> filesBefore = namesIn("/proc/self/fd");
    const int mapsBefore = driversMapped();
    for (int times = 0; times < 100; ++times) {
        OwnDriver first(PLC_DRIVER_PATH);
        OwnDriver second(PLC_DRIVER_PATH);
        OwnDriver third(PLC_DRIVER_PATH);
        OwnDriver fourth(PLC_DRIVER_PATH, NoMemory(folder));
        for (OwnDriver *const driver : {&first, &second, &third, &fourth})
            ASSERT_NO_THROW(driver->library().claim()) << "it is a driver that somebody has used";
    }
    EXPECT_EQ(filesBefore.size(), namesIn("/proc/self/fd").size());
    EXPECT_EQ(mapsBefore, driversMapped());
}

} // namespace
