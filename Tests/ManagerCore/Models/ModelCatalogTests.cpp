#include "ManagerCore/Models/ModelCatalog.h"

#include <sys/stat.h>

#include <gmock/gmock.h>

#include "ManagerCore/Models/ModelBundleCheck.h"
#include "Tests/Support/Permissions.h"
#include "Tests/Support/Sandbox.h"

namespace ModelBundleCheck = ManagerCore::ModelBundleCheck;
namespace ModelCatalog = ManagerCore::ModelCatalog;
namespace fs = std::filesystem;
using ManagerCore::CatalogModel;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class ModelCatalogTest : public TestSupport::SandboxTest
{
protected:
    [[nodiscard]] std::string dir() const { return (scratch() / "work/install-models").string(); }
    [[nodiscard]] fs::path catalog() const { return fs::path(dir()) / "catalog"; }
    void add(const std::string& slug, const std::string& text) const
    {
        TestSupport::write(catalog() / slug / "model.toml", text);
    }
    [[nodiscard]] std::vector<std::string> slugs() const
    {
        std::vector<std::string> all;
        for (const CatalogModel& model : ModelCatalog::scan(dir())) {
            all.push_back(model.id());
        }
        return all;
    }
    [[nodiscard]] std::string slugFor(const std::string& model) const
    {
        return ModelCatalog::slugFor(model, dir()).value_or("none");
    }
};

TEST_F(ModelCatalogTest, anEntryIsReadWhole)
{
    add("qwen/small",
        "release = \"yes\" # offered\nname = 'Small One'\nrepo = \"org/Small-4bit\"\nsize = \"4.2 GB\"\n");
    EXPECT_THAT(ModelCatalog::scan(dir()),
                ElementsAre(CatalogModel {
                    .slug = "qwen/small", .name = "Small One", .repo = "org/Small-4bit", .size = "4.2 GB"}));
}

TEST_F(ModelCatalogTest, whatIsMissingFromAnEntryHasItsFallback)
{
    add("qwen/bare", "release = yes\n");
    EXPECT_THAT(ModelCatalog::scan(dir()),
                ElementsAre(CatalogModel {.slug = "qwen/bare", .name = "qwen/bare", .repo = "", .size = ""}));
}

TEST_F(ModelCatalogTest, onlyReleasedEntriesAreListed)
{
    add("bare", "release = yes\n");
    add("single", "release = 'yes'\n");
    add("double", "release = \"yes\"\n");
    add("last-wins", "release = no\nrelease = yes\n");
    add("no", "release = no\n");
    add("capital", "release = Yes\n");
    add("capitals", "release = YES\n");
    add("half-quoted", "release = \"yes\n");
    add("twice-quoted", "release = \"'yes'\"\n");
    add("list", "release = [\"yes\"]\n");
    add("absent", "name = \"Absent\"\n");
    add("empty", "");
    add("keyless", "nothing to see\n");
    EXPECT_THAT(slugs(), ElementsAre("bare", "double", "last-wins", "single"));
}

TEST_F(ModelCatalogTest, entriesLieAtAnyDepthHiddenOnesAndPackagesIncluded)
{
    for (const char* slug : {"a", "a/b", ".hidden/c", "Tool.app/Contents/d", "a/b/c/d/e/f/g"}) {
        add(slug, "release = yes\n");
    }
    EXPECT_THAT(slugs(), ElementsAre(".hidden/c", "Tool.app/Contents/d", "a", "a/b", "a/b/c/d/e/f/g"));
}

TEST_F(ModelCatalogTest, aFileDirectlyInTheCatalogIsNoEntry)
{
    add("", "release = yes\nrepo = \"org/Twin\"\n");
    EXPECT_THAT(slugs(), IsEmpty());
    EXPECT_EQ(slugFor("Twin"), "none");
    add("z", "release = yes\nrepo = \"org/Twin\"\n");
    EXPECT_THAT(slugs(), ElementsAre("z"));
    EXPECT_EQ(slugFor("Twin"), "z");
}

TEST_F(ModelCatalogTest, onlyTheExactFileNameCounts)
{
    for (const char* name : {"Model.toml", "model.TOML", "model.toml~", "a.model.toml", "model"}) {
        TestSupport::write(catalog() / "x" / name, "release = yes\n");
    }
    EXPECT_THAT(slugs(), IsEmpty());
}

