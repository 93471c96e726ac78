#include "fuzz/support/project_claims.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "fuzz/support/claim.h"
#include "runtime/panel/meaning.h"
#include "runtime/panel/values.h"

namespace plc::fuzz {

using host::Failure;
using host::Project;

namespace {

/// Reads "NAME NUMBER" at @p at and goes behind it.
int numberBehind(const std::string &text, const std::string &name, std::size_t *at)
{
    claim(text.compare(*at, name.size(), name) == 0, "a failure says file, line and column");
    std::size_t used = 0;
    const std::string digits = text.substr(*at + name.size(), 12);
    claim(!digits.empty() && digits[0] >= '1' && digits[0] <= '9', "lines and columns are counted from 1");
    const int number = std::stoi(digits, &used);
    *at += name.size() + used;
    return number;
}

/// Characters of one line, -1 for a line that is not there. In a file that is no UTF-8 a continuation byte at
/// the start of a line counts as a character.
int charactersOfLine(const std::string &bytes, int line)
{
    int current = 1;
    int characters = 0;
    char before = '\n';
    for (const char byte : bytes) {
        const bool goesOn = (static_cast<unsigned char>(byte) & 0xC0u) == 0x80u && before != '\n';
        if (byte == '\n')
            ++current;
        else if (current == line && !goesOn)
            ++characters;
        before = byte;
    }
    return current < line ? -1 : characters;
}

/// A station may show what may not be written to it.
bool mayBeWritten(const host::Variable &variable, const host::Meaning &meaning, const host::ValueName &name)
{
    const double shown = runtime::scaled(name.value, variable.registerFormat(), meaning).asReal();
    return !(meaning.least && shown < *meaning.least) && !(meaning.most && shown > *meaning.most);
}

void claimGoodText(const host::Variable &variable, const host::Meaning &meaning, const host::ValueName &name)
{
    try {
        const host::Values values = host::parseValues(name.text, variable, "text");
        claim(host::valueCount(variable, values) == 1, "a text stands for one value");
        const std::string *again = host::nameOfValue(variable, values, 0);
        claim(again && *again == name.text, "the value of a text has that text");
    } catch (const Failure &) {
        claim(!mayBeWritten(variable, meaning, name), "the text of a value within the limits can be written");
    }
}

void claimGoodMeaning(const host::Variable &variable, const host::Meaning &meaning)
{
    claim(std::isfinite(meaning.scale) && meaning.scale != 0 && std::isfinite(meaning.offset),
          "what is scaled can be scaled back");
    claim(!meaning.least || !meaning.most || *meaning.least <= *meaning.most, "a value lies between limits");
    for (const host::ValueName &name : meaning.names)
        claimGoodText(variable, meaning, name);
}

void claimGoodVariable(const host::Variable &variable, const Project &project)
{
    claim(variable.area != nullptr && variable.count >= 1 && variable.count <= 65536,
          "a variable has values");
    claim(variable.first >= 0 && variable.baseCount() >= 1, "a variable has a place");
    claim(qint64(variable.baseFirst()) + variable.baseCount() <= 65536, "a variable lies in its area");
    claim(variable.station.has_value() && *variable.station >= 1 && *variable.station <= 247,
          "a variable has a station that can be on a line");
    claim(!variable.label.empty() && variable.label.size() <= 64, "a variable has a name");
    // What is read is the same whoever reads it.
    std::string text = std::string(variable.area->name) + ":" + variable.address.toStdString();
    if (variable.countGiven)
        text += ":" + std::to_string(variable.count);
    if (variable.format)
        text += "/" + host::nameOf(*variable.format);
    const host::Variable again =
        host::parseVariable(text + "@" + std::to_string(*variable.station), project.link.oneBased());
    claim(again.first == variable.first && again.count == variable.count && again.format == variable.format,
          "a variable's text says what it is");
    if (variable.meaning)
        claimGoodMeaning(variable, *variable.meaning);
}

} // namespace

void claimGoodFailure(const Failure &failure, const std::string &bytes)
{
    const std::string text = failure.what();
    claim(failure.kind() == host::FailureKind::Usage, "a bad file is wrong usage");
    claim(text.compare(0, sizeof kClaimedFile - 1, kClaimedFile) == 0, "a failure names the file");
    std::size_t at = sizeof kClaimedFile - 1;
    const int line = numberBehind(text, ", line ", &at);
    const int column = numberBehind(text, ", column ", &at);
    const int characters = charactersOfLine(bytes, line);
    claim(characters >= 0, "the line of a mistake is a line of the file");
    claim(column <= characters + 1, "the column of a mistake lies in its line");
    claim(text.compare(at, 2, ": ") == 0 && text.size() > at + 12, "a failure says what is wrong");
    claim(std::none_of(text.begin(), text.end(),
                       [](char letter) { return static_cast<unsigned char>(letter) < 0x20; }),
          "a failure is one line of text");
}

void claimGoodProject(const Project &project)
{
    claim(!project.variables.empty(), "a project has variables");
    std::set<std::string> names;
    for (const host::Variable &variable : project.variables) {
        claimGoodVariable(variable, project);
        claim(names.insert(variable.label).second, "a name belongs to one variable");
    }
    const host::LinkSettings &link = project.link;
    claim(link.baud >= 300 && link.baud <= 4000000, "the line has a rate");
    claim(link.stopBits >= 0 && link.stopBits <= 2, "a character ends as the standard says or as it is told");
    claim(link.maxBlock >= 1 && link.maxBlock <= 100, "a request has a size");
    claim(link.retries >= 0 && link.retries <= 100, "retries have an end");
    claim(link.timeout.count() > 0 && link.turnaround.count() >= 0, "waiting has an end");
    claim(link.linkMode == 0 || link.linkMode == 1, "there are two kinds of link");
    for (const host::PriorityRow &row : project.rows) {
        claim(row.texts.size() >= 10, "a row has the texts that the driver looks at");
        claim(row.level >= 0 && row.level <= 4 && row.address >= 0, "a row has a level and an address");
    }
    host::projectWarnings(project);
}

} // namespace plc::fuzz
