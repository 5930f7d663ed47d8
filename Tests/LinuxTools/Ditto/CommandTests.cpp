// What ditto is told and says.

#include "LinuxTools/Ditto/Command.h"

#include <string>
#include <vector>

#include "Tests/LinuxTools/Support/DittoTest.h"

namespace
{

using namespace TestSupport;
using ManagerCore::Proc::Out;

using Ditto = DittoTest;

Out run(const std::vector<std::string>& arguments)
{
    return ManagerCore::Proc::run(builtProgram("ditto").string(), arguments);
}

TEST_F(Ditto, Helps)
{
    const Out out = run({"--help"});
    EXPECT_EQ(out.code, 0);
    EXPECT_EQ(out.stderr, "");
    EXPECT_TRUE(out.stdout.contains("ditto SOURCE DESTINATION\n")) << out.stdout;
}

TEST_F(Ditto, WantsASourceAndADestination)
{
    const Out refused {1, "", "ditto: It takes a source and a destination. See ditto --help.\n"};
    EXPECT_EQ(run({}), refused);
    EXPECT_EQ(run({"one"}), refused);
    EXPECT_EQ(run({"one", "two", "three"}), refused);
    write(source(), "x");
    EXPECT_EQ(run({source().string(), ""}), (Out {1, "", "ditto: The destination is empty.\n"}));
    EXPECT_EQ(run({"", destination().string()}).code, 1);
}

TEST_F(Ditto, TellsWhatIsMissing)
{
    EXPECT_EQ(ditto(source(), destination()), (Out {1, "", "ditto: The file “source” doesn’t exist.\n"}));
    makeLink(source(), "nowhere");
    EXPECT_EQ(ditto(source(), destination()), (Out {1, "", "ditto: The file “source” doesn’t exist.\n"}));
    makeLink(scratch() / "circle", "circle");
    EXPECT_EQ(ditto(scratch() / "circle", destination()),
              (Out {1, "", "ditto: The file “circle” couldn’t be opened because its links lead in a circle.\n"}));
    EXPECT_EQ(ditto(scratch() / "line\nfeed", destination()).code, 1);
    EXPECT_EQ(ditto(scratch() / "\xff", destination()).code, 1);
    EXPECT_FALSE(std::filesystem::exists(destination()));
}

TEST_F(Ditto, TakesRelativePathsAndOddOnes)
{
    write(source() / "file", "x");
    const auto in = [this](const std::string& from, const std::string& to) {
        return ManagerCore::Proc::run(builtProgram("ditto").string(), {from, to}, scratch().string()).code;
    };
    EXPECT_EQ(in("source", "one"), 0);
    EXPECT_EQ(in("./source//", "./two/"), 0);
    EXPECT_EQ(in("source/../source/.", "three/./"), 0);
    EXPECT_EQ(in("source/file", "-x"), 0);
    EXPECT_EQ(read(scratch() / "one/file"), "x");
    EXPECT_EQ(read(scratch() / "two/file"), "x");
    EXPECT_EQ(read(scratch() / "three/file"), "x");
    EXPECT_EQ(read(scratch() / "-x"), "x");
}

TEST_F(Ditto, TellsAPathThatIsTooLong)
{
    write(source(), "x");
    const Out out = ditto(source(), scratch() / std::string(300, 'x'));
    EXPECT_EQ(out.code, 1);
    EXPECT_TRUE(out.stderr.ends_with(" (File name too long).\n")) << out.stderr;
    EXPECT_EQ(ditto(source(), scratch() / std::string(5000, 'x')).code, 1);
    EXPECT_EQ(ditto(scratch() / std::string(5000, 'x'), destination()).code, 1);
}

} // namespace
