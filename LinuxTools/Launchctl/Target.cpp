#include "LinuxTools/Launchctl/Target.h"

#include <unistd.h>

namespace LinuxTools::Target
{

bool isOwnDomain(std::string_view domain)
{
    const std::string user = std::to_string(::getuid());
    return domain == "gui/" + user || domain == "user/" + user;
}

std::optional<std::string> labelIn(std::string_view target)
{
    const std::size_t first = target.find('/');
    const std::size_t second = first == std::string_view::npos ? first : target.find('/', first + 1);
    if (second == std::string_view::npos || !isOwnDomain(target.substr(0, second))) {
        return std::nullopt;
    }
    return std::string(target.substr(second + 1));
}

} // namespace LinuxTools::Target
