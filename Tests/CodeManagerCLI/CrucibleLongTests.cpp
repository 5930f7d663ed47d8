// Weights of full size, moved and disturbed.

#include "Tests/CodeManagerCLI/CrucibleSafety.h"

namespace
{

// The same shape at full size, killed from outside at a hundred moments of the copy.
class FullSizeMoveSafetyTest : public MoveSafetyTest
{
protected:
    void makeNode() override { SampleTree::make(node(), std::int64_t {600} << 20); }
};

TEST_F(FullSizeMoveSafetyTest, KilledAtAHundredMomentsNothingIsLost)
{
    prepare();
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::string> words = command();
    words.insert(words.begin(), program());
    ASSERT_TRUE(run(command()).ok());
    const auto whole = std::chrono::steady_clock::now() - start;
    prepare();
    for (int moment = 0; moment < 100; moment++) {
        if (!sourceIsWhole() || fs::exists(copy())) {
            prepare();
        }
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

} // namespace
