#include "Tests/CodeManagerApp/Support/ModelTest.h"

#include <filesystem>

#include <QGuiApplication>

namespace TestSupport
{

namespace
{

// One for the program: the toolkit takes no second one. It stays to the end, for the toolkit does not bear to be taken
// down among the program's other statics.
void makeApplication()
{
    if (QCoreApplication::instance() != nullptr) {
        return;
    }
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    static int count = 1;
    static std::string name = "test";
    static char* arguments[] = {name.data(), nullptr};
    static const QGuiApplication* const application = new QGuiApplication(count, static_cast<char**>(arguments));
    Q_UNUSED(application)
}

} // namespace

ModelTest::ModelTest()
{
    makeApplication();
    std::filesystem::create_directories(scratch() / "runtime");
    std::filesystem::permissions(scratch() / "runtime", std::filesystem::perms::owner_all);
}

} // namespace TestSupport
