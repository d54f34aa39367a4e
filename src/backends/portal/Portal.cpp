#include "backends/portal/Portal.h"

#include <algorithm>

namespace velmaro::portal {

std::string requestPath(const std::string& ownName, const std::string& token) {
    std::string caller = ownName.substr(1);
    std::ranges::replace(caller, '.', '_');
    return std::string(kPath) + "/request/" + caller + "/" + token;
}

}  // namespace velmaro::portal
