#include "choices.h"

namespace plc::bus {

namespace {

decltype(&::ComCommunication) comCommunication = nullptr;
Choice chosen;

Protocol *choose(int ignored)
{
    Protocol *const head = comCommunication(ignored);
    if (head)
        chosen = {head->var.hostId, head->var.hostSubId, head->var.direction != 0};
    return head;
}

} // namespace

void lookAtChoicesOf(runtime::DriverLibrary &driver)
{
    comCommunication = driver.comCommunication;
    driver.comCommunication = choose;
}

const Choice &lastChoice()
{
    return chosen;
}

} // namespace plc::bus
