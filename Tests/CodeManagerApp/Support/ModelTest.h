#pragma once

#include <memory>

#include <QSignalSpy>

#include "CodeManagerApp/Model/ManagerModel.h"
#include "Tests/Support/Sandbox.h"

namespace TestSupport
{

inline constexpr int patience = 20000; // milliseconds after which something that should happen did not

// A test of what the window is made of: a sandbox, and an application object on the offscreen platform.
class ModelTest : public SandboxTest
{
protected:
    ModelTest();

    // Waits for the signal until the condition holds, which it may do already. No polling.
    template <typename Object, typename Signal, typename Condition>
    static bool until(Object& object, Signal signal, Condition condition)
    {
        QSignalSpy spy(&object, signal);
        while (!condition()) {
            if (!spy.wait(patience)) {
                return condition();
            }
        }
        return true;
    }

    // Until no refresh is under way.
    static bool refreshed(CodeManagerApp::ManagerModel& model)
    {
        return until(model, &CodeManagerApp::ManagerModel::refreshingChanged, [&model] { return !model.refreshing(); });
    }

private:
    // Services of tests run without a user manager, so that nothing outside the sandbox changes.
    EnvironmentVariable noManager_ {"XDG_RUNTIME_DIR", (scratch() / "runtime").string()};
    EnvironmentVariable noBus_ {"DBUS_SESSION_BUS_ADDRESS", std::nullopt};
};

} // namespace TestSupport
