#include "CodeManagerApp/Application.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string_view>

#include <QGuiApplication>
#include <QQuickWindow>
#include <QtGlobal>

#include "CodeManagerApp/Desktop/Desktop.h"
#include "CodeManagerApp/Model/ManagerModel.h"
#include "CodeManagerApp/Window/EndingSignals.h"
#include "CodeManagerApp/Window/ManagerWindow.h"
#include "ManagerCore/Foundation/Proc.h"
#include "ManagerCore/Foundation/ProductDescriptor.h"
#include "ManagerCore/Platform/Platform.h"

namespace CodeManagerApp
{

namespace
{

using namespace ManagerCore;
using namespace std::chrono_literals;

constexpr int patience = 500; // milliseconds that children have to end when the window was closed
constexpr std::chrono::milliseconds lastWait = 300ms;
constexpr std::chrono::milliseconds lastWaitForAChange = 5s;

void printUsage()
{
    std::puts("Shows the window of the manager.\n"
              "\n"
              "  --help       this text\n"
              "  --version    the program's version\n"
              "\n"
              "Environment: CM_IDENTITY_TOML names the descriptor of the product, CM_PANE the pane to begin with,\n"
              "CM_PROJECT_DIR the product's project folder.");
}

// The exit status when the arguments ask for something other than the window, or for nothing there is.
std::optional<int> answered(std::span<char*> arguments)
{
    if (arguments.empty()) {
        return std::nullopt;
    }
    const std::string_view first = arguments.front();
    if (first == "--help" || first == "-h") {
        printUsage();
        return EXIT_SUCCESS;
    }
    if (first == "--version") {
        std::puts("Code Manager " CODE_MANAGER_VERSION);
        return EXIT_SUCCESS;
    }
    // The toolkit takes arguments of its own, each with one dash.
    if (first.starts_with("--")) {
        std::fprintf(stderr, "There is no option %s. See --help.\n", arguments.front());
        return 2;
    }
    return std::nullopt;
}

void chooseRenderer()
{
    const bool chosen = qEnvironmentVariableIsSet("QT_QUICK_BACKEND") || qEnvironmentVariableIsSet("QSG_RHI_BACKEND");
    if (!chosen && !Desktop::hasGraphicsProcessor()) {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    }
}

// The records are empty where the descriptor cannot be read; nothing is reported.
ManagerModel* modelOfTheProduct(QObject* parent)
{
    const auto identity = Identity::load(ProductDescriptor::location().value_or(std::filesystem::path()));
    const auto location = ProductDescriptor::location();
    return new ManagerModel(
        identity.value_or(Identity::empty), location ? ManagerActions::load(*location) : ManagerActions::empty, parent);
}

// Runs until the window is closed, then ends what still runs. Work that only reads is left where it is. What changes
// links or moves items to the Trash may come to the end of its step; one that takes longer is left between two steps,
// each of which leaves nothing half done.
int showWindow(QGuiApplication& application)
{
    ManagerModel* const model = modelOfTheProduct(&application);
    {
        const ManagerWindow window(*model);
        if (window.window() == nullptr) {
            std::fprintf(stderr, "The window could not be made.\n%s", qUtf8Printable(window.trouble()));
            return EXIT_FAILURE;
        }
        const EndingSignals signals;
        QGuiApplication::exec();
    }
    Proc::stopAll(patience);
    if (!model->settles(model->operationRuns() ? lastWaitForAChange : lastWait)) {
        std::_Exit(EXIT_SUCCESS);
    }
    return EXIT_SUCCESS;
}

} // namespace

int run(int argc, char** argv)
{
    if (const auto status = answered(std::span(argv, static_cast<std::size_t>(argc)).subspan(argc > 0 ? 1 : 0))) {
        return *status;
    }
    if (const auto trouble = Desktop::displayTrouble()) {
        std::fprintf(stderr, "%s\n", trouble->c_str());
        return exitNoDisplay;
    }
    Platform::prepareProcess();
    Proc::giveUpTerminalInput();
    chooseRenderer();
    QGuiApplication application(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("code-manager"));
    QGuiApplication::setApplicationVersion(QStringLiteral(CODE_MANAGER_VERSION));
    QGuiApplication::setDesktopFileName(QStringLiteral("code-manager"));
    return showWindow(application);
}

} // namespace CodeManagerApp
