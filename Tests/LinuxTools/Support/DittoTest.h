#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "ManagerCore/Foundation/Proc.h"
#include "Tests/Support/Sandbox.h"

namespace TestSupport
{

// Tests that copy with the real ditto.
class DittoTest : public SandboxTest
{
protected:
    // Runs ditto and waits for it.
    static ManagerCore::Proc::Out ditto(const std::filesystem::path& source, const std::filesystem::path& destination);
    // The same as the user "nobody", for whom the sandbox is opened; absent where that is not possible.
    std::optional<ManagerCore::Proc::Out> dittoAsNobody(const std::filesystem::path& source,
                                                        const std::filesystem::path& destination);

    [[nodiscard]] std::filesystem::path source() const { return scratch() / "source"; }
    [[nodiscard]] std::filesystem::path destination() const { return scratch() / "destination"; }
};

struct stat statusOf(const std::filesystem::path& path);
// The names in a folder, sorted.
std::vector<std::string> namesIn(const std::filesystem::path& folder);
// Everything about a tree that a copy keeps, as text: two equal trees give the same. Access times do not count.
std::string portrait(const std::filesystem::path& folder);

// Bytes that do not repeat.
std::string noise(std::size_t size);

} // namespace TestSupport
