#include "runtime/master/policies.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runtime/line/failure.h"

namespace {

using namespace plc::runtime;
using ::testing::HasSubstr;

struct NamedPolicy
{
    const char *name;
    bool Policies::*flag;
};

constexpr NamedPolicy kAll[] = {
    {"discard-input", &Policies::discardInput},         {"late-reply-guard", &Policies::lateReplyGuard},
    {"reply-check", &Policies::checkReplies},           {"strict-writes", &Policies::strictWrites},
    {"exception-end", &Policies::endOnException},       {"damage-end", &Policies::endOnDamage},
    {"absolute-deadline", &Policies::absoluteDeadline}, {"offline", &Policies::offline},
};

TEST(PoliciesTest, AreAllOnFromTheStart)
{
    for (const NamedPolicy &policy : kAll)
        EXPECT_TRUE(Policies().*policy.flag) << policy.name;
}

TEST(PoliciesTest, AreTurnedOffOneByOne)
{
    for (const NamedPolicy &off : kAll) {
        Policies policies;
        turnOff(&policies, off.name);
        for (const NamedPolicy &policy : kAll)
            EXPECT_EQ(policy.flag != off.flag, policies.*policy.flag) << off.name << ", " << policy.name;
    }
}

TEST(PoliciesTest, UnknownNameIsAnsweredWithTheKnownOnes)
{
    Policies policies;
    try {
        turnOff(&policies, "echo");
        FAIL();
    } catch (const Failure &failure) {
        EXPECT_EQ(FailureKind::Usage, failure.kind());
        EXPECT_THAT(failure.what(), HasSubstr("no policy 'echo'"));
        for (const NamedPolicy &policy : kAll)
            EXPECT_THAT(failure.what(), HasSubstr(policy.name));
    }
}

TEST(PoliciesTest, HelpNamesEachOfThem)
{
    for (const NamedPolicy &policy : kAll)
        EXPECT_THAT(policyHelp(), HasSubstr("  " + std::string(policy.name) + " ")) << policy.name;
}

} // namespace
