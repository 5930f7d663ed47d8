#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "ManagerCore/Foundation/Proc.h"

namespace LinuxTools
{

// systemd's user manager, through systemctl. Blocking; nothing throws.
class UserManager
{
public:
    using Properties = std::map<std::string, std::string>;

    // The one that listens in the user's runtime folder; absent when none does or systemctl is missing. Tells at once:
    // nothing is started and nothing waited for.
    static std::optional<UserManager> find();

    // Runs systemctl. Given up after `limit`: then the result is no success and says so.
    [[nodiscard]] ManagerCore::Proc::Out run(const std::vector<std::string>& arguments,
                                             std::chrono::seconds limit) const;

    // A unit's properties; absent when the manager does not answer. An unknown unit has them too.
    [[nodiscard]] std::optional<Properties> show(const std::string& unit, const std::string& names) const;

    // The folders in which it looks for units. Older ones do not tell the names of those with a space in them.
    [[nodiscard]] std::vector<std::string> unitPath() const;

private:
    explicit UserManager(std::filesystem::path systemctl);

    std::filesystem::path systemctl_;
    ManagerCore::Proc::Environment environment_;
};

} // namespace LinuxTools
