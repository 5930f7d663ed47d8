#include "CodeManagerApp/Model/CheckList.h"

#include <algorithm>
#include <functional>

#include "CodeManagerApp/Model/QtText.h"

namespace CodeManagerApp::CheckList
{

namespace Doctor = ManagerCore::Doctor;

namespace
{

QString wordFor(Doctor::State state)
{
    switch (state) {
    case Doctor::State::ok:
        return QStringLiteral("OK");
    case Doctor::State::warning:
        return QStringLiteral("Warning");
    case Doctor::State::error:
        break;
    }
    return QStringLiteral("Error");
}

QString symbolFor(Doctor::State state)
{
    switch (state) {
    case Doctor::State::ok:
        return QStringLiteral("checkmark.circle");
    case Doctor::State::warning:
        return QStringLiteral("exclamationmark.triangle");
    case Doctor::State::error:
        break;
    }
    return QStringLiteral("xmark.circle");
}

// "agent file" as it stands at the head of a row.
QString titled(const std::string& check)
{
    QString title = oneLine(check);
    if (!title.isEmpty()) {
        title[0] = title[0].toUpper();
    }
    return title;
}

} // namespace

QList<FindingValue> rows(const std::vector<Doctor::Finding>& findings)
{
    std::vector<Doctor::Finding> sorted = findings;
    std::ranges::stable_sort(sorted, std::ranges::greater {}, &Doctor::Finding::state);
    QList<FindingValue> rows;
    for (const Doctor::Finding& finding : sorted) {
        rows.append({.check = titled(finding.check),
                     .state = fromUtf8(Doctor::word(finding.state)),
                     .word = wordFor(finding.state),
                     .symbol = symbolFor(finding.state),
                     .message = oneLine(finding.message)});
    }
    return rows;
}

QString summary(const std::vector<Doctor::Finding>& findings) { return fromUtf8(Doctor::summary(findings)); }

} // namespace CodeManagerApp::CheckList
