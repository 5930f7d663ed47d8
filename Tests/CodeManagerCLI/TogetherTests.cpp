// Two of the shipped program at once on the same home.

#include <algorithm>
#include <memory>
#include <set>
#include <string>

#include <gmock/gmock.h>

#include "Tests/CodeManagerCLI/Running.h"
#include "Tests/CodeManagerCLI/Surroundings.h"
#include "Tests/ManagerCore/Crucible/SampleTree.h"

using testing::AnyOf;
using testing::HasSubstr;
using TestSupport::read;
using TestSupport::write;

namespace
{

namespace fs = std::filesystem;

class TogetherTest : public SurroundingsTest
{
protected:
    static constexpr int rounds = 6;

    struct Ended {
        std::string how;
        std::string output;
    };

    // Starts all of them before it waits for any.
    [[nodiscard]] std::vector<Ended> atOnce(const std::vector<Words>& commands) const
    {
        std::vector<std::unique_ptr<Running>> runs;
        for (Words words : commands) {
            words.insert(words.begin(), program());
            runs.push_back(std::make_unique<Running>(
                words, Running::Setting {.environment = usual().environment, .folder = home()}));
        }
        std::vector<Ended> ended;
        for (const auto& run : runs) {
            ended.push_back({.how = run->ending(), .output = run->output()});
            EXPECT_THAT(ended.back().how, AnyOf("exit 0", "exit 1")) << ended.back().output;
            EXPECT_FALSE(ended.back().how != "exit 0" && ended.back().output.empty()) << "silence";
        }
        return ended;
    }

    static long done(const std::vector<Ended>& ended)
    {
        return std::ranges::count(ended, std::string("exit 0"), &Ended::how);
    }

    [[nodiscard]] Words move() const
    {
        return {"crucible", "move", node(), "--from", home() / "from", "--to", home() / "to"};
    }

    // Whether the weights are whole in one of the places, or somewhere in the Trash.
    [[nodiscard]] bool isWhole(const SampleTree::Contents& weights, const std::vector<fs::path>& places) const
    {
        std::vector<fs::path> all = places;
        std::error_code error;
        for (fs::directory_iterator entry(trash(), error), end; !error && entry != end; entry.increment(error)) {
            all.push_back(entry->path());
        }
        return std::ranges::any_of(all, [&weights](const fs::path& place) {
            return !fs::is_symlink(place) && fs::exists(place) && SampleTree::contents(place) == weights;
        });
    }

    [[nodiscard]] fs::path notes() const { return trash().parent_path() / "info"; }

    // What lies in the Trash: as many notes as items, each with its name.
    [[nodiscard]] std::vector<std::string> itemsWithNotes() const
    {
        std::vector<std::string> items;
        for (const auto& entry : fs::directory_iterator(trash())) {
            items.push_back(entry.path().filename().string());
            EXPECT_TRUE(fs::exists(notes() / (items.back() + ".trashinfo"))) << items.back();
        }
        EXPECT_EQ(std::distance(fs::directory_iterator(notes()), fs::directory_iterator()), std::ssize(items));
        return items;
    }

