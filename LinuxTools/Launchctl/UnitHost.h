#pragma once

#include <string>
#include <vector>

#include "LinuxTools/Launchctl/AgentHost.h"
#include "LinuxTools/Launchctl/UserManager.h"

namespace LinuxTools
{

// Agents as units of systemd's user manager. An agent is loaded while its unit file, which bears our record, stands in
// one of the manager's folders: there for good where the manager looks into this home, else until the logout.
class UnitHost final : public AgentHost
{
public:
    explicit UnitHost(UserManager manager);

    [[nodiscard]] std::optional<Agent> find(const std::string& label) const override;
    [[nodiscard]] std::vector<Agent> all() const override;
    Change bootstrap(const Job& job, const std::filesystem::path& propertyList, const std::string& bytes) override;
    Change bootout(const Agent& agent) override;
    Change kickstart(const Agent& agent, bool killFirst) override;

private:
    struct Plan;

    [[nodiscard]] bool isLoaded(const AgentRecord& record, const UserManager::Properties& properties) const;
    [[nodiscard]] std::optional<std::string> foreignUnit(const Job& job) const;
    [[nodiscard]] Plan planned(const Job& job, const std::filesystem::path& propertyList) const;
    [[nodiscard]] std::optional<std::string> carryOut(const Job& job, const Plan& plan) const;
    [[nodiscard]] static std::optional<std::string> writeUnits(const Plan& plan);
    [[nodiscard]] std::optional<std::string> reload() const;
    [[nodiscard]] std::optional<std::string> checkLoaded(const Plan& plan) const;
    [[nodiscard]] std::optional<std::string> activate(const Job& job, const Plan& plan) const;
    [[nodiscard]] std::optional<std::string> stop(const AgentRecord& record) const;
    void forget(const AgentRecord& record, const std::filesystem::path& folder) const;
    [[nodiscard]] std::optional<std::string> command(const std::vector<std::string>& arguments,
                                                     std::chrono::seconds limit) const;

    UserManager manager_;
};

} // namespace LinuxTools
