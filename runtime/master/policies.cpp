#include "runtime/master/policies.h"

#include "runtime/line/failure.h"

namespace plc::runtime {

namespace {

struct PolicyName
{
    const char *name;
    bool Policies::*flag;
    const char *meaning;
};

constexpr PolicyName kPolicies[] = {
    {"discard-input", &Policies::discardInput, "what arrives between two exchanges is thrown away"},
    {"late-reply-guard", &Policies::lateReplyGuard,
     "after a time-out the line is listened to before another request goes out"},
    {"reply-check", &Policies::checkReplies, "replies that do not fit the request are passed over"},
    {"strict-writes", &Policies::strictWrites, "a reply to a write must repeat address and value"},
    {"exception-end", &Policies::endOnException, "an exception reply ends the wait at once"},
    {"damage-end", &Policies::endOnDamage, "a damaged reply ends the wait at once"},
    {"absolute-deadline", &Policies::absoluteDeadline, "noise does not lengthen the wait for a reply"},
    {"offline", &Policies::offline, "a station that fails over and over is left alone but for trials"},
};

} // namespace

void turnOff(Policies *policies, const std::string &name)
{
    std::string names;
    for (const PolicyName &policy : kPolicies) {
        if (name == policy.name) {
            policies->*policy.flag = false;
            return;
        }
        names += (names.empty() ? "" : ", ") + std::string(policy.name);
    }
    throw Failure(FailureKind::Usage, "there is no policy '" + name + "'; policies are " + names);
}

std::string policyHelp()
{
    constexpr std::size_t kColumn = 20;
    std::string help;
    for (const PolicyName &policy : kPolicies) {
        std::string line = "  " + std::string(policy.name);
        line.resize(kColumn, ' ');
        help += line + policy.meaning + "\n";
    }
    return help;
}

} // namespace plc::runtime
