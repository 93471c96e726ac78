#include "runtime/master/policies.h"

#include <gtest/gtest.h>

namespace {

using plc::runtime::Policies;

TEST(PoliciesTest, AreAllOnFromTheStart)
{
    const Policies policies;
    EXPECT_TRUE(policies.discardInput);
    EXPECT_TRUE(policies.lateReplyGuard);
    EXPECT_TRUE(policies.checkReplies);
    EXPECT_TRUE(policies.strictWrites);
    EXPECT_TRUE(policies.endOnException);
    EXPECT_TRUE(policies.endOnDamage);
    EXPECT_TRUE(policies.absoluteDeadline);
    EXPECT_TRUE(policies.offline);
    EXPECT_TRUE(policies.echoCheck);
}

} // namespace
