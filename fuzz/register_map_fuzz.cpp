// Any bytes as a register map: a project, or one line that says where the mistake is. A map of that project
// is one of the same variables.
#include "fuzz/support/claim.h"
#include "fuzz/support/project_claims.h"
#include "host/project/project_writer.h"
#include "host/project/register_map.h"

namespace plc::fuzz {

namespace {

void play(const std::string &bytes)
{
    try {
        const host::Project project = host::parseRegisterMap(kClaimedFile, bytes, host::LinkSettings());
        claimGoodProject(project);
        const host::Project again =
            host::parseRegisterMap("again", host::registerMapText(project), host::LinkSettings());
        claim(host::projectText(again) == host::projectText(project),
              "a map that was written reads as the same");
    } catch (const host::Failure &failure) {
        claimGoodFailure(failure, bytes);
    }
}

} // namespace

} // namespace plc::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    plc::fuzz::play(std::string(reinterpret_cast<const char *>(data), size));
    return 0;
}
