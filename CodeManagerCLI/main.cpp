#include <cerrno>
#include <exception>
#include <string>
#include <unistd.h>
#include <vector>

#include "CodeManagerCLI/CommandLine.h"
#include "CodeManagerCLI/Context.h"
#include "CodeManagerCLI/Output.h"
#include "CodeManagerCLI/Signals.h"
#include "CodeManagerCLI/StandardStreams.h"
#include "ManagerCore/Platform/ErrorText.h"
#include "ManagerCore/Platform/Platform.h"

using namespace CodeManagerCLI;

namespace
{

int runProgram(const std::vector<std::string>& arguments)
{
    DescriptorStream out(STDOUT_FILENO);
    DescriptorStream err(STDERR_FILENO);
    Output output(
        out, err, StandardStreams::wantsColours(STDOUT_FILENO), StandardStreams::canRewriteLines(STDERR_FILENO));
    int status = ExitStatus::failed;
    try {
        status = runCommandLine(arguments, output);
    } catch (const std::exception& error) {
        output.errorLine(std::string("The command could not be carried out: ") + error.what() + ".");
    }
    out.flush();
    if (out.error() == 0) {
        return status;
    }
    // Whoever closed the pipe knows that nothing more was read.
    if (out.error() != EPIPE) {
        output.errorLine(
            "The output could not be written: " + ManagerCore::Platform::ErrorText::systemReason(out.error()) + ".");
    }
    return ExitStatus::failed;
}

} // namespace

int main(int argc, char* argv[])
{
    try {
        ManagerCore::Platform::prepareProcess();
        Signals::watch();
        StandardStreams::prepare();
        const int status
            = runProgram(argc > 0 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>());
        Signals::workIsDone();
        return status;
    } catch (const std::exception&) {
        return ExitStatus::failed; // no memory left to report it with
    }
}
