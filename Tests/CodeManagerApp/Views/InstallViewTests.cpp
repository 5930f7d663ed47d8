#include <QAccessible>
#include <QTest>

#include "CodeManagerApp/Model/QtText.h"
#include "Tests/CodeManagerApp/Support/ViewTest.h"

using namespace CodeManagerApp;
using ManagerCore::Status;

namespace
{

// The panes that install.
class InstallViewTest : public TestSupport::ViewTest
{
protected:
    void showPane(Pane pane, const ManagerCore::ManagerActions& actions = {})
    {
        show({.name = "zyn", .display = "Zyn"}, actions);
        model().setProjectDir((scratch() / "work/zyn-v8").string());
        model().setSection(pane);
        settle();
    }

    void entry(const std::string& slug, const std::string& body) const
    {
        TestSupport::write(scratch() / "work/install-models/catalog" / slug / "model.toml", body);
    }

    [[nodiscard]] bool shows(const std::string& name) { return find(fromUtf8(name)) != nullptr; }
    [[nodiscard]] bool enabled(const std::string& button)
    {
        QAccessibleInterface* const found = find(fromUtf8(button), QAccessible::Button);
        EXPECT_NE(found, nullptr) << button;
        return found != nullptr && !found->state().disabled;
    }

    void whenDone()
    {
        ASSERT_TRUE(until(model(), &ManagerModel::busyChanged, [this] { return !model().busy(); }));
        settle();
    }
};

TEST_F(InstallViewTest, theInstallPaneShowsItsTexts)
{
    showPane(Pane::install);
    for (const char* text : {"Install",
                             "Install / Update",
                             "Build and install Zyn, its model, and its local engine.",
                             "Also install the Zyn desktop app",
                             "Install / Update Everything",
                             "CLI only",
                             "Change"}) {
        EXPECT_TRUE(shows(text)) << text;
    }
    EXPECT_TRUE(shows((scratch() / "work/zyn-v8").string()));
    model().setProjectDir({});
    settle();
    EXPECT_TRUE(enabled("Locate project folder…"));
    EXPECT_FALSE(shows("Change"));
}

TEST_F(InstallViewTest, theDesktopChoiceIsTickedByPointerAndKeyboardAndAssistiveTool)
{
    const QString choice = QStringLiteral("Also install the Zyn desktop app");
    showPane(Pane::install);
    EXPECT_TRUE(find(choice, QAccessible::CheckBox)->state().checked);
    click(choice, QAccessible::CheckBox);
    EXPECT_FALSE(model().installDesktopChecked());
    EXPECT_FALSE(find(choice, QAccessible::CheckBox)->state().checked);
    press(choice, QAccessible::CheckBox);
    EXPECT_TRUE(model().installDesktopChecked());
    for (int step = 0; step < 12 && !find(choice, QAccessible::CheckBox)->state().focused; step++) {
        QTest::keyClick(&window(), Qt::Key_Tab);
        settle();
    }
    ASSERT_TRUE(find(choice, QAccessible::CheckBox)->state().focused);
    QTest::keyClick(&window(), Qt::Key_Space);
    EXPECT_FALSE(model().installDesktopChecked());
}

TEST_F(InstallViewTest, installingShowsWhereItStandsAndCanBeStopped)
{
    TestSupport::write(scratch() / "work/zyn-v8/build.command", "echo compiling; sleep 600 & wait");
    showPane(Pane::install);
    press(QStringLiteral("Install / Update Everything"));
    EXPECT_FALSE(enabled("Installing…"));
    EXPECT_FALSE(enabled("CLI only"));
    EXPECT_FALSE(enabled("Change"));
    Progress& progress = *model().progress();
    ASSERT_TRUE(
        until(progress, &Progress::changed, [&] { return progress.shown() && !progress.lastLine().isEmpty(); }));
    settle();
    QAccessibleInterface* const bar
        = find(QStringLiteral("Step 1 of 5 · Installing the CLI"), QAccessible::ProgressBar);
    ASSERT_NE(bar, nullptr);
    EXPECT_EQ(toUtf8(bar->text(QAccessible::Description)), "compiling");
    EXPECT_EQ(names(QAccessible::Button).count(QStringLiteral("Stop the operation")), 1)
        << "the pane has one place for it";

    // It goes with its user to every other pane.
    for (const Pane pane : allPanes) {
        model().setSection(pane);
        settle();
        EXPECT_EQ(names(QAccessible::ProgressBar).size(), 1) << toUtf8(title(pane));
        EXPECT_TRUE(enabled("Stop the operation")) << toUtf8(title(pane));
    }
    press(QStringLiteral("Stop the operation"));
    whenDone();
    EXPECT_EQ(toUtf8(model().console()), "1/5  Installing the CLI…\ncompiling\n\n✗ failed (exit 15) — stopping.\n");
    EXPECT_TRUE(names(QAccessible::ProgressBar).isEmpty());
    model().setSection(Pane::install);
    settle();
    EXPECT_TRUE(enabled("Install / Update Everything"));
}

TEST_F(InstallViewTest, theModelPaneShowsTheServedModel)
{
    showPane(Pane::model);
    EXPECT_TRUE(shows("Model: absent"));
    EXPECT_FALSE(enabled("Remove model"));
    EXPECT_FALSE(enabled("Reveal in Finder"));
    EXPECT_FALSE(enabled("Open Backend Log"));
    EXPECT_TRUE(enabled("Install model"));
    EXPECT_TRUE(shows("The project's catalog offers no models."));
    model().setStatus(Status {.modelPresent = true, .modelPath = "/models/m", .modelBytes = 4096});
    settle();
    EXPECT_TRUE(shows("Model: present"));
    EXPECT_TRUE(shows("Path: /models/m"));
    EXPECT_TRUE(shows("Size: 4 KB"));
    EXPECT_TRUE(enabled("Remove model"));
    model().setBusy(true);
    settle();
    EXPECT_FALSE(enabled("Remove model"));
    EXPECT_FALSE(enabled("Installing…"));
}

TEST_F(InstallViewTest, removingTheModelAsksFirst)
{
    const std::filesystem::path weights = home() / "weights";
    TestSupport::write(weights / "bytes", "weights");
    showPane(Pane::model);
    model().setStatus(Status {.modelPresent = true, .modelPath = weights.string()});
    settle();
    press(QStringLiteral("Remove model"));
    EXPECT_TRUE(shows("Remove the local model?"));
    EXPECT_TRUE(shows("Stops the mlx-vantor backend and moves the model to the Trash (recoverable)."));
    press(QStringLiteral("Cancel"));
    EXPECT_FALSE(model().busy());
    EXPECT_FALSE(shows("Remove the local model?"));
    press(QStringLiteral("Remove model"));
    press(QStringLiteral("Stop backend & move model to Trash"));
    whenDone();
    EXPECT_EQ(toUtf8(model().console()), "Model moved to Trash:\n" + weights.string());
    EXPECT_EQ(TestSupport::read(trash() / "weights/bytes"), "weights");
}

TEST_F(InstallViewTest, modelsAreTickedAndInstalled)
{
    entry("org/a", "release = yes\nname = \"A model\"\nrepo = \"org/A\"\nsize = \"4.2 GB\"\n");
    entry("org/b", "release = yes\nname = \"B model\"\n");
    std::filesystem::create_directories(scratch() / "work/Models/org/A");
    TestSupport::write(scratch() / "work/install-models/install-one-model.command", "echo \"got $1\"");
    showPane(Pane::model);
    ASSERT_TRUE(until(model(), &ManagerModel::catalogChanged, [this] { return model().catalog().size() == 2; }));
    settle();
    EXPECT_TRUE(shows("A model, 4.2 GB, bundled"));
    EXPECT_TRUE(shows("B model, downloads"));
    EXPECT_TRUE(enabled("Install Checked (0)"));
    press(QStringLiteral("Select B model"), QAccessible::CheckBox);
    EXPECT_EQ(model().checkedModelSlugs(), std::set<std::string> {"org/b"});
    EXPECT_TRUE(enabled("Install Checked (1)"));
    press(QStringLiteral("Select All"));
    press(QStringLiteral("Install Checked (2)"));
    whenDone();
    EXPECT_EQ(toUtf8(model().console()),
              "Installing 2 model(s)…\n1/2  Installing A model…\ngot org/a\n\n2/2  Installing B model…\ngot "
              "org/b\n2/2 installed.");
}

TEST_F(InstallViewTest, databasesAreShownInstalledAndRemoved)
{
    const TestSupport::EnvironmentVariable catalogue("CM_DATABASES_DIR", (scratch() / "databases").string());
    showPane(Pane::databases);
    ASSERT_TRUE(until(model(), &ManagerModel::databaseRowsChanged, [this] { return model().databasesLoaded(); }));
    settle();
    EXPECT_TRUE(shows("No database descriptors found."));

    TestSupport::write(scratch() / "databases/orchid.toml",
                       "id = \"db\"\nname = \"Orchid\"\ndescription = \"Flowers\"\nsource = \""
                           + (scratch() / "source").string() + "\"\ndest = \"~/db\"\n");
    TestSupport::write(scratch() / "source/rows", "rows");
    press(QStringLiteral("Refresh"));
    ASSERT_TRUE(until(model(), &ManagerModel::databaseRowsChanged, [this] { return !model().databases().empty(); }));
    settle();
    EXPECT_TRUE(shows("Orchid, not installed"));
    EXPECT_FALSE(shows("No database descriptors found."));
    press(QStringLiteral("Install"));
    ASSERT_TRUE(until(
        model(), &ManagerModel::databaseRowsChanged, [this] { return model().databaseRows().first().installed; }));
    settle();
    EXPECT_TRUE(shows("Orchid, installed"));
    press(QStringLiteral("Remove"));
    ASSERT_TRUE(until(
        model(), &ManagerModel::databaseRowsChanged, [this] { return !model().databaseRows().first().installed; }));
    EXPECT_EQ(toUtf8(model().console()), "Moved to Trash:\n" + (home() / "db").string());
}

} // namespace
