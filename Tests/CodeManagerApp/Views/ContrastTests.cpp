#include <algorithm>
#include <cmath>

#include <QMetaProperty>
#include <QQmlComponent>
#include <QQmlContext>
#include <QQmlEngine>
#include <QTest>

#include "CodeManagerApp/Model/GuideTopics.h"
#include "CodeManagerApp/Model/QtText.h"
#include "Tests/CodeManagerApp/Support/ViewTest.h"

using namespace CodeManagerApp;
using ManagerCore::ArtifactCategory;

namespace
{

// As WCAG 2 counts: 4.5:1 for text, 3:1 for what shows a control or its state.
constexpr double forText = 4.5;
constexpr double forGraphics = 3.0;

double linear(double channel)
{
    return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
}

double luminance(const QColor& color)
{
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

double contrast(const QColor& one, const QColor& other)
{
    const auto [dark, light] = std::minmax({luminance(one), luminance(other)});
    return (light + 0.05) / (dark + 0.05);
}

// The colour that is seen where one lies over an opaque other.
QColor over(const QColor& upper, double opacity, const QColor& lower)
{
    const double share = upper.alphaF() * opacity;
    const auto mixed = [share](double above, double below) { return share * above + (1 - share) * below; };
    return QColor::fromRgbF(static_cast<float>(mixed(upper.redF(), lower.redF())),
                            static_cast<float>(mixed(upper.greenF(), lower.greenF())),
                            static_cast<float>(mixed(upper.blueF(), lower.blueF())));
}

// What is drawn on what, by the names that the theme gives them.
struct Use {
    const char* ink;
    double least;
    std::vector<const char*> surfaces;
};

const std::vector<Use> uses {
    {"titleInk", forText, {"sidebar", "sidebarHover"}},
    {"ink", forText, {"canvas", "card", "header", "sectionHead", "controlHover", "controlPressed", "selectedText"}},
    {"secondary", forText, {"canvas", "card", "header", "controlPressed"}},
    {"secondary", forGraphics, {"sidebar", "sidebarHover", "controlHover", "sectionHead"}}, // symbols
    {"caption", forText, {"canvas", "card", "header", "sectionHead"}},
    {"accentInk", forText, {"accent", "accentPressed"}},
    {"goodText", forText, {"card", "canvas"}},
    {"badText", forText, {"card", "canvas", "header", "controlHover", "controlPressed"}},
    {"warning", forText, {"canvas"}},
    {"hintText", forText, {"hintBackground"}},
    {"ember", forGraphics, {"sidebar"}},
    {"accent", forGraphics, {"canvas", "card", "header", "sidebar", "sectionHead", "controlHover"}}, // rings and ticks
    {"tickBox", forGraphics, {"card", "sectionHead"}},
    {"scrollBar", forGraphics, {"canvas", "card", "sidebar"}},
    {"goodDot", forGraphics, {"card"}},
    {"badDot", forGraphics, {"card"}},
};

// What is only ever drawn on, and what tells nothing that is not said beside it: edges of controls that have a text,
// lines between rows, what is disabled, and the dot of a copy that is not served.
const std::vector<const char*> otherColors {
    "canvas",         "card",          "header",         "sidebar",      "sidebarHover", "sectionHead", "controlHover",
    "controlPressed", "accentPressed", "hintBackground", "dim",          "selectedText", "sidebarEdge", "cardBorder",
    "separator",      "controlBorder", "badBorder",      "disabledText", "restDot",      "rest",
};

class ContrastTest : public TestSupport::ViewTest
{
protected:
    // The theme's colours, as the window has them.
    QObject& theme()
    {
        if (theme_ == nullptr) {
            QQmlComponent component(qmlEngine(&window()));
            component.setData("import QtQml\nimport CodeManager\n"
                              "QtObject { readonly property QtObject color: Theme.color }",
                              QUrl());
            theme_.reset(component.create());
            EXPECT_NE(theme_, nullptr) << toUtf8(component.errorString());
        }
        return *theme_->property("color").value<QObject*>();
    }

    QColor color(const char* name)
    {
        const QVariant found = theme().property(name);
        EXPECT_TRUE(found.isValid()) << "The theme has no colour " << name;
        return found.value<QColor>();
    }

    // A product of which everything is there, and something of every kind in every pane.
    void showFull()
    {
        show({.name = "zyn", .display = "Zyn"}, {.launchAgent = "com.example.none", .serverPort = "8080"});
        model().setStatus(ManagerCore::Status {.installed = true, .version = "0.4.2", .backendRunning = true});
        model().setConsole(QStringLiteral("said"));
        settle();
    }

    void fill(Pane pane)
    {
        model().setSection(pane);
        settle();
        ASSERT_TRUE(until(model(), &ManagerModel::scanningChanged, [this] { return !model().scanning(); }));
        ASSERT_TRUE(until(model(), &ManagerModel::crucibleBusyChanged, [this] { return !model().crucibleBusy(); }));
        ASSERT_TRUE(refreshed(model()));
        model().setItems({{.url = "/m", .category = ArtifactCategory::model, .sizeBytes = 6000000},
                          {.url = "/l", .category = ArtifactCategory::logs, .sizeBytes = 2000}});
        model().selectAll();
        model().setCatalog({{.slug = "a", .name = "Atlas", .repo = {}, .size = "1 MB"}});
        model().setDatabases({{.id = "q", .name = "Quill", .detail = "text", .source = {}, .dest = "~/quill"}});
        model().setCrucible(ManagerCore::CrucibleTopology {
            .sites = {{.declared = "/a", .real = "/a", .exists = true}, {.declared = "/b", .real = "/b"}}});
        settle();
    }

    // Every text and symbol that can be read now and is drawn on too little contrast.
    QStringList faults()
    {
        drawn_.clear();
        found_.clear();
        looked_ = 0;
        drawn_.append({QRectF(QPointF(), window().size()), window().color(), 1});
        draw(*window().contentItem(), 1, true);
        return found_;
    }

    [[nodiscard]] int looked() const { return looked_; }

private:
    struct Patch {
        QRectF place;
        QColor color;
        double opacity;
    };

    // In the order in which the items are drawn: whatever covers the middle of a text by then is what it lies on.
    void draw(QQuickItem& item, double opacity, bool enabled)
    {
        if (!item.isVisible() || item.opacity() <= 0) {
            return;
        }
        opacity *= item.opacity();
        enabled = enabled && item.isEnabled();
        QList<QQuickItem*> children = item.childItems();
        std::ranges::stable_sort(children, {}, &QQuickItem::z);
        const auto above = std::ranges::find_if(children, [](const QQuickItem* child) { return child->z() >= 0; });
        std::for_each(children.begin(), above, [&](QQuickItem* child) { draw(*child, opacity, enabled); });
        drawOne(item, opacity, enabled);
        std::for_each(above, children.end(), [&](QQuickItem* child) { draw(*child, opacity, enabled); });
    }

    void drawOne(const QQuickItem& item, double opacity, bool enabled)
    {
        const QRectF place = item.mapRectToScene(item.boundingRect());
        if (item.inherits("QQuickRectangle")) {
            drawn_.append({place, item.property("color").value<QColor>(), opacity});
        } else if (enabled && (item.inherits("QQuickText") || item.inherits("QQuickTextEdit"))
                   && !item.property("text").toString().isEmpty()) {
            expect(item, item.property("text").toString(), opacity, place, forText);
        } else if (enabled && item.inherits("QQuickImage") && !isDecoration(item)) {
            expect(*item.parentItem(), item.property("source").toUrl().toString(), opacity, place, forGraphics);
        }
    }

    // The large symbol above a note, which tells nothing.
    [[nodiscard]] static bool isDecoration(const QQuickItem& image)
    {
        return image.parentItem() == nullptr || !image.parentItem()->property("color").isValid() || image.width() >= 36;
    }

    void expect(const QQuickItem& item, const QString& what, double opacity, const QRectF& place, double least)
    {
        QColor below = window().color();
        for (const Patch& patch : drawn_) {
            if (patch.place.contains(place.center())) {
                below = over(patch.color, patch.opacity, below);
            }
        }
        const QColor seen = over(item.property("color").value<QColor>(), opacity, below);
        looked_++;
        if (contrast(seen, below) < least) {
            found_.append(QStringLiteral("%1: %2 on %3 is %4:1")
                              .arg(what, seen.name(), below.name())
                              .arg(contrast(seen, below), 0, 'f', 2));
        }
    }

    std::unique_ptr<QObject> theme_;
    QList<Patch> drawn_;
    QStringList found_;
    int looked_ = 0;
};

TEST_F(ContrastTest, isCountedAsItIsDefined)
{
    EXPECT_NEAR(contrast(Qt::black, Qt::white), 21, 0.001);
    EXPECT_NEAR(contrast(Qt::white, Qt::white), 1, 0.001);
    EXPECT_NEAR(contrast(QColor(QStringLiteral("#767676")), Qt::white), 4.54, 0.005);
}

TEST_F(ContrastTest, everyColourOfTheThemeCanBeToldFromWhatItLiesOn)
{
    show();
    for (const Use& use : uses) {
        for (const char* surface : use.surfaces) {
            EXPECT_GE(contrast(color(use.ink), color(surface)), use.least) << use.ink << " on " << surface;
        }
    }
}

TEST_F(ContrastTest, noColourOfTheThemeIsForgotten)
{
    show();
    const QMetaObject& about = *theme().metaObject();
    int colors = 0;
    for (int index = 0; index < about.propertyCount(); index++) {
        const QMetaProperty property = about.property(index);
        if (property.metaType() != QMetaType::fromType<QColor>()) {
            continue;
        }
        colors++;
        const std::string name = property.name();
        EXPECT_TRUE(std::ranges::any_of(uses, [&](const Use& use) { return name == use.ink; })
                    || std::ranges::any_of(otherColors, [&](const char* other) { return name == other; }))
            << name << " is not looked at";
    }
    EXPECT_GT(colors, 20);
}

TEST_F(ContrastTest, whatEveryPaneShowsCanBeRead)
{
    showFull();
    for (const Pane pane : allPanes) {
        fill(pane);
        // Colours fade into one another for a moment.
        EXPECT_TRUE(QTest::qWaitFor([this] { return faults().isEmpty(); }, TestSupport::patience))
            << toUtf8(title(pane)) << ": " << toUtf8(faults().join(QLatin1Char('\n')));
        EXPECT_GT(looked(), 20) << toUtf8(title(pane));
    }
}

TEST_F(ContrastTest, soCanWhatIsShownWhileAnOperationRuns)
{
    TestSupport::write(scratch() / "work/zyn-v8/build.command", "echo compiling; sleep 600 & wait");
    showFull();
    model().setProjectDir((scratch() / "work/zyn-v8").string());
    model().requestInstallCli();
    Progress& progress = *model().progress();
    ASSERT_TRUE(
        until(progress, &Progress::changed, [&] { return progress.shown() && !progress.lastLine().isEmpty(); }));
    for (const Pane pane : {Pane::install, Pane::model, Pane::services}) {
        model().setSection(pane);
        settle();
        EXPECT_TRUE(QTest::qWaitFor([this] { return faults().isEmpty(); }, TestSupport::patience))
            << toUtf8(title(pane)) << ": " << toUtf8(faults().join(QLatin1Char('\n')));
    }
    progress.stop();
    ASSERT_TRUE(until(model(), &ManagerModel::busyChanged, [this] { return !model().busy(); }));
}

TEST_F(ContrastTest, soCanAQuestion)
{
    showFull();
    fill(Pane::components);
    press(QStringLiteral("Move to Trash"));
    ASSERT_NE(find(QStringLiteral("Cancel"), QAccessible::Button), nullptr);
    // What lies below the dialog is dimmed and cannot be used.
    QStringList wrong;
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            wrong = faults().filter(QStringLiteral("Cancel")) + faults().filter(QStringLiteral("Trash?"))
                + faults().filter(QStringLiteral("undone"));
            return wrong.isEmpty();
        },
        TestSupport::patience))
        << toUtf8(wrong.join(QLatin1Char('\n')));
}

} // namespace
