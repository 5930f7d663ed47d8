#include "CodeManagerApp/Model/QtText.h"

#include <algorithm>

#include "ManagerCore/Foundation/FilePath.h"

namespace CodeManagerApp
{

QString oneLine(std::string_view text)
{
    QString line = fromUtf8(text);
    const auto disturbs = [](QChar character) {
        const QChar::Category category = character.category();
        return category == QChar::Other_Control || category == QChar::Separator_Line
            || category == QChar::Separator_Paragraph || category == QChar::Other_Format;
    };
    std::ranges::replace_if(line, disturbs, QChar(QChar::ReplacementCharacter));
    return line;
}

std::filesystem::path toPath(const QUrl& address)
{
    // The bytes as the address escapes them: a name need not be UTF-8.
    const QByteArray path = QByteArray::fromPercentEncoding(address.path(QUrl::FullyEncoded).toLatin1());
    return ManagerCore::FilePath::fromText(std::string_view(path.data(), static_cast<std::size_t>(path.size())));
}

} // namespace CodeManagerApp
