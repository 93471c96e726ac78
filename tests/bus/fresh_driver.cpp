#include "fresh_driver.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "runtime/line/failure.h"

namespace plc::bus {

FreshDriver::Copy::Copy(const std::string &original)
{
    const char *const folder = std::getenv("TMPDIR");
    std::string name = std::string(folder ? folder : "/tmp") + "/plcdriver.XXXXXX";
    const int file = mkstemp(name.data());
    if (file < 0)
        throw runtime::Failure(runtime::FailureKind::Usage,
                               "no file can be made in the folder for temporary files: " + name);
    close(file);
    path = name;
    std::ofstream(path, std::ios::binary) << std::ifstream(original, std::ios::binary).rdbuf();
}

FreshDriver::Copy::~Copy()
{
    unlink(path.c_str());
}

FreshDriver::FreshDriver(const std::string &path) : copy_(path), library_(copy_.path) {}

} // namespace plc::bus
