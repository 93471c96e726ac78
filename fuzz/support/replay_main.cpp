/// @file
/// Runs a fuzz target over files instead of letting the fuzzer make inputs up: TARGET FILE-OR-FOLDER...
///
/// Exit codes: 0 every file passed; 2 nothing to replay or a file that cannot be read. A claim that does not
/// hold, or a sanitizer, ends the program otherwise; the last file named on standard error is the input.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> filesIn(const fs::path &place)
{
    if (!fs::is_directory(place))
        return {place};
    std::vector<fs::path> files;
    for (const fs::directory_entry &entry : fs::directory_iterator(place))
        files.push_back(entry.path());
    return files;
}

bool replay(const fs::path &path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        std::fprintf(stderr, "%s: cannot be read; give files or folders that exist\n", path.c_str());
        return false;
    }
    const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::fprintf(stderr, "%s: %zu bytes\n", path.c_str(), bytes.size());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size());
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    int replayed = 0;
    for (int i = 1; i < argc; ++i) {
        for (const fs::path &path : filesIn(argv[i])) {
            if (!replay(path))
                return 2;
            ++replayed;
        }
    }
    if (replayed == 0) {
        std::fprintf(stderr, "%s: nothing to replay; give input files, or folders of them\n", argv[0]);
        return 2;
    }
    std::printf("%d inputs replayed\n", replayed);
    return 0;
}
