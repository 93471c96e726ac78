// Any bytes as a project file: a project that a panel can run, or one line that says where the mistake is and
// what is allowed there. A project is the same after it was written.
#include "fuzz/support/claim.h"
#include "fuzz/support/project_claims.h"
#include "host/project/project_writer.h"

namespace plc::fuzz {

namespace {

void play(const std::string &bytes)
{
    try {
        const host::Project project =
            host::parseProject(kClaimedFile, QByteArray(bytes.data(), static_cast<int>(bytes.size())));
        claimGoodProject(project);
        const std::string text = host::projectText(project);
        const host::Project again = host::parseProject("again", QByteArray::fromStdString(text));
        claim(host::projectText(again) == text, "a project that was written reads as the same");
        claim(again.rows.size() == project.rows.size(), "no row is lost by writing");
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
