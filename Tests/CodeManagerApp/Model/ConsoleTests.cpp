#include "CodeManagerApp/Model/Console.h"

#include <gtest/gtest.h>

#include "CodeManagerApp/Model/QtText.h"

using namespace CodeManagerApp;

namespace
{

TEST(Console, aTextOfTheCapStaysAsItIs)
{
    const QString text(20000, QLatin1Char('x'));
    EXPECT_EQ(Console::trimmed(text), text);
    EXPECT_EQ(Console::trimmed(QString()), QString());
}

TEST(Console, ofALongerTextTheLastCharactersStay)
{
    const QString text = QStringLiteral("first") + QString(19999, QLatin1Char('x')) + QStringLiteral("!");
    const QString kept = Console::trimmed(text);
    EXPECT_EQ(kept.size(), 20000);
    EXPECT_TRUE(kept.startsWith(QLatin1Char('x')));
    EXPECT_TRUE(kept.endsWith(QLatin1Char('!')));
}

// What a reader takes for one character counts once, however many units it has.
TEST(Console, charactersAreThoseThatAReaderSees)
{
    const QString family = QString::fromUtf8("👩‍👩‍👧");
    const QString exact = family.repeated(20000);
    EXPECT_EQ(Console::trimmed(exact), exact);
    EXPECT_EQ(Console::trimmed(QStringLiteral("x") + exact), exact);
    const QString accents = QString::fromUtf8("e\u0301").repeated(20001);
    EXPECT_EQ(Console::trimmed(accents).size(), 40000);
    const QString lines = QStringLiteral("\r\n").repeated(20001);
    EXPECT_EQ(Console::trimmed(lines).size(), 40000);
}

TEST(Console, aChildsOutputIsTrimmedByTheSameRule)
{
    const std::string much(100 << 20, 'x');
    EXPECT_EQ(Console::trimmed(std::string_view(much)).size(), 20000U);
    const std::string text = toUtf8(QString::fromUtf8("é").repeated(20001));
    EXPECT_EQ(fromUtf8(Console::trimmed(std::string_view(text))), Console::trimmed(fromUtf8(text)));
}

} // namespace
