#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "LinuxTools/Launchctl/Commands.h"

int main(int count, char** arguments)
{
    try {
        const auto result = LinuxTools::Commands::run(std::vector<std::string>(arguments + 1, arguments + count));
        std::fwrite(result.output.data(), 1, result.output.size(), stdout);
        std::fwrite(result.error.data(), 1, result.error.size(), stderr);
        return std::fflush(stdout) == 0 ? result.code : 1;
    } catch (const std::exception& failure) {
        const std::string what = failure.what();
        std::fputs(("launchctl: The command could not be carried out (" + what + ").\n").c_str(), stderr);
        return 1;
    }
}
