#pragma once

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "ManagerCore/Doctor/Doctor.h"
#include "Tests/Support/Sandbox.h"

// A product in the home that has everything, to be broken in one place at a time.
class DoctorTest : public TestSupport::SandboxTest
{
protected:
    DoctorTest();

    // The records as they are loaded from the descriptor that stands in the home.
    [[nodiscard]] ManagerCore::Doctor::Subject subject() const;
    [[nodiscard]] std::vector<ManagerCore::Doctor::Finding> examine() const;

    // What one check says, each finding as "state: message" with "~" for the home and "work" for the projects.
    [[nodiscard]] std::vector<std::string> said(const std::string& check) const;
    [[nodiscard]] std::string plain(std::string message) const;

    [[nodiscard]] std::filesystem::path descriptor() const { return home() / "zyn.toml"; }
    [[nodiscard]] std::filesystem::path agent() const;
    [[nodiscard]] std::filesystem::path work() const { return scratch() / "work"; }
    [[nodiscard]] std::filesystem::path project() const { return work() / "zyn-v8"; }
    [[nodiscard]] std::filesystem::path databases() const { return scratch() / "databases"; }

    // Puts other text in place of a part of the descriptor.
    void redescribe(const std::string& part, const std::string& by) const;
    void writeAgent(const std::string& label, const std::string& entries) const;

    std::string projectDir_ = project().string();
    TestSupport::EnvironmentVariable path_ {"PATH", (home() / "bin").string() + ":/usr/bin:/bin"};
    TestSupport::EnvironmentVariable local_ {"ZYN_CRUCIBLE_LOCAL", (home() / "store").string()};
    TestSupport::EnvironmentVariable root_ {"ZYN_CRUCIBLE_ROOT", (home() / "crucible").string()};
    TestSupport::EnvironmentVariable databases_ {"CM_DATABASES_DIR", databases().string()};
};
