#include "CodeManagerApp/Model/QtText.h"

#include <algorithm>

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
    std::replace_if(line.begin(), line.end(), disturbs, QChar(QChar::ReplacementCharacter));
    return line;
}

} // namespace CodeManagerApp
