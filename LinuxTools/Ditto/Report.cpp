#include "LinuxTools/Ditto/Report.h"

#include <cerrno>

#include "ManagerCore/Platform/ErrorText.h"

namespace LinuxTools
{

namespace
{

using EntryCopy::Outcome;
using EntryCopy::Trouble;
using std::filesystem::path;
namespace ErrorText = ManagerCore::Platform::ErrorText;

std::string line(const std::string& sentence) { return "ditto: " + sentence + "\n"; }

std::string quoted(const path& path) { return "“" + path.filename().string() + "”"; }

std::string sentenceFor(const Outcome& outcome, const path& source, const path& destination)
{
    switch (outcome.trouble) {
    case Trouble::reading:
        return ErrorText::reading(outcome.error, source);
    case Trouble::saving: {
        const bool folderInTheWay = outcome.error == EISDIR || outcome.error == ENOTEMPTY;
        return ErrorText::saving(folderInTheWay ? EEXIST : outcome.error, destination);
    }
    case Trouble::shortened:
        return "The file " + quoted(source) + " couldn’t be copied because it became shorter meanwhile.";
    case Trouble::unsuitable:
        return quoted(source) + " couldn’t be copied because it is neither a file, a folder, a link nor a named pipe.";
    case Trouble::interrupted:
        return "The copy was interrupted before the file " + quoted(source) + ".";
    case Trouble::attributes:
        return "The attributes of the file " + quoted(source) + " couldn’t be kept ("
            + ErrorText::systemReason(outcome.error) + ").";
    case Trouble::none:
        break;
    }
    return {};
}

bool endsAll(const Outcome& outcome)
{
    if (outcome.trouble == Trouble::interrupted) {
        return true;
    }
    return outcome.trouble == Trouble::saving
        && (outcome.error == ENOSPC || outcome.error == EDQUOT || outcome.error == EROFS || outcome.error == EIO);
}

} // namespace

void Report::add(const std::string& sentence)
{
    if (count_++ < shown) {
        lines_ += line(sentence);
    }
}

bool Report::take(const Outcome& outcome, const path& source, const path& destination)
{
    if (outcome.attributesUnsupported && !toldOfAttributes_) {
        toldOfAttributes_ = true;
        lines_ += line("Some attributes, of the file " + quoted(source) + " first, can’t be kept on its new volume.");
    }
    if (outcome.trouble != Trouble::none) {
        add(sentenceFor(outcome, source, destination));
    }
    return !endsAll(outcome);
}

std::string Report::text() const
{
    const std::size_t more = count_ > shown ? count_ - shown : 0;
    return more == 0 ? lines_ : lines_ + line(std::to_string(more) + " more items couldn’t be copied.");
}

} // namespace LinuxTools
