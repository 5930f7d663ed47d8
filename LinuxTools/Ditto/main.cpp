#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "LinuxTools/Ditto/Command.h"

int main(int count, char** arguments)
{
    try {
        const auto result = LinuxTools::Ditto::run(std::vector<std::string>(arguments + 1, arguments + count));
        std::fwrite(result.output.data(), 1, result.output.size(), stdout);
        std::fwrite(result.error.data(), 1, result.error.size(), stderr);
        return std::fflush(stdout) == 0 ? result.code : 1;
    } catch (const std::exception& failure) {
        std::fputs(("ditto: The copy could not be made (" + std::string(failure.what()) + ").\n").c_str(), stderr);
        return 1;
    }
}
