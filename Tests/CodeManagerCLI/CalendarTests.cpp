// The shipped program on a machine whose clock is wrong.

#include "Tests/CodeManagerCLI/CrucibleSafety.h"

namespace
{

struct Moment {
    const char* name;
    std::int64_t seconds; // since 1970 began
    const char* year; // as the Trash notes it
};

class WrongClock : public MoveSafetyTest, public ::testing::WithParamInterface<Moment>
{
protected:
    Proc::Out runThen(const std::vector<std::string>& arguments) const
    {
        auto variables = environment("none:1:kill");
        variables["TEST_FAULTS_CLOCK"] = std::to_string(GetParam().seconds);
        variables["TZ"] = "UTC";
        return Proc::run(program(), arguments, home(), variables);
    }
};

TEST_P(WrongClock, EverythingIsDoneAsAlways)
{
    prepare();
    const Proc::Out moved = runThen(command());
    EXPECT_TRUE(moved.ok()) << moved.stderr;
    expectTruth(moved);
    expectNothingLost();
    for (const std::vector<std::string>& words : std::vector<std::vector<std::string>> {
             {"scan"}, {"status"}, {"size", "to"}, {"crucible", "backup"}, {"crucible", "check"}}) {
        const Proc::Out then = runThen(words);
        const Proc::Out now = run(words);
        EXPECT_EQ(then, now) << words.back() << ": " << then.stdout << then.stderr;
    }
    EXPECT_TRUE(runThen({"trash", "to"}).ok());
    EXPECT_THAT(read(trash().parent_path() / "info/to.trashinfo"),
                HasSubstr("DeletionDate=" + std::string(GetParam().year) + "-"));
}

INSTANTIATE_TEST_SUITE_P(Calendar,
                         WrongClock,
                         ::testing::Values(Moment {"before1970", -1'000'000, "1969"},
                                           Moment {"theFirstSeconds", 0, "1970"},
                                           Moment {"after32Bits", 2'147'483'640, "2038"},
                                           Moment {"farAhead", 4'294'967'290, "2106"}),
                         [](const auto& info) { return info.param.name; });

} // namespace
