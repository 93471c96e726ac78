#include "runtime/master/handed_over.h"

#include <algorithm>
#include <utility>

#include "runtime/master/request_ids.h"

namespace plc::runtime {

bool HandedOver::isServedFirst(const Protocol *head)
{
    return head && (head->var.hostId == kOrderHostId || head->var.hostId == kProbeHostId);
}

/// Two in a row that are neither order nor probe prove that both lists are empty: after the first, the
/// driver would have served whatever is in the lists.
void HandedOver::served(const Protocol *head)
{
    quiet_ = isServedFirst(head) ? 0 : std::min(quiet_ + 1, 2);
    if (quiet_ == 2) {
        for (const Ticket ticket : withdrawn_)
            ended(ticket);
        released_.insert(released_.end(), withdrawn_.begin(), withdrawn_.end());
        withdrawn_.clear();
    }
    if (head && head->var.hostId == kProbeHostId)
        probes_.erase(head->var.hostSubId);
}

std::vector<Ticket> HandedOver::takeReleased()
{
    return std::exchange(released_, {});
}

} // namespace plc::runtime
