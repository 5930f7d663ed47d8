#pragma once

#include <string>
#include <vector>

#include "LinuxTools/Launchctl/AgentHost.h"

namespace LinuxTools
{

// Agents where no user manager answers: processes that are started and ended, and never started again by themselves.
// An agent is loaded while its folder stands in one of `Places::agentsFolders()`; it holds the record ("agent"), a copy
// of the property list ("job.plist") and, once started, the process ("process").
class DetachedHost final : public AgentHost
{
public:
    [[nodiscard]] std::optional<Agent> find(const std::string& label) const override;
    [[nodiscard]] std::vector<Agent> all() const override;
    Change bootstrap(const Job& job, const std::filesystem::path& propertyList, const std::string& bytes) override;
    Change bootout(const Agent& agent) override;
    Change kickstart(const Agent& agent, bool killFirst) override;
};

} // namespace LinuxTools
