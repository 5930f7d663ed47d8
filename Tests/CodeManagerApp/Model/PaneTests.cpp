#include "CodeManagerApp/Model/Pane.h"

#include <gtest/gtest.h>

#include <QStringList>

#include "CodeManagerApp/Model/GuideTopics.h"

using namespace CodeManagerApp;

namespace
{

TEST(Panes, haveTheirTitlesAndSymbolsInOrder)
{
    QStringList seen;
    for (const Pane pane : allPanes) {
        seen.append(title(pane) + QLatin1Char(' ') + symbol(pane));
    }
    EXPECT_EQ(seen,
              (QStringList {QStringLiteral("Overview gauge.with.dots.needle.33percent"),
                            QStringLiteral("Components shippingbox"),
                            QStringLiteral("Install arrow.down.circle"),
                            QStringLiteral("Model brain"),
                            QStringLiteral("Crucible flame"),
                            QStringLiteral("Services bolt.horizontal.circle"),
                            QStringLiteral("Databases cylinder.split.1x2"),
                            QStringLiteral("Guide book")}));
}

TEST(Panes, areFoundByTheirTitleInAnyCase)
{
    EXPECT_EQ(paneNamed(QStringLiteral("services")), Pane::services);
    EXPECT_EQ(paneNamed(QStringLiteral("SERVICES")), Pane::services);
    EXPECT_EQ(paneNamed(QStringLiteral("Guide")), Pane::guide);
    EXPECT_EQ(paneNamed(QStringLiteral("database")), std::nullopt);
    EXPECT_EQ(paneNamed(QStringLiteral(" services")), std::nullopt);
    EXPECT_EQ(paneNamed(QString()), std::nullopt);
}

QString textOf(const QString& topic, const QString& display)
{
    for (const GuideTopic& each : guideTopics(display)) {
        if (each.title == topic) {
            return each.text;
        }
    }
    return {};
}

TEST(Guide, tellsOfEveryPaneAndOfSpotlight)
{
    const auto topics = guideTopics(QStringLiteral("Zyn"));
    ASSERT_EQ(topics.size(), 8);
    QStringList seen;
    for (const GuideTopic& topic : topics) {
        seen.append(topic.title + QLatin1Char(' ') + topic.symbol);
        EXPECT_TRUE(topic.tint.isValid());
    }
    EXPECT_EQ(seen,
              (QStringList {QStringLiteral("Overview gauge.with.dots.needle.33percent"),
                            QStringLiteral("Components shippingbox"),
                            QStringLiteral("Install arrow.down.circle"),
                            QStringLiteral("Model brain"),
                            QStringLiteral("Crucible flame"),
                            QStringLiteral("Services bolt.horizontal.circle"),
                            QStringLiteral("Databases cylinder.split.1x2"),
                            QStringLiteral("Missing from Spotlight? magnifyingglass")}));
}

TEST(Guide, hasItsTextsToTheLetter)
{
    const QString name = QStringLiteral("Zyn");
    EXPECT_EQ(textOf(QStringLiteral("Overview"), name).toStdString(),
              "A grounded health snapshot: installed version, backend state, served model, and provider — all probed "
              "from disk, never guessed.");
    EXPECT_EQ(textOf(QStringLiteral("Components"), name).toStdString(),
              "Everything Zyn put on disk. Tick items and Remove to move ONLY those to the Trash (recoverable). It "
              "never mass-uninstalls.");
    EXPECT_EQ(textOf(QStringLiteral("Components"), QStringLiteral("Code")).left(30).toStdString(),
              "Everything Code put on disk. T");
    EXPECT_EQ(textOf(QStringLiteral("Install"), name).toStdString(),
              "Build + install / update the CLI from your source project. Locate the project folder once; it's "
              "remembered per-user.");
    EXPECT_EQ(textOf(QStringLiteral("Model"), name).toStdString(),
              "The local MLX model this app uses: presence, size, and a reversible Trash-remove that stops the backend "
              "first.");
    EXPECT_EQ(textOf(QStringLiteral("Crucible"), name).toStdString(),
              "Every crucible copy and which drive holds it, plus the two symlinks that decide behaviour. Set the "
              "crucible folder on any drive, pick which copy is served, or repair a dangling link. Only links change — "
              "weights are never moved by this pane.");
    EXPECT_EQ(textOf(QStringLiteral("Services"), name).toStdString(),
              "Start / stop / restart the mlx-vantor backend LaunchAgent and open its log. Buttons follow the live "
              "running state.");
    EXPECT_EQ(textOf(QStringLiteral("Databases"), name).toStdString(),
              "Install zyn databases (db-orchid, db-quill). Each is a hot-loadable *.toml descriptor (source → dest); "
              "Install copies, Remove trashes.");
    EXPECT_EQ(textOf(QStringLiteral("Missing from Spotlight?"), name).toStdString(),
              "App data is 12 disk locations plus one that is NOT a file: the LaunchServices database. If many paths "
              "(staging dirs, out/ folders, old copies) are registered under one bundle id, an app that launches fine "
              "with `open -a` still shows No Results in Spotlight's Applications view. Fix: lsregister -u each stale "
              "path, -f the real one, then killall Dock. install-to-applications.command does this sweep on every "
              "install.");
}

TEST(Guide, isNewEachTimeItIsBuilt)
{
    const auto once = guideTopics(QStringLiteral("Zyn"));
    const auto again = guideTopics(QStringLiteral("Zyn"));
    EXPECT_NE(once.first().id, again.first().id);
    EXPECT_NE(once.at(0).id, once.at(1).id);
    EXPECT_EQ(once.first().text, again.first().text);
}

} // namespace
