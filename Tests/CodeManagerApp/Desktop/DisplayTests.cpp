#include <array>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "CodeManagerApp/Desktop/Native.h"
#include "Tests/Support/Sandbox.h"

using TestSupport::EnvironmentVariable;
namespace Desktop = CodeManagerApp::Desktop;

namespace
{

class DisplayTest : public TestSupport::SandboxTest
{
protected:
    EnvironmentVariable platform_ {"QT_QPA_PLATFORM", std::nullopt};
    EnvironmentVariable x_ {"DISPLAY", std::nullopt};
    EnvironmentVariable wayland_ {"WAYLAND_DISPLAY", std::nullopt};
};

TEST_F(DisplayTest, withoutAnyNothingCanBeShown)
{
    EXPECT_EQ(Desktop::displayTrouble(),
              "There is no display to show the window on: neither DISPLAY nor WAYLAND_DISPLAY is set.");
}

TEST_F(DisplayTest, oneOfThisMachineMustAnswer)
{
    const EnvironmentVariable x("DISPLAY", ":54321.0");
    EXPECT_EQ(Desktop::displayTrouble(), "The window cannot be shown: the display :54321.0 does not answer.");
    const EnvironmentVariable wayland("WAYLAND_DISPLAY", (scratch() / "none").string());
    EXPECT_TRUE(Desktop::displayTrouble());
    const EnvironmentVariable nonsense("WAYLAND_DISPLAY", std::string(5000, 'w'));
    EXPECT_TRUE(Desktop::displayTrouble());
}

TEST_F(DisplayTest, oneThatAnswersIsEnough)
{
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    const std::string place = (scratch() / "wayland-7").string();
    ASSERT_LT(place.size(), sizeof address.sun_path);
    std::memcpy(address.sun_path, place.data(), place.size());
    ASSERT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0); // NOLINT
    ASSERT_EQ(::listen(socket, 1), 0);
    {
        const EnvironmentVariable runtime("XDG_RUNTIME_DIR", scratch().string());
        const EnvironmentVariable wayland("WAYLAND_DISPLAY", "wayland-7");
        EXPECT_EQ(Desktop::displayTrouble(), std::nullopt);
    }
    const EnvironmentVariable wayland("WAYLAND_DISPLAY", place);
    EXPECT_EQ(Desktop::displayTrouble(), std::nullopt);
    ::close(socket);
}

TEST_F(DisplayTest, anotherMachinesOrAChosenPlatformIsTriedOut)
{
    {
        const EnvironmentVariable x("DISPLAY", "far.example:0");
        EXPECT_EQ(Desktop::displayTrouble(), std::nullopt);
    }
    const EnvironmentVariable platform("QT_QPA_PLATFORM", "offscreen");
    EXPECT_EQ(Desktop::displayTrouble(), std::nullopt);
}

TEST_F(DisplayTest, aFileThatIsNotThereIsNotOpened)
{
    EXPECT_EQ(Desktop::open(home() / "server.log"), "The file “server.log” doesn’t exist.");
}

TEST_F(DisplayTest, anItemThatIsNotThereIsNotRevealed)
{
    EXPECT_EQ(Desktop::reveal(home() / "model"), "The file “model” doesn’t exist.");
}

TEST_F(DisplayTest, aDrawingFillsItsSquareAndKeepsItsShape)
{
    const auto wide = Desktop::Native::fitted(20, 10, 40);
    EXPECT_EQ((std::array {wide.x, wide.y, wide.width, wide.height}), (std::array {0.0, 10.0, 40.0, 20.0}));
    const auto tall = Desktop::Native::fitted(10, 40, 20);
    EXPECT_EQ((std::array {tall.x, tall.y, tall.width, tall.height}), (std::array {7.5, 0.0, 5.0, 20.0}));
}

TEST_F(DisplayTest, aColourHasThreeComponents)
{
    EXPECT_EQ(Desktop::Native::components(0xFF3300), (std::array {1.0, 0.2, 0.0}));
}

TEST_F(DisplayTest, aSymbolOfNoSizeIsNotDrawn)
{
    EXPECT_FALSE(Desktop::systemSymbol("folder", 0, 0));
    EXPECT_FALSE(Desktop::systemSymbol("folder", -1, 0));
}

} // namespace
