#include <unistd.h>

#include "CodeManagerApp/Model/ManagerModel.h"
#include "CodeManagerApp/Model/QtText.h"
#include "ManagerCore/Foundation/Proc.h"
#include "ManagerCore/Health/Service.h"
#include "Tests/CodeManagerApp/Support/ModelTest.h"

using namespace CodeManagerApp;
using ManagerCore::ManagerActions;
using ManagerCore::Status;

namespace
{

const std::string label = "com.example.code-manager-window." + std::to_string(::getpid());

class ServiceOperationTest : public TestSupport::ModelTest
{
protected:
    ~ServiceOperationTest() override { ManagerCore::Service::stop(label); }

    void installAgent() const
    {
        TestSupport::write(home() / ("Library/LaunchAgents/" + label + ".plist"),
                           R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>
<key>Label</key><string>)" + label
                               + R"(</string>
<key>ProgramArguments</key><array><string>/bin/sleep</string><string>60</string></array>
<key>RunAtLoad</key><true/></dict></plist>)");
    }

    // Takes the action and waits until it and the refresh after it are done.
    static void perform(ManagerModel& model, ServiceOp op)
    {
        model.perform(op);
        ASSERT_TRUE(model.busy());
        ASSERT_TRUE(until(model, &ManagerModel::busyChanged, [&model] { return !model.busy(); }));
        ASSERT_TRUE(model.refreshing()) << "the state is read anew at once";
        ASSERT_TRUE(refreshed(model));
    }

    // The titles of the actions that can be taken.
    static std::string possible(const ManagerModel& model)
    {
        std::string titles;
        for (const ActionState& action : model.serviceActions()) {
            titles += action.reason.isEmpty() ? toUtf8(action.title) + " " : "";
        }
        return titles;
    }

    const ManagerActions actions_ {.launchAgent = label, .serverPort = "8080"};
};

TEST_F(ServiceOperationTest, withoutALaunchAgentNothingHappens)
{
    ManagerModel model({}, {});
    model.setConsole(QStringLiteral("said"));
    const QSignalSpy busy(&model, &ManagerModel::busyChanged);
    const QSignalSpy refreshing(&model, &ManagerModel::refreshingChanged);
    for (const ServiceOp op : allServiceOps) {
        model.perform(op);
    }
    QCoreApplication::processEvents();
    EXPECT_EQ(busy.count() + refreshing.count(), 0);
    EXPECT_EQ(model.console(), QStringLiteral("said"));
    EXPECT_EQ(possible(model), "");
}

TEST_F(ServiceOperationTest, theBackendIsStartedRestartedAndStopped)
{
    installAgent();
    ManagerModel model({}, actions_);
    perform(model, ServiceOp::start);
    EXPECT_EQ(toUtf8(model.console()), "Start: ok");
    EXPECT_EQ(toUtf8(model.serviceState()), "running  :8080");
    EXPECT_EQ(possible(model), "Stop Restart ");

    perform(model, ServiceOp::restart);
    EXPECT_EQ(toUtf8(model.console()), "Restart: ok");

    perform(model, ServiceOp::stop);
    EXPECT_EQ(toUtf8(model.console()), "Stop: ok");
    EXPECT_EQ(toUtf8(model.serviceState()), "stopped");
    EXPECT_EQ(possible(model), "Start ");
}

TEST_F(ServiceOperationTest, aFailureIsToldWithItsStatusAndItsWords)
{
    ManagerModel model({}, actions_);
    model.setConsole(QStringLiteral("what was said before is replaced"));
    perform(model, ServiceOp::stop);
    EXPECT_EQ(toUtf8(model.console()), "Stop failed (3)\nBoot-out failed: 3: No such process\n");
    EXPECT_EQ(toUtf8(model.serviceState()), "stopped");

    perform(model, ServiceOp::start);
    EXPECT_EQ(toUtf8(model.console()), "Start failed (5)\nBootstrap failed: 5: Input/output error\n");
}

