#include "ManagerCore/Inventory/FoundItem.h"

#include <unordered_set>

#include <gtest/gtest.h>

#include "ManagerCore/Foundation/Size.h"

using ManagerCore::allArtifactCategories;
using ManagerCore::artifactCategory;
using ManagerCore::ArtifactCategory;
using ManagerCore::FoundItem;

namespace
{

struct Line {
    ArtifactCategory category;
    const char* title;
    const char* symbol;
};

const Line lines[] = {
    {ArtifactCategory::application, "Application", "app.dashed"},
    {ArtifactCategory::executables, "Executables", "terminal"},
    {ArtifactCategory::configuration, "Configuration & Data", "folder"},
    {ArtifactCategory::caches, "Caches", "shippingbox"},
    {ArtifactCategory::containers, "Containers", "cube.box"},
    {ArtifactCategory::httpStorage, "HTTP Storage & WebKit", "network"},
    {ArtifactCategory::preferences, "Preferences", "slider.horizontal.3"},
    {ArtifactCategory::savedState, "Saved Application State", "clock.arrow.circlepath"},
    {ArtifactCategory::logs, "Logs", "doc.text"},
    {ArtifactCategory::launchAgents, "Launch Agents", "bolt.badge.clock"},
    {ArtifactCategory::editorExtensions, "Editor Extensions", "puzzlepiece.extension"},
    {ArtifactCategory::model, "AI Model", "brain"},
};

TEST(ArtifactCategoryTest, thereAreTwelveInTheOrderInWhichTheyAreShown)
{
    ASSERT_EQ(std::size(lines), allArtifactCategories.size());
    for (std::size_t index = 0; index < std::size(lines); index++) {
        EXPECT_EQ(allArtifactCategories[index], lines[index].category) << lines[index].title;
    }
}

TEST(ArtifactCategoryTest, eachHasItsTitleAndItsIcon)
{
    for (const Line& line : lines) {
        EXPECT_EQ(title(line.category), line.title);
        EXPECT_EQ(symbol(line.category), line.symbol);
        EXPECT_EQ(artifactCategory(line.title), line.category);
    }
}

TEST(ArtifactCategoryTest, onlyATitleToTheLetterNamesOne)
{
    for (const char* text :
         {"model", "ai model", "AI  Model", "AI Model ", " AI Model", "AIModel", "", "Configuration"}) {
        EXPECT_EQ(artifactCategory(text), std::nullopt) << text;
    }
    EXPECT_EQ(artifactCategory(std::string_view("Logs\0", 5)), std::nullopt);
}

TEST(FoundItemTest, itsPathIsWhatListsKnowItBy)
{
    const FoundItem item {.url = "/a/b c", .category = ArtifactCategory::logs, .sizeBytes = 5};
    EXPECT_EQ(item.id(), "/a/b c");
    EXPECT_EQ(item.path(), item.id());
}

TEST(FoundItemTest, itsNameIsTheLastComponent)
{
    const auto nameOf = [](const char* path) { return FoundItem {.url = path}.name(); };
    EXPECT_EQ(nameOf("/a/Zyn.app"), "Zyn.app");
    EXPECT_EQ(nameOf("/a/.hidden"), ".hidden");
    EXPECT_EQ(nameOf("/a/new\nline"), "new\nline");
    EXPECT_EQ(nameOf("/a/\xFF"), "\xFF");
    EXPECT_EQ(nameOf("/"), "/");
}

TEST(FoundItemTest, itsSizeReadsAsAllSizesDo)
{
    const auto sizeOf = [](std::int64_t bytes) { return FoundItem {.url = "/a", .sizeBytes = bytes}.humanSize(); };
    EXPECT_EQ(sizeOf(0), "Zero KB");
    EXPECT_EQ(sizeOf(512), "1 KB");
    EXPECT_EQ(sizeOf(1'234'567), "1.2 MB");
    EXPECT_EQ(sizeOf(2'500'000'000'000), ManagerCore::Size::human(2'500'000'000'000));
}

TEST(FoundItemTest, twoAreEqualOnlyInAllThreeFields)
{
    const FoundItem item {.url = "/a", .category = ArtifactCategory::model, .sizeBytes = 1};
    EXPECT_EQ(item, (FoundItem {.url = "/a", .category = ArtifactCategory::model, .sizeBytes = 1}));
    EXPECT_NE(item, (FoundItem {.url = "/b", .category = ArtifactCategory::model, .sizeBytes = 1}));
    EXPECT_NE(item, (FoundItem {.url = "/a", .category = ArtifactCategory::logs, .sizeBytes = 1}));
    EXPECT_NE(item, (FoundItem {.url = "/a", .category = ArtifactCategory::model, .sizeBytes = 2}));
    EXPECT_NE(item, (FoundItem {.url = "//a", .category = ArtifactCategory::model, .sizeBytes = 1}));
}

TEST(FoundItemTest, aSetTellsThemApartAsEqualityDoes)
{
    const std::unordered_set<FoundItem> items {
        {.url = "/a", .category = ArtifactCategory::model, .sizeBytes = 1},
        {.url = "/a", .category = ArtifactCategory::model, .sizeBytes = 1},
        {.url = "/a", .category = ArtifactCategory::model, .sizeBytes = 2},
        {.url = "/a", .category = ArtifactCategory::logs, .sizeBytes = 1},
        {.url = "/b", .category = ArtifactCategory::model, .sizeBytes = 1},
    };
    EXPECT_EQ(items.size(), 4U);
    EXPECT_TRUE(items.contains({.url = "/a", .category = ArtifactCategory::logs, .sizeBytes = 1}));
}

} // namespace
