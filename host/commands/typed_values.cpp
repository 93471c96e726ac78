#include "host/commands/typed_values.h"

#include <algorithm>

namespace plc::host {

namespace {

std::string trimmed(const std::string &text)
{
    constexpr const char *kBlanks = " \t";
    const std::size_t from = text.find_first_not_of(kBlanks);
    return from == std::string::npos ? "" : text.substr(from, text.find_last_not_of(kBlanks) - from + 1);
}

} // namespace

std::vector<std::string> typedValues(const std::string &text, const runtime::Variable &variable,
                                     const runtime::Values &values)
{
    const int count = runtime::valueCount(variable, values);
    const runtime::Meaning plain;
    const runtime::Meaning &meaning = variable.meaning ? *variable.meaning : plain;
    if (meaning.isScaled() || !meaning.names.empty())
        return {};
    for (int i = 0; i < count; ++i) {
        const runtime::Value::Type type = runtime::valueOf(variable, values, i).type;
        if (type != runtime::Value::Type::Unsigned && type != runtime::Value::Type::Signed)
            return {};
    }
    std::vector<std::string> words;
    for (std::size_t from = 0; from <= text.size();) {
        const std::size_t to = std::min(text.find(',', from), text.size());
        words.push_back(trimmed(text.substr(from, to - from)));
        from = to + 1;
    }
    return static_cast<int>(words.size()) == count ? words : std::vector<std::string>();
}

bool isPlainNumber(const std::string &word)
{
    const std::size_t first = !word.empty() && word[0] == '-' ? 1 : 0;
    const bool isZeroFirst = word.size() > first + 1 && word[first] == '0';
    return word.size() > first && !isZeroFirst &&
           word.find_first_not_of("0123456789", first) == std::string::npos;
}

} // namespace plc::host