TEST_F(ServiceOperationTest, theButtonsSayWhyTheyCannotBePressed)
{
    ManagerModel model({}, actions_);
    EXPECT_EQ(possible(model), "");
    EXPECT_EQ(toUtf8(model.serviceActions().first().reason), "It is not known yet whether the backend is running.");
    EXPECT_EQ(toUtf8(model.serviceState()), "—");
    model.setStatus(Status {.backendRunning = true});
    EXPECT_EQ(possible(model), "Stop Restart ");
    EXPECT_EQ(toUtf8(model.serviceActions().at(0).reason), "The backend is running already.");
    model.setStatus(Status {});
    EXPECT_EQ(possible(model), "Start ");
    EXPECT_EQ(toUtf8(model.serviceActions().at(1).reason), "The backend is not running.");
    const QSignalSpy changed(&model, &ManagerModel::serviceActionsChanged);
    model.setBusy(true);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(possible(model), "");
    EXPECT_EQ(toUtf8(model.serviceActions().first().reason), "Another operation is running.");
}

TEST_F(ServiceOperationTest, whatRunsBesideAnotherOperationRunsToItsOwnEnd)
{
    ManagerModel model({}, actions_);
    model.setBusy(true); // by another operation
    model.perform(ServiceOp::stop);
    model.setBusy(false); // which ends first
    EXPECT_TRUE(model.operationRuns());
    ASSERT_TRUE(until(model, &ManagerModel::operationRunsChanged, [&model] { return !model.operationRuns(); }));
    EXPECT_EQ(toUtf8(model.console()), "Stop failed (3)\nBoot-out failed: 3: No such process\n");
    EXPECT_TRUE(refreshed(model));
}

TEST_F(ServiceOperationTest, anIndexThatIsNoneDoesNothing)
{
    ManagerModel model({}, actions_);
    model.requestService(-1);
    model.requestService(3);
    EXPECT_FALSE(model.busy());
}

TEST_F(ServiceOperationTest, aLogThatIsNotThereIsToldOf)
{
    ManagerModel model({}, {.serverLog = "~/logs/server.log"});
    EXPECT_EQ(toUtf8(model.openLogAction().reason), "");
    model.openLog();
    ASSERT_TRUE(until(model, &ManagerModel::consoleChanged, [&model] { return !model.console().isEmpty(); }));
    EXPECT_EQ(toUtf8(model.console()), "The log could not be opened: The file “server.log” doesn’t exist.");
    EXPECT_EQ(toUtf8(ManagerModel({}, {}).openLogAction().reason), "The product's descriptor names no log.");
}

TEST_F(ServiceOperationTest, whatCannotBeOpenedOrShownLeavesTheConsoleOfAnOperation)
{
    const std::string log = "The log could not be opened: The file “server.log” doesn’t exist.\n";
    const std::string item = "The item could not be shown: The file “none” doesn’t exist.\n";
    ManagerModel model({}, {.serverLog = "~/logs/server.log"});
    model.setConsole(QStringLiteral("said before"));
    model.setBusy(true);
    model.openLog();
    ASSERT_TRUE(until(model, &ManagerModel::consoleChanged, [&] { return model.console().size() > 12; }));
    EXPECT_EQ(toUtf8(model.console()), "said before\n" + log);
    model.reveal((scratch() / "none").string());
    ASSERT_TRUE(until(model, &ManagerModel::consoleChanged, [&] { return model.console().contains(u"shown"); }));
    EXPECT_EQ(toUtf8(model.console()), "said before\n" + log + item);

    model.setConsole({});
    model.openLog();
    ASSERT_TRUE(until(model, &ManagerModel::consoleChanged, [&] { return !model.console().isEmpty(); }));
    EXPECT_EQ(toUtf8(model.console()), log) << "an operation that has written nothing yet";

    model.setBusy(false);
    model.reveal((scratch() / "none").string());
    ASSERT_TRUE(until(model, &ManagerModel::consoleChanged, [&] { return model.console().contains(u"shown"); }));
    EXPECT_EQ(toUtf8(model.console()) + "\n", item) << "replaces what no operation writes any more";
}

TEST_F(ServiceOperationTest, theOutcomesAreWordedToTheLetter)
{
    using ManagerCore::Proc::Out;
    EXPECT_EQ(toUtf8(ServicePane::outcome(ServiceOp::start, Out {.stdout = "ignored"})), "Start: ok");
    EXPECT_EQ(toUtf8(ServicePane::outcome(ServiceOp::stop, Out {.code = 5, .stderr = "why\n"})),
              "Stop failed (5)\nwhy\n");
    EXPECT_EQ(toUtf8(ServicePane::outcome(ServiceOp::restart, Out {.code = -1, .stderr = "gone"})),
              "Restart failed (-1)\ngone");
}

} // namespace
