#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "ManagerCore/Foundation/Proc.h"
#include "Tests/Support/Sandbox.h"

namespace TestSupport
{

std::filesystem::path demoFolder();
std::filesystem::path demoPrograms();

ManagerCore::Proc::Out demoMake(const std::vector<std::string>& arguments);

// Runs a script of bash with the arguments $0, $1 and so on.
ManagerCore::Proc::Out bash(const std::string& script, const std::vector<std::string>& arguments);

// Every entry below a folder by its relative path: its type, and its destination or a digest of its bytes.
using Tree = std::map<std::string, std::string>;
Tree treeOf(const std::filesystem::path& folder);

// A port of 127.0.0.1 that is not in use.
int freePort();

// Tests of a sample home. Its name contains characters that scripts must quote.
class SampleTest : public SandboxTest
{
protected:
    SampleTest();

    void makeSample(const std::vector<std::string>& options = {});
    // The same home for all tests of the process that call this. They must leave it unchanged.
    void shareSample();

    [[nodiscard]] const std::filesystem::path& sample() const { return sample_; }
    [[nodiscard]] std::filesystem::path projects() const { return sample_ / "Projects"; }
    [[nodiscard]] int port() const { return port_; }

    // Runs a program in the environment of sample-env.sh.
    [[nodiscard]] ManagerCore::Proc::Out runInside(const std::filesystem::path& program,
                                                   const std::vector<std::string>& arguments) const;
    // Runs a project's script as the manager does: with bash, in the script's folder.
    [[nodiscard]] static ManagerCore::Proc::Out runScript(const std::filesystem::path& script,
                                                          const std::vector<std::string>& arguments = {});
    // The standard output of an installed program's --version.
    [[nodiscard]] std::string version(const std::string& program) const;

private:
    std::filesystem::path sample_;
    int port_ = 0;
};

} // namespace TestSupport
