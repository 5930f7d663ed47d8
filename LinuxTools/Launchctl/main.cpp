#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "LinuxTools/Launchctl/Commands.h"

int main(int count, char** arguments)
{
    try {
        const auto output = LinuxTools::Commands::run(std::vector<std::string>(arguments + 1, arguments + count));
        std::fputs(output.stdoutText.c_str(), stdout);
        std::fputs(output.stderrText.c_str(), stderr);
        return std::fflush(stdout) == 0 ? output.status : 1;
    } catch (const std::exception& error) {
        std::fputs("launchctl: internal error: ", stderr);
        std::fputs(error.what(), stderr);
        return 1;
    }
}