    void startAnew() const
    {
        fs::remove_all(node()); // or the link in its place
        fs::remove_all(copy());
        fs::remove_all(trash().parent_path());
        makeNode();
    }
};

TEST_F(TogetherTest, OfTwoMovesOfTheSameWeightsOneIsDone)
{
    for (int round = 0; round < rounds; round++) {
        startAnew();
        const auto weights = SampleTree::contents(node());
        const auto ended = atOnce({move(), move()});
        SCOPED_TRACE(ended[0].output + "\n" + ended[1].output);
        EXPECT_EQ(done(ended), 1);
        EXPECT_EQ(fs::read_symlink(node()), copy());
        EXPECT_TRUE(isWhole(weights, {copy()}));
        fs::remove_all(copy());
        EXPECT_TRUE(isWhole(weights, {})) << "the original is in the Trash";
        ASSERT_FALSE(HasFailure());
    }
}

TEST_F(TogetherTest, WhatIsMovedAndThrownAwayAtOnceIsNotLost)
{
    for (int round = 0; round < rounds; round++) {
        startAnew();
        const auto weights = SampleTree::contents(node());
        const auto ended = atOnce({move(), {"trash", node()}});
        SCOPED_TRACE(ended[0].output + "\n" + ended[1].output);
        EXPECT_TRUE(isWhole(weights, {node(), copy()}));
        EXPECT_GE(done(ended), 1);
        ASSERT_FALSE(HasFailure());
    }
}

TEST_F(TogetherTest, AMoveAndRepairsAtOnceLeaveEveryLinkLeadingSomewhere)
{
    for (int round = 0; round < rounds; round++) {
        startAnew();
        const fs::path lost = home() / "from/models/lost";
        fs::remove(lost);
        TestSupport::makeLink(lost, "/gone/lost");
        const auto weights = SampleTree::contents(node());
        const auto ended = atOnce({move(), {"crucible", "repair"}, {"crucible", "repair"}});
        SCOPED_TRACE(ended[0].output + "\n" + ended[1].output + "\n" + ended[2].output);
        EXPECT_EQ(ended[0].how, "exit 0");
        EXPECT_EQ(read(lost / "weights"), "found again");
        EXPECT_TRUE(isWhole(weights, {copy()}));
        ASSERT_FALSE(HasFailure());
    }
}

TEST_F(TogetherTest, WhatIsThrownAwayTwiceIsThrownAwayOnce)
{
    constexpr int count = 30;
    Words command {"trash"};
    for (int index = 0; index < count; index++) {
        write(home() / "items" / std::to_string(index), "item " + std::to_string(index));
        command.push_back(home() / "items" / std::to_string(index));
    }
    const auto ended = atOnce({command, command});
    const std::string all = ended[0].output + ended[1].output;
    for (int index = 0; index < count; index++) {
        const std::string place = (home() / "items" / std::to_string(index)).string();
        EXPECT_THAT(all, HasSubstr("Moved to Trash:\n" + place + "\n"));
    }
    std::set<std::string> arrived;
    for (const std::string& item : itemsWithNotes()) {
        arrived.insert(read(trash() / item));
    }
    EXPECT_EQ(arrived.size(), std::size_t {count});
}

TEST_F(TogetherTest, NamesakesFromTwoFoldersAllArrive)
{
    constexpr int count = 30;
    std::vector<Words> commands {{"trash"}, {"trash"}};
    for (std::size_t folder = 0; folder < commands.size(); folder++) {
        for (int index = 0; index < count; index++) {
            const fs::path item = home() / ("folder" + std::to_string(folder)) / std::to_string(index);
            write(item, item.string());
            commands[folder].push_back(item);
        }
    }
    EXPECT_EQ(done(atOnce(commands)), 2);
    std::set<std::string> arrived;
    for (const std::string& item : itemsWithNotes()) {
        arrived.insert(read(trash() / item));
        EXPECT_THAT(read(notes() / (item + ".trashinfo")), HasSubstr("Path=" + read(trash() / item) + "\n"));
    }
    EXPECT_EQ(arrived.size(), 2U * count);
}

TEST_F(TogetherTest, OfTwoBackupsIntoOneFileOneIsWritten)
{
    const std::string document = run({"crucible", "backup"}, usual()).stdout;
    for (int round = 0; round < rounds; round++) {
        fs::remove(home() / "backup");
        const auto ended
            = atOnce({{"crucible", "backup", "--output", "backup"}, {"crucible", "backup", "--output", "backup"}});
        EXPECT_EQ(done(ended), 1) << ended[0].output << ended[1].output;
        EXPECT_EQ(read(home() / "backup"), document);
    }
}

} // namespace
