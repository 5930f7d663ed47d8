#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "Tests/Support/Sandbox.h"

// A test that runs the shipped program as it is installed: bin/zyn-code-manager with share/code-manager beside it and a
// launchctl of ours in bin that keeps its list of loaded agents in the home. The home is that of a small product.
class InstallationTest : public TestSupport::SandboxTest
{
protected:
    InstallationTest();

    [[nodiscard]] std::filesystem::path program() const { return programs() / "zyn-code-manager"; }
    [[nodiscard]] std::filesystem::path programs() const { return scratch() / "installed/bin"; }

    // The environment of all runs: nothing of the developer's own.
    [[nodiscard]] std::map<std::string, std::string> environment() const;

    // What the product's executable does when it is run.
    void setProductScript(const std::string& script) const;

private:
    void installProgram() const;
    void makeProduct() const;
};
