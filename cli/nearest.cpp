#include "cli/nearest.h"

#include <algorithm>

namespace plc::cli {

namespace {

constexpr std::size_t kShortest = 3;      ///< letters of a word that says enough
constexpr std::size_t kLongest = 100;     ///< letters of a word that is worth comparing
constexpr std::size_t kLettersAFault = 3; ///< of so many letters one may be wrong

/// Without the dashes in front, and in small letters.
std::string plain(const std::string &word)
{
    std::string letters = word.substr(std::min(word.find_first_not_of('-'), word.size()));
    for (char &letter : letters) {
        if (letter >= 'A' && letter <= 'Z')
            letter = static_cast<char>(letter - 'A' + 'a');
    }
    return letters;
}

/// Letters wrong, missing, too many or exchanged with their neighbour.
std::size_t distance(const std::string &a, const std::string &b)
{
    std::vector<std::vector<std::size_t>> least(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            std::size_t &here = least[i][j];
            if (i == 0 || j == 0) {
                here = i + j;
                continue;
            }
            const std::size_t fault = a[i - 1] == b[j - 1] ? 0 : 1;
            here = std::min({least[i - 1][j] + 1, least[i][j - 1] + 1, least[i - 1][j - 1] + fault});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                here = std::min(here, least[i - 2][j - 2] + 1);
        }
    }
    return least[a.size()][b.size()];
}

} // namespace

std::string nearest(const std::string &typed, const std::vector<std::string> &names)
{
    const std::string word = plain(typed);
    if (word.size() < kShortest || word.size() > kLongest)
        return std::string();
    std::string begun;
    std::string found;
    std::size_t beginnings = 0;
    std::size_t equals = 0;
    std::size_t least = word.size() / kLettersAFault;
    for (const std::string &name : names) {
        const std::string candidate = plain(name);
        if (candidate.compare(0, word.size(), word) == 0) {
            begun = name;
            ++beginnings;
        }
        const std::size_t faults = distance(word, candidate);
        if (faults > least)
            continue;
        equals = faults < least ? 1 : equals + 1;
        least = faults;
        found = name;
    }
    if (beginnings == 1)
        return begun;
    return equals == 1 ? found : std::string();
}

std::string didYouMean(const std::string &typed, const std::vector<std::string> &names)
{
    const std::string meant = nearest(typed, names);
    return meant.empty() ? std::string() : "; did you mean '" + meant + "'?";
}

} // namespace plc::cli
