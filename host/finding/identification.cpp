#include "host/finding/identification.h"

#include <algorithm>
#include <array>

#include "host/finding/reading.h"

namespace plc::host {

namespace {

constexpr int kBasic = 1;
constexpr int kRegular = 2;
constexpr int kExtended = 3;
constexpr int kSingle = 4;
constexpr int kSingleFlag = 0x80;
constexpr std::array<const char *, 7> kNames{"vendor name",          "product code", "revision",
                                             "vendor URL",           "product name", "model name",
                                             "user application name"};

/// First object of a category.
int firstOf(int category)
{
    return category == kBasic ? 0 : category == kRegular ? 3 : 0x80;
}

int byteAt(const QByteArray &bytes, int at)
{
    return static_cast<unsigned char>(bytes.at(at));
}

} // namespace

std::string objectName(int number)
{
    return number < static_cast<int>(kNames.size()) ? kNames[static_cast<std::size_t>(number)] : "";
}

std::string levelName(int level)
{
    const int category = level & ~kSingleFlag;
    const std::string name = category == kBasic      ? "basic"
                             : category == kRegular  ? "regular"
                             : category == kExtended ? "extended"
                                                     : "level " + std::to_string(category);
    return name + ((level & kSingleFlag) != 0 ? ", single objects too" : "");
}

bool Identification::isThere() const
{
    return echoTest.answer.isAnswer() || serverId.answer.isAnswer() || identification.answer.isAnswer();
}

Question Identifier::question(std::initializer_list<int> bytes) const
{
    Question question;
    question.frame = frameOf(bytes, crcHighFirst_);
    question.retries = retries_;
    return question;
}

std::optional<Question> Identifier::next()
{
    const int station = result_.station;
    switch (stage_) {
    case Stage::Stream:
        return question({station, kFunctionEncapsulated, kReadIdentification, category_, object_});
    case Stage::Single:
        return question({station, kFunctionEncapsulated, kReadIdentification, kSingle, object_});
    case Stage::ServerId:
        return question({station, kFunctionServerId});
    case Stage::EchoTest:
        // Last: by then it is known whether the line hands back what is sent.
        return question({station, kFunctionDiagnostics, 0, 0, 0xA5, 0x37});
    case Stage::Over:
        break;
    }
    return std::nullopt;
}

void Identifier::take(const Answer &answer)
{
    switch (stage_) {
    case Stage::Stream:
    case Stage::Single:
        ++asked_;
        if (!result_.identification.isAsked)
            result_.identification = {true, answer};
        goOn(answer);
        break;
    case Stage::ServerId:
        result_.serverId = {true, answer};
        stage_ = Stage::EchoTest;
        break;
    case Stage::EchoTest:
        result_.echoTest = {true, answer};
        stage_ = Stage::Over;
        break;
    case Stage::Over:
        break;
    }
}

/// Station, 43, 14, category, level, more follow, next object, number of objects, then each with number and
/// length.
void Identifier::takeObjects(const Answer &answer)
{
    constexpr int kFirst = 8;
    const QByteArray &frame = answer.frame;
    int at = kFirst;
    for (int left = byteAt(frame, kFirst - 1); left > 0 && at + 2 <= frame.size() - 2; --left) {
        const int length = byteAt(frame, at + 1);
        if (at + 2 + length <= frame.size() - 2)
            result_.objects.emplace(byteAt(frame, at), frame.mid(at + 2, length));
        at += 2 + length;
    }
    result_.level = byteAt(frame, 4);
}

void Identifier::goOn(const Answer &answer)
{
    constexpr int kLeast = 10;
    const bool isGood = answer.isReply() && answer.frame.size() >= kLeast;
    const bool saysMore = isGood && byteAt(answer.frame, 5) != 0;
    const int nextObject = isGood ? byteAt(answer.frame, 6) : 0;
    if (isGood)
        takeObjects(answer);
    const bool isSilent = !answer.isAnswer() && asked_ == 1;
    if (asked_ >= kMostIdentificationRequests || isSilent) {
        result_.isCut = saysMore && stage_ == Stage::Stream;
        stage_ = Stage::ServerId;
        return;
    }
    if (stage_ == Stage::Stream && saysMore && nextObject > object_) {
        object_ = nextObject;
        return;
    }
    result_.isCut = result_.isCut || (stage_ == Stage::Stream && saysMore);
    if (stage_ == Stage::Stream)
        nextCategory();
    else if (!missesOne())
        stage_ = Stage::ServerId;
}

void Identifier::nextCategory()
{
    const int level = result_.level & ~kSingleFlag;
    if (category_ < kExtended && category_ < level) {
        ++category_;
        object_ = firstOf(category_);
        return;
    }
    stage_ = missesOne() ? Stage::Single : Stage::ServerId;
}

/// Sets the object to the next one that no stream has told, where single objects can be asked for. Where the
/// first stream was refused, nobody has said what can be: the basic objects alone are tried.
bool Identifier::missesOne()
{
    const bool isTold = result_.level != 0;
    if (isTold && (result_.level & kSingleFlag) == 0)
        return false;
    if (!isTold && result_.identification.answer.kind == AnswerKind::Exception &&
        result_.identification.answer.exceptionCode == 1)
        return false;
    const int last = (result_.level & ~kSingleFlag) >= kRegular ? 6 : 2;
    for (int number = 0; number <= last; ++number) {
        if (result_.objects.count(number) > 0 || tried_[number])
            continue;
        tried_[number] = true;
        object_ = number;
        return true;
    }
    return false;
}

} // namespace plc::host
