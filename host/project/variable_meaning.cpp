#include "host/project/variable_meaning.h"

#include <cmath>

#include "host/runtime_names.h"
#include "runtime/line/failure.h"
#include "runtime/panel/value_text.h"
#include "runtime/panel/values.h"

namespace plc::host {

namespace {

constexpr std::size_t kLongestUnit = 32;
constexpr std::size_t kLongestText = 64;
constexpr std::size_t kLongestDescription = 1000;

/// Reads the members of one variable; the first mistake ends it.
class MeaningReader
{
public:
    /// @param variable  without a meaning.
    MeaningReader(const LocatedJson &json, const Variable &variable) : json_(json), variable_(variable) {}

    Meaning read(const MeaningMembers &members)
    {
        if (members.scale)
            readScale(*members.scale);
        if (members.offset)
            meaning_.offset = number(*members.offset);
        if (members.unit)
            meaning_.unit = text(*members.unit, "a unit", kLongestUnit, "");
        if (members.least)
            meaning_.least = number(*members.least);
        if (members.most)
            meaning_.most = number(*members.most);
        if (members.least && members.most && *meaning_.least > *meaning_.most)
            json_.refuse(*members.most, "max must not be less than min");
        if (members.texts)
            readTexts(*members.texts);
        if (members.description)
            meaning_.description = text(*members.description, "a description", kLongestDescription, "");
        return std::move(meaning_);
    }

private:
    bool isBit() const { return variable_.area->unit == Unit::Bit; }

    /// A number of a variable that has numbers.
    double number(const Json::Value &value) const
    {
        if (isBit() || variable_.registerFormat().isText())
            json_.refuse(value, "bits and texts have neither scale, offset nor limits");
        const double given = value.isNumeric() ? value.asDouble() : std::nan("");
        if (!std::isfinite(given))
            json_.refuse(value, "this must be a number, as 0.1");
        return given;
    }

    void readScale(const Json::Value &value)
    {
        meaning_.scale = number(value);
        // The reverse must be a number as well.
        if (!std::isnormal(meaning_.scale) || !std::isfinite(1 / meaning_.scale))
            json_.refuse(value, "a scale must not be 0");
    }

    /// @param forbidden  characters besides control characters.
    std::string text(const Json::Value &value, const std::string &what, std::size_t longest,
                     const std::string &forbidden) const
    {
        std::string given = value.isString() ? value.asString() : "";
        const bool isGood = !given.empty() && given.size() <= longest && given.front() != ' ' &&
                            given.back() != ' ' && !hasControlCharacters(given) &&
                            given.find_first_of(forbidden) == std::string::npos;
        std::string marks;
        for (const char letter : forbidden)
            marks += std::string(letter == forbidden.front() ? ", no " : " ") + letter;
        if (!isGood)
            json_.refuse(value, what + " is a text of 1 to " + std::to_string(longest) + " bytes" + marks +
                                    ", no control character, and no blank at its ends");
        return given;
    }

    void readTexts(const Json::Value &value)
    {
        if (!value.isObject() || value.empty())
            json_.refuse(value,
                         "texts are an object of values and texts, as {\"0\": \"off\", \"1\": \"on\"}");
        if (!isBit() && !variable_.registerFormat().isWhole())
            json_.refuse(value, "texts stand for bits and whole numbers, not for floats and texts");
        for (const JsonMember &member : membersInOrder(value))
            readText(member);
    }

    void readText(const JsonMember &member)
    {
        ValueName name;
        name.value = valueFrom(member.key, *member.value);
        name.text = text(*member.value, "a text of a value", kLongestText, ",=|\"\\");
        if (meaning_.nameOf(name.value))
            json_.refuse(*member.value, "the value '" + member.key + "' has a text already");
        if (meaning_.valueNamed(name.text))
            json_.refuse(*member.value, "'" + name.text + "' stands for another value already");
        if (readsAsOther(name))
            json_.refuse(*member.value, "'" + name.text + "' reads as another value");
        meaning_.names.push_back(name);
    }

    Value valueFrom(const std::string &key, const Json::Value &place) const
    {
        try {
            const Values values = parseValues(key, variable_, "texts");
            if (valueCount(variable_, values) == 1)
                return valueOf(variable_, values, 0);
        } catch (const Failure &failure) {
            const std::string reason = failure.what();
            json_.refuse(place, reason.substr(reason.find("value '")));
        }
        json_.refuse(place, "'" + key + "' is more than one value");
    }

    /// Typed instead of a number, the text would be one.
    bool readsAsOther(const ValueName &name) const
    {
        if (meaning_.isScaled())
            return readValue(name.text, {ValueKind::F64, ByteOrder::Abcd, 0}).has_value();
        try {
            return valueOf(variable_, parseValues(name.text, variable_, ""), 0) != name.value;
        } catch (const Failure &) {
            return false;
        }
    }

    const LocatedJson &json_;
    const Variable &variable_;
    Meaning meaning_;
};

} // namespace

std::shared_ptr<const Meaning> readMeaning(const LocatedJson &json, const MeaningMembers &members,
                                           const Variable &variable)
{
    const bool isAny = members.scale || members.offset || members.unit || members.least || members.most ||
                       members.texts || members.description;
    if (!isAny)
        return nullptr;
    return std::make_shared<const Meaning>(MeaningReader(json, variable).read(members));
}

std::string keyOf(const Variable &variable, const ValueName &name)
{
    return textOf(name.value, variable.area->unit == Unit::Bit ? ValueFormat() : variable.registerFormat());
}

} // namespace plc::host