TEST_F(ModelCatalogTest, namesAreInPlainOrderAndEqualOnesBySlug)
{
    add("z", "release = yes\nname = Same\n");
    add("b", "release = yes\nname = Same\n");
    add("m", "release = yes\nname = Same\n");
    add("lower", "release = yes\nname = a\n");
    add("upper", "release = yes\nname = B\n");
    add("accent", "release = yes\nname = Ä\n");
    EXPECT_THAT(slugs(), ElementsAre("upper", "b", "m", "z", "lower", "accent"));
}

TEST_F(ModelCatalogTest, anEmptyNameIsNoMissingOne)
{
    add("x", "release = yes\nname = \n");
    EXPECT_EQ(ModelCatalog::scan(dir()).at(0).name, "");
}

TEST_F(ModelCatalogTest, badEntriesAreLeftOut)
{
    add("good", "release = yes\nrepo = \"org/Good\"\n");
    add("latin", "release = yes\nname = caf\xE9\nrepo = \"org/Latin\"\n");
    fs::create_directories(catalog() / "folder/model.toml");
    fs::create_directories(catalog() / "fifo");
    ASSERT_EQ(::mkfifo((catalog() / "fifo/model.toml").c_str(), 0600), 0);
    TestSupport::makeLink(catalog() / "dangling/model.toml", "/nowhere");
    TestSupport::makeLink(catalog() / "loop/model.toml", "model.toml");
    TestSupport::makeLink(catalog() / "device/model.toml", "/dev/zero");
    add("secret", "release = yes\nrepo = \"org/Secret\"\n");
    fs::permissions(catalog() / "secret/model.toml", fs::perms::none);
    const TestSupport::PermissionsHold hold;
    EXPECT_THAT(slugs(), ElementsAre("good"));
    EXPECT_EQ(slugFor("Good"), "good");
    EXPECT_EQ(slugFor("Latin"), "none");
    EXPECT_EQ(slugFor("Secret"), "none");
}

TEST_F(ModelCatalogTest, linksToFilesAreReadAndLinksToFoldersAreNot)
{
    TestSupport::write(scratch() / "elsewhere/model.toml", "release = yes\n");
    TestSupport::makeLink(catalog() / "linked/model.toml", scratch() / "elsewhere/model.toml");
    TestSupport::makeLink(catalog() / "tree", scratch() / "elsewhere");
    EXPECT_THAT(slugs(), ElementsAre("linked"));
}

TEST_F(ModelCatalogTest, aCatalogThatIsALinkIsFollowed)
{
    TestSupport::write(scratch() / "real/x/model.toml", "release = yes\n");
    TestSupport::makeLink(catalog(), scratch() / "real");
    EXPECT_THAT(slugs(), ElementsAre("x"));
}

TEST_F(ModelCatalogTest, oddFolderNamesAreSlugsAsTheyAre)
{
    const std::string odd = "sp ace/quo\"te\n'line/caf\xE9";
    add(odd, "release = yes\nname = Odd\n");
    EXPECT_THAT(slugs(), ElementsAre(odd));
}

TEST_F(ModelCatalogTest, withoutACatalogThereIsNothing)
{
    EXPECT_THAT(ModelCatalog::scan(dir()), IsEmpty());
    EXPECT_THAT(ModelCatalog::scan(""), IsEmpty());
    TestSupport::write(catalog(), "a file");
    EXPECT_THAT(ModelCatalog::scan(dir()), IsEmpty());
    EXPECT_EQ(slugFor("x"), "none");
    EXPECT_FALSE(ModelCatalog::slugFor("x", ""));
}

TEST_F(ModelCatalogTest, tenThousandEntriesComeInOrderWithoutTheBrokenOnes)
{
    std::vector<std::string> expected;
    for (int number = 0; number < 10000; number++) {
        const std::string slug = "org" + std::to_string(number % 97) + "/model" + std::to_string(number);
        const std::string name = "Model " + std::to_string(100000 + number);
        const bool broken = number % 10 == 3;
        add(slug,
            broken ? "release = yes\nname = \xFF\n"
                   : "release = \"yes\"\nname = \"" + name + "\"\nrepo = \"o/M" + std::to_string(number) + "\"\n");
        if (!broken) {
            expected.push_back(slug);
        }
    }
    for (int round = 0; round < 3; round++) {
        EXPECT_EQ(slugs(), expected);
    }
    EXPECT_EQ(slugFor("M9998"), "org" + std::to_string(9998 % 97) + "/model9998");
    EXPECT_EQ(slugFor("M9993"), "none");
}

