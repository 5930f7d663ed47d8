// Moving to the Trash with system calls that fail: the item is at its place, or in the Trash with its note.

#include "Tests/CodeManagerCLI/CrucibleSafety.h"

namespace
{

class TrashSafety : public SafetyTest
{
protected:
    [[nodiscard]] fs::path item() const { return home() / "item"; }
    [[nodiscard]] fs::path note(const std::string& name) const
    {
        return trash().parent_path() / "info" / (name + ".trashinfo");
    }

    void prepare() const
    {
        fs::remove_all(home() / ".local");
        write(item(), "bytes");
    }

    void expectItemAndNote(const Proc::Out& out) const
    {
        const bool trashed = fs::exists(trash() / "item");
        EXPECT_EQ(fs::exists(item()), !trashed);
        EXPECT_EQ(read(trashed ? trash() / "item" : item()), "bytes");
        EXPECT_EQ(out.ok(), trashed) << out.stdout << out.stderr;
        EXPECT_EQ(fs::exists(note("item")), trashed) << "nothing is left of the attempt";
        if (trashed) {
            EXPECT_THAT(read(note("item")), HasSubstr("Path=" + item().string() + "\n"));
        } else {
            EXPECT_THAT(out.stderr, StartsWith("Remove failed: "));
        }
    }
};

TEST_F(TrashSafety, AnyCallMayFail)
{
    prepare();
    run({"trash", item()}, "none:1:kill");
    const auto calls = callsOfLastRun();
    ASSERT_THAT(calls,
                testing::IsSupersetOf({testing::Key("mkdir"), testing::Key("mkdirat"), testing::Key("renameat2")}));
    for (const char* call : {"open", "openat", "mkdir", "mkdirat", "write", "fsync", "fstat", "renameat2"}) {
        for (long number = 1; number <= (calls.contains(call) ? calls.at(call) : 0); number++) {
            for (const int error : {EIO, ENOSPC, EDQUOT, EACCES}) {
                SCOPED_TRACE(call + std::to_string(number) + " " + std::to_string(error));
                prepare();
                expectItemAndNote(run({"trash", item()}, errnoFault(call, std::to_string(number), error)));
            }
        }
    }
}

TEST_F(TrashSafety, AUsedUpQuotaIsNamed)
{
    for (const char* call : {"mkdir", "mkdirat", "write", "renameat2"}) {
        prepare();
        const Proc::Out out = run({"trash", item()}, errnoFault(call, "1", EDQUOT));
        EXPECT_EQ(out.stderr,
                  "Remove failed: “item” couldn’t be moved to the trash because your disk quota on the volume is used "
                  "up.\n")
            << call;
        expectItemAndNote(out);
    }
}

TEST_F(TrashSafety, AFileSystemThatCanOnlyReplaceReplacesNothing)
{
    prepare();
    expectItemAndNote(run({"trash", item()}, errnoFault("renameat2", "*", EINVAL)));
    EXPECT_TRUE(fs::exists(trash() / "item"));
    prepare();
    write(trash() / "item", "an orphan");
    EXPECT_TRUE(run({"trash", item()}, errnoFault("renameat2", "*", EINVAL)).ok());
    EXPECT_EQ(read(trash() / "item"), "an orphan");
    EXPECT_EQ(read(trash() / "item.2"), "bytes");
    EXPECT_FALSE(fs::exists(note("item")));
}

TEST_F(TrashSafety, AKilledMoveLosesNothing)
{
    prepare();
    run({"trash", item()}, "none:1:kill");
    for (long number = 1; number <= callsOfLastRun()["renameat2"] + 6; number++) {
        prepare();
        run({"trash", item()}, "any:" + std::to_string(number) + ":kill");
        EXPECT_EQ(read(fs::exists(item()) ? item() : trash() / "item"), "bytes");
        EXPECT_TRUE(fs::exists(item()) || fs::file_size(note("item")) > 0);
        EXPECT_TRUE(run({"trash", item()}).ok() || !fs::exists(item())) << "the next one goes through";
    }
}

} // namespace
