#include "CodeManagerApp/Model/Overview.h"

#include <gtest/gtest.h>

#include "CodeManagerApp/Model/QtText.h"

using namespace CodeManagerApp;
using ManagerCore::ArtifactCategory;
using ManagerCore::FoundItem;
using ManagerCore::ManagerActions;
using ManagerCore::Status;

namespace
{

// The rows as text: label, value, and "+" for healthy, "-" for unhealthy.
std::string written(const QList<StatRowValue>& rows)
{
    std::string text;
    for (const StatRowValue& row : rows) {
        const char* const mark = !row.good.isValid() ? "" : row.good.toBool() ? "+" : "-";
        text += toUtf8(row.label) + "=" + mark + toUtf8(row.value) + "\n";
    }
    return text;
}

std::string written(const QList<SpaceShare>& shares)
{
    std::string text;
    for (const SpaceShare& share : shares) {
        text += toUtf8(share.title) + " " + toUtf8(share.humanSize) + (share.rest ? " rest" : "") + "\n";
    }
    return text;
}

const ManagerActions actions {.launchAgent = "com.zyn.mlx", .serverPort = "8080"};

TEST(Overview, isNeutralBeforeTheFirstSnapshot)
{
    EXPECT_EQ(written(Overview::rows(std::nullopt, actions)), "Status=—\nVersion=—\nBackend=—\nModel=—\nProvider=—\n");
}

TEST(Overview, tellsOfAHealthyProduct)
{
    const Status status {.installed = true,
                         .version = "0.4.2",
                         .commit = "3f9c2ab4",
                         .backendRunning = true,
                         .modelPresent = true,
                         .modelPath = "/models/x",
                         .modelBytes = 18420000000,
                         .provider = "mlx"};
    EXPECT_EQ(written(Overview::rows(status, actions)),
              "Status=+Installed\nVersion=0.4.2 (3f9c2ab4)\nBackend=+running com.zyn.mlx:8080\n"
              "Model=+present 18.42 GB\nProvider=mlx\n");
}

TEST(Overview, tellsOfAProductThatIsNotThere)
{
    EXPECT_EQ(written(Overview::rows(Status {}, actions)),
              "Status=-Not installed\nVersion=— (—)\nBackend=-stopped\nModel=-absent\nProvider=—\n");
}

TEST(Overview, aPresentModelOfNoSizeHasTheWordingForZero)
{
    EXPECT_EQ(toUtf8(Overview::rows(Status {.modelPresent = true}, actions).at(3).value), "present Zero KB");
}

TEST(SpacePicture, isEmptyWithoutItems)
{
    EXPECT_TRUE(Overview::spaceShares({}).isEmpty());
    EXPECT_TRUE(Overview::spaceShares({{.url = "/a", .category = ArtifactCategory::logs, .sizeBytes = 0}}).isEmpty());
}

TEST(SpacePicture, hasTheLargestCategoryFirstAndTheSmallOnesTogether)
{
    const std::vector<FoundItem> items {
        {.url = "/a", .category = ArtifactCategory::application, .sizeBytes = 300000},
        {.url = "/b", .category = ArtifactCategory::model, .sizeBytes = 5000000},
        {.url = "/c", .category = ArtifactCategory::model, .sizeBytes = 1000000},
        {.url = "/d", .category = ArtifactCategory::caches, .sizeBytes = 200000},
        {.url = "/e", .category = ArtifactCategory::logs, .sizeBytes = 90000},
        {.url = "/f", .category = ArtifactCategory::executables, .sizeBytes = 80000},
        {.url = "/g", .category = ArtifactCategory::containers, .sizeBytes = 20000},
        {.url = "/h", .category = ArtifactCategory::preferences, .sizeBytes = 10000},
    };
    const auto shares = Overview::spaceShares(items);
    EXPECT_EQ(written(shares),
              "AI Model 6 MB\nApplication 300 KB\nCaches 200 KB\nLogs 90 KB\nExecutables 80 KB\nOther 30 KB rest\n");
    double whole = 0;
    for (const SpaceShare& share : shares) {
        whole += share.fraction;
    }
    EXPECT_NEAR(whole, 1, 1e-9);
    EXPECT_NEAR(shares.first().fraction, 6.0 / 6.7, 1e-9);
    EXPECT_EQ(toUtf8(Overview::spaceTotal(items)), "6.7 MB");
}

TEST(SpacePicture, oneSmallCategoryKeepsItsName)
{
    std::vector<FoundItem> items;
    for (const ArtifactCategory category : {ArtifactCategory::application,
                                            ArtifactCategory::executables,
                                            ArtifactCategory::caches,
                                            ArtifactCategory::logs,
                                            ArtifactCategory::model,
                                            ArtifactCategory::preferences}) {
        items.push_back({.url = "/x", .category = category, .sizeBytes = 1000});
    }
    EXPECT_EQ(Overview::spaceShares(items).size(), 6);
    EXPECT_FALSE(Overview::spaceShares(items).last().rest);
}

} // namespace