TEST_F(ModelCatalogTest, theMatchIsOnTheEndAfterASlash)
{
    add("one", "repo = \"org/Model-4bit\"\n");
    EXPECT_EQ(slugFor("Model-4bit"), "one");
    EXPECT_EQ(slugFor("org/Model-4bit"), "none");
    EXPECT_EQ(slugFor("4bit"), "none");
    EXPECT_EQ(slugFor("model-4bit"), "none");
    EXPECT_EQ(slugFor("Model"), "none");
    add("two", "repo = \"https://host/org/Model-4bit\"\n");
    EXPECT_EQ(slugFor("org/Model-4bit"), "two");
}

TEST_F(ModelCatalogTest, theMatchReadsTheLineAlone)
{
    add("unreleased", "release = \"no\"\nrepo = \"o/Unreleased\"\n");
    add("single", "release = \"yes\"\nrepo = 'o/Single'\n");
    add("bare", "repo = o/Bare\n");
    add("indented", "  repo = \"o/Indented\"\n");
    add("one-quote", "repo = \"o/OneQuote\n");
    add("longer-key", "repository = \"o/Longer\"\n");
    add("no-equals", "repo \"o/NoEquals\"\n");
    add("commented", "repo = \"o/Commented\" # the \"old\" one\n");
    add("plain-comment", "repo = \"o/PlainComment\" # old\n");
    add("second-line", "name = x\nrepo = \"o/First\"\nrepo = \"o/Second\"\n");
    add("carriage", "name = x\r\nrepo = \"o/Carriage\"\r\n");
    EXPECT_EQ(slugFor("Unreleased"), "unreleased");
    EXPECT_EQ(slugFor("Single"), "none");
    EXPECT_EQ(slugFor("Bare"), "none");
    EXPECT_EQ(slugFor("Indented"), "none");
    EXPECT_EQ(slugFor("OneQuote"), "none");
    EXPECT_EQ(slugFor("Longer"), "longer-key");
    EXPECT_EQ(slugFor("NoEquals"), "no-equals");
    EXPECT_EQ(slugFor("Commented"), "none");
    EXPECT_EQ(slugFor("PlainComment"), "plain-comment");
    EXPECT_EQ(slugFor("First"), "second-line");
    EXPECT_EQ(slugFor("Second"), "second-line");
    EXPECT_EQ(slugFor("Carriage"), "none") << "a carriage return with its line feed splits nothing";
    EXPECT_THAT(slugs(), ElementsAre("single"));
}

TEST_F(ModelCatalogTest, theMatchComparesTextsAndNotBytes)
{
    add("composed", "repo = \"org/Caf\u00E9\"\n");
    add("marked-key", "repo\u0301 = \"org/Key\"\n");
    add("marked-quote", "repo = \"org/Quote\"\u0301\n");
    EXPECT_EQ(slugFor("Cafe\u0301"), "composed");
    EXPECT_EQ(slugFor("Key"), "none");
    EXPECT_EQ(slugFor("Quote"), "none");
    EXPECT_EQ(slugFor("\u0301"), "none");
}

TEST_F(ModelCatalogTest, theFirstMatchBySlugWins)
{
    for (const char* slug : {"z", "b/c", "b", "y"}) {
        add(slug, "repo = \"org/Twin\"\n");
    }
    EXPECT_EQ(slugFor("Twin"), "b");
}

TEST_F(ModelCatalogTest, bundledIsWhatLiesInModelsBesideTheFolder)
{
    EXPECT_FALSE(ModelBundleCheck::isBundled("org/Model", dir()));
    fs::create_directories(scratch() / "work/Models/org/Model");
    TestSupport::write(scratch() / "work/Models/file", "x");
    TestSupport::makeLink(scratch() / "work/Models/dangling", "/nowhere");
    EXPECT_TRUE(ModelBundleCheck::isBundled("org/Model", dir()));
    EXPECT_TRUE(ModelBundleCheck::isBundled("org/Model", dir() + "/"));
    EXPECT_TRUE(ModelBundleCheck::isBundled("file", dir()));
    EXPECT_FALSE(ModelBundleCheck::isBundled("dangling", dir()));
    EXPECT_FALSE(ModelBundleCheck::isBundled("org/Other", dir()));
    EXPECT_FALSE(ModelBundleCheck::isBundled("", dir())) << "never, even where Models exists";
    EXPECT_FALSE(ModelBundleCheck::isBundled("org/Model", ""));
}

} // namespace
