// The shipped program where a file system does not answer what it is asked.

#include <fcntl.h>
#include <unistd.h>

#include "Tests/CodeManagerCLI/CrucibleSafety.h"

namespace
{

class ReadingFaultTest : public SafetyTest
{
protected:
    // The bytes of each path by `size --json`.
    [[nodiscard]] std::string sizes(const std::vector<std::string>& paths, const std::string& faults) const
    {
        std::vector<std::string> words {"size", "--json"};
        words.insert(words.end(), paths.begin(), paths.end());
        return run(words, faults).stdout;
    }
};

TEST_F(ReadingFaultTest, AFileCountsTheSameAloneAndInAFolderWhateverItsVolumeAnswers)
{
    write(home() / "folder/file", "x");
    const std::string answer = sizes({"folder/file", "folder"}, "none:1:kill");
    EXPECT_THAT(answer, testing::ContainsRegex(R"("bytes": ?4096(.|\n)*"bytes": ?4096)"));
    EXPECT_EQ(sizes({"folder/file", "folder"}, "statvfs:*:errno=5;fstatvfs:*:errno=5"), answer);
}

TEST_F(ReadingFaultTest, WhatStandsInAFileIsFoundThoughItsHolesAreNotKnown)
{
    const std::string marker = "marker-behind-a-hole-9c27";
    write(home() / "store.toml",
          "name = \"sample\"\nidentity_marker = \"" + marker
              + "\"\nsweep_names = [\"stray\"]\nsweep_dirs = [\"~/strays\"]\n");
    write(home() / "strays/stray", "begins");
    const int file = ::open((home() / "strays/stray").c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_EQ(::pwrite(file, marker.data(), marker.size(), off_t {1} << 20), static_cast<ssize_t>(marker.size()));
    ::close(file);
    EXPECT_THAT(run({"scan", "--json"}, "none:1:kill").stdout, HasSubstr("/strays/stray"));
    for (const int error : {ENXIO, EINVAL, EIO}) {
        const Proc::Out out = run({"scan", "--json"}, errnoFault("lseek", "*", error));
        expectFault("lseek", "*");
        EXPECT_THAT(out.stdout, HasSubstr("/strays/stray")) << error;
    }
}

} // namespace
