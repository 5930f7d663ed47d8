#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include <QString>
#include <QUrl>

// The core's texts are UTF-8, the window's are Qt's.
namespace CodeManagerApp
{

inline QString fromUtf8(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

// The same on one line: what would break it, or could not be seen, is a replacement character.
QString oneLine(std::string_view text);

// The file that a chooser gave.
std::filesystem::path toPath(const QUrl& address);

inline std::string toUtf8(const QString& text) { return text.toStdString(); }

} // namespace CodeManagerApp
