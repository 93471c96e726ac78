/// @file
/// A link without a thread: whoever waits runs the line.
#ifndef PLC_MASTER_DIRECT_LINK_H
#define PLC_MASTER_DIRECT_LINK_H

#include <utility>

#include "runtime/master/link_on_driver.h"
#include "runtime/master/news_box.h"

namespace plc::runtime {

/// The driver on a line, and its news in one list. What is derived from it has the clock and the line, and
/// runs them in start() and wait(). Not locked.
class DirectLink : public LinkOnDriver, protected NewsSink
{
public:
    std::vector<News> take() override { return std::exchange(news_, {}); }

protected:
    /// As DriverLink.
    DirectLink(DriverLibrary &driver, COM_INFO &info, const LinkSettings &settings)
        : LinkOnDriver(driver, info, settings, *this)
    {}

    void put(News &&news) override { news_.push_back(std::move(news)); }
    bool takeBack(int station) override { return takeBackChanges(&news_, station); }

    std::vector<News> news_;
};

} // namespace plc::runtime

#endif
