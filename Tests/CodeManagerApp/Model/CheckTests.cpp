#include "CodeManagerApp/Model/CheckList.h"
#include "CodeManagerApp/Model/ManagerModel.h"
#include "CodeManagerApp/Model/QtText.h"
#include "Tests/CodeManagerApp/Support/ModelTest.h"

using namespace CodeManagerApp;
using namespace ManagerCore;
using TestSupport::EnvironmentVariable;

namespace
{

const Doctor::Finding fine {.check = "executables", .state = Doctor::State::ok, .message = "It is there."};
const Doctor::Finding odd {.check = "agent file", .state = Doctor::State::warning, .message = "It is odd\n: mend it."};
const Doctor::Finding broken {.check = "links", .state = Doctor::State::error, .message = "It dangles: mend it."};

TEST(CheckList, showsWhatIsWrongFirst)
{
    EXPECT_EQ(CheckList::rows({fine, odd, broken, fine}),
              (QList<FindingValue> {{.check = QStringLiteral("Links"),
                                     .state = QStringLiteral("error"),
                                     .word = QStringLiteral("Error"),
                                     .symbol = QStringLiteral("xmark.circle"),
                                     .message = QStringLiteral("It dangles: mend it.")},
                                    {.check = QStringLiteral("Agent file"),
                                     .state = QStringLiteral("warning"),
                                     .word = QStringLiteral("Warning"),
                                     .symbol = QStringLiteral("exclamationmark.triangle"),
                                     .message = fromUtf8("It is odd\uFFFD: mend it.")},
                                    {.check = QStringLiteral("Executables"),
                                     .state = QStringLiteral("ok"),
                                     .word = QStringLiteral("OK"),
                                     .symbol = QStringLiteral("checkmark.circle"),
                                     .message = QStringLiteral("It is there.")},
                                    {.check = QStringLiteral("Executables"),
                                     .state = QStringLiteral("ok"),
                                     .word = QStringLiteral("OK"),
                                     .symbol = QStringLiteral("checkmark.circle"),
                                     .message = QStringLiteral("It is there.")}}));
    EXPECT_EQ(toUtf8(CheckList::summary({fine, odd, broken, fine})), "1 error, 1 warning, 2 ok");
}

class CheckTest : public TestSupport::ModelTest
{
protected:
    static bool checked(ManagerModel& model)
    {
        return until(model, &ManagerModel::checkingChanged, [&model] { return !model.checking(); });
    }

    EnvironmentVariable databases_ {"CM_DATABASES_DIR", (scratch() / "databases").string()};
    EnvironmentVariable path_ {"PATH", (home() / "bin").string()};
};

TEST_F(CheckTest, isMadeInTheBackgroundAndCanBeClosed)
{
    TestSupport::write(home() / "zyn.toml", "binaries = [\"~/bin/zyn\"]\n");
    TestSupport::makeExecutable(home() / "bin/zyn", "#!/bin/sh\n");
    const EnvironmentVariable descriptor("CM_IDENTITY_TOML", (home() / "zyn.toml").string());
    const Identity identity = Identity::load(home() / "zyn.toml").value_or(Identity::empty);
    const ManagerActions actions = ManagerActions::load(home() / "zyn.toml");
    ManagerModel model(identity, actions);
    EXPECT_TRUE(model.findings().empty());
    model.requestCheck();
    EXPECT_TRUE(model.checking());
    EXPECT_TRUE(model.findings().empty()) << "nothing before the check is whole";
    EXPECT_FALSE(model.operationRuns()) << "it only reads: nothing is cut short";
    ASSERT_TRUE(checked(model));
    EXPECT_EQ(model.findings(),
              Doctor::examine({.descriptor = home() / "zyn.toml",
                               .identity = identity,
                               .actions = actions,
                               .projectDir = model.projectDir()}));
    EXPECT_FALSE(model.findingRows().isEmpty());
    EXPECT_FALSE(model.findingsSummary().isEmpty());
    model.requestCloseCheck();
    EXPECT_TRUE(model.findings().empty());
    EXPECT_TRUE(model.findingRows().isEmpty());
}

TEST_F(CheckTest, isMadeOnceAtATimeAndLooksAnewEachTime)
{
    ManagerModel model({.binaries = {"~/bin/zyn"}}, {});
    model.requestCheck();
    model.requestCheck();
    EXPECT_TRUE(model.checking());
    ASSERT_TRUE(checked(model));
    const auto before = model.findings();
    TestSupport::makeExecutable(home() / "bin/zyn", "#!/bin/sh\n");
    model.requestCheck();
    EXPECT_EQ(model.findings(), before) << "they stay until the new ones are there";
    ASSERT_TRUE(checked(model));
    EXPECT_NE(model.findings(), before);
}

TEST_F(CheckTest, looksAtTheChosenProjectFolder)
{
    ManagerModel model({}, {});
    model.setProjectDir((scratch() / "gone").string());
    model.requestCheck();
    ASSERT_TRUE(checked(model));
    EXPECT_NE(std::ranges::find(model.findings(), "project folder", &Doctor::Finding::check)->message.find("gone"),
              std::string::npos);
}

} // namespace
