// Weights of full size, moved and disturbed.

#include "Tests/CodeManagerCLI/CrucibleSafety.h"

namespace
{

// The same shape at full size, killed from outside at a hundred moments inside the copy: whenever another hundredth of
// the bytes has come over. Ten of them in each test.
class FullSizeMoveSafetyTest : public MoveSafetyTest, public ::testing::WithParamInterface<int>
{
protected:
    static constexpr std::int64_t size = std::int64_t {600} << 20;
    static constexpr int momentsOfEach = 10;
    static constexpr int moments = 100;

    void makeNode() override { SampleTree::make(node(), size); }

    [[nodiscard]] std::int64_t bytesCopied() const
    {
        struct stat facts {};
        const fs::path file = copy() / "weights.safetensors";
        return ::lstat(file.c_str(), &facts) == 0 ? std::int64_t {512} * facts.st_blocks : 0;
    }

    // The outermost folder gets its times last.
    [[nodiscard]] bool copyIsUnderWay() const
    {
        return !fs::is_symlink(node()) && fs::last_write_time(copy()) != fs::last_write_time(node());
    }

    // False when the move came to the end of its copy first.
    [[nodiscard]] bool killInsideCopy(std::int64_t bytes) const
    {
        std::vector<std::string> words = command();
        words.insert(words.begin(), program());
        // As between two drives: inside one, some file systems copy without moving a byte.
        const std::string faults = errnoFault("ioctl", "*", EXDEV) + ";" + errnoFault("copy_file_range", "*", EXDEV);
        Running run(words, {.environment = environment(faults), .folder = home()});
        const auto latest = std::chrono::steady_clock::now() + 60s;
        while (bytesCopied() < bytes && std::chrono::steady_clock::now() < latest) {
            std::this_thread::sleep_for(100us);
        }
        ::kill(run.pid(), SIGKILL);
        const std::string ending = run.ending(60s);
        EXPECT_TRUE(ending == "signal 9" || ending == "exit 0") << ending << " " << run.output();
        return ending == "signal 9" && copyIsUnderWay();
    }

    void disturbAt(std::int64_t bytes)
    {
        constexpr int attempts = 5;
        bool inside = killInsideCopy(bytes);
        for (int attempt = 1; !inside && attempt < attempts; attempt++) {
            expectNothingLost();
            prepare();
            inside = killInsideCopy(bytes);
        }
        ASSERT_TRUE(inside) << "the copy was always faster";
        EXPECT_GE(bytesCopied(), bytes);
        EXPECT_TRUE(sourceIsWhole());
        RecordProperty("asked_" + std::to_string(bytes), std::to_string(bytesCopied()));
    }

    // Says what is in the way and what to do, which is done here.
    void expectRefusalOfRest()
    {
        const Proc::Out again = run(command());
        EXPECT_EQ(again.code, 1);
        EXPECT_THAT(again.stderr, StartsWith("Destination already exists as a real item"));
        EXPECT_THAT(again.stderr, HasSubstr("move it to the Trash and try again"));
        fs::remove_all(copy());
    }
};

TEST_P(FullSizeMoveSafetyTest, KilledAtAnyMomentOfTheCopyNothingIsLost)
{
    prepare();
    for (int moment = GetParam() * momentsOfEach; moment < (GetParam() + 1) * momentsOfEach; moment++) {
        SCOPED_TRACE("moment " + std::to_string(moment) + " of " + std::to_string(moments));
        disturbAt(size * (2 * moment + 1) / (2 * moments));
        expectRefusalOfRest();
        ASSERT_FALSE(HasFailure());
    }
    const Proc::Out out = run(command());
    EXPECT_TRUE(out.ok()) << out.stderr;
    expectTruth(out);
}

INSTANTIATE_TEST_SUITE_P(Decades, FullSizeMoveSafetyTest, ::testing::Range(0, 10));

} // namespace
