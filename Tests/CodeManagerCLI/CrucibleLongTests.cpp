// Weights of full size, moved and disturbed.

#include "Tests/CodeManagerCLI/CrucibleSafety.h"

namespace
{

// The same shape at full size, killed from outside at a hundred moments of the copy, ten in each test.
class FullSizeMoveSafetyTest : public MoveSafetyTest, public ::testing::WithParamInterface<int>
{
protected:
    void makeNode() override { SampleTree::make(node(), std::int64_t {600} << 20); }
};

TEST_P(FullSizeMoveSafetyTest, KilledAtAnyMomentNothingIsLost)
{
    std::vector<std::string> words = command();
    words.insert(words.begin(), program());
    prepare();
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(run(command()).ok());
    const auto whole = std::chrono::steady_clock::now() - start;
    prepare();
    for (int moment = GetParam() * 10; moment < GetParam() * 10 + 10; moment++) {
        if (fs::is_symlink(node()) || !fs::exists(node())) {
            prepare();
        }
        fs::remove_all(copy());
        Running run(words, {.environment = environment(), .folder = home()});
        std::this_thread::sleep_for(whole * moment / 100);
        ::kill(run.pid(), SIGKILL);
        const std::string ending = run.ending(60s);
        SCOPED_TRACE(std::to_string(moment) + ": " + ending + " " + run.output());
        expectNothingLost();
        ASSERT_FALSE(HasFailure());
    }
    runAgain();
}

INSTANTIATE_TEST_SUITE_P(Decades, FullSizeMoveSafetyTest, ::testing::Range(0, 10));

} // namespace
