#include "host/finding/map_project.h"

#include <algorithm>

#include "host/finding/map_state.h"
#include "runtime/line/setting_limits.h"

namespace plc::host {

namespace {

constexpr int kBitsPerBlockUnit = 8;

/// "4x.100-163".
std::string nameOf(const std::string &area, const Stretch &stretch)
{
    std::string name = area + "." + std::to_string(stretch.first);
    if (stretch.count() > 1)
        name += "-" + std::to_string(stretch.last);
    return name;
}

} // namespace

Project projectOf(const AreaMapper &mapper, const LinkSettings &link)
{
    const MapWish &wish = mapper.wish();
    const std::string area = areaOfFunction(wish.function);
    const int shift = link.oneBased() ? 1 : 0;
    Project project;
    project.link = link;
    project.link.station = wish.station;
    project.link.stations.clear();
    project.link.holes.clear();
    const int block = mapper.block();
    const int units = isReadOfBits(wish.function) ? block / kBitsPerBlockUnit : block;
    project.link.maxBlock = std::clamp(units, kMaxBlockLimits.least, link.maxBlock);
    // Where nothing is packed, each variable is one request.
    const int most = project.link.maxBlock > 1 ? kAddresses : block;
    const std::vector<Stretch> islands = mapper.islands();
    for (const Stretch &island : islands) {
        for (int first = island.first; first <= island.last; first += most) {
            const Stretch part{first, std::min(island.last, first + most - 1)};
            Variable variable =
                parseVariable(area + ":" + std::to_string(part.first + shift) + ":" +
                                  std::to_string(part.count()) + "@" + std::to_string(wish.station),
                              link.oneBased());
            variable.label = nameOf(area, {part.first + shift, part.last + shift});
            variable.text = variable.label;
            project.variables.push_back(std::move(variable));
            project.rates.push_back(0);
        }
    }
    for (std::size_t i = 0; i + 1 < islands.size(); ++i) {
        Hole hole;
        hole.station = wish.station;
        hole.baseType = findArea(area)->baseType;
        hole.first = islands[i].last + 1;
        hole.count = islands[i + 1].first - hole.first;
        project.link.holes.push_back(hole);
    }
    return project;
}

} // namespace plc::host
