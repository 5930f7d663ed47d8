#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "ManagerCore/Foundation/Proc.h"
#include "Tests/Support/Sandbox.h"

namespace TestSupport
{

// The folder of the scripts under test, and of the programs that the build made for them.
std::filesystem::path demoFolder();
std::filesystem::path demoPrograms();
// The product that is built in.
std::filesystem::path embeddedDescriptor();

ManagerCore::Proc::Out demoMake(const std::vector<std::string>& arguments);

// Every entry below a folder by its relative path: what it is, and its destination or a digest of its bytes.
using Tree = std::map<std::string, std::string>;
Tree treeOf(const std::filesystem::path& folder);

// Tests of a sample home. Its name holds what scripts trip over.
class SampleTest : public SandboxTest
{
protected:
    SampleTest();

    // Makes the home with the programs of the build and a port of its own; the test fails when it cannot be made.
    void makeSample(const std::vector<std::string>& options = {});
    // The same home for all tests of the process that call this: for tests that leave it as it is.
    void shareSample();

    [[nodiscard]] const std::filesystem::path& sample() const { return sample_; }
    [[nodiscard]] std::filesystem::path projects() const { return sample_ / "Projects"; }
    [[nodiscard]] int port() const { return port_; }

    // Runs a program in the environment that the home's own file gives.
    [[nodiscard]] ManagerCore::Proc::Out runInside(const std::filesystem::path& program,
                                                   const std::vector<std::string>& arguments) const;
    // Runs a project's script the way the manager does: by bash, in its own folder.
    [[nodiscard]] static ManagerCore::Proc::Out runScript(const std::filesystem::path& script,
                                                          const std::vector<std::string>& arguments = {});

private:
    std::filesystem::path sample_;
    int port_ = 0;
};

} // namespace TestSupport
