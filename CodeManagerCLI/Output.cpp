#include "CodeManagerCLI/Output.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <ostream>

#include <nlohmann/json.hpp>
#include <utf8proc.h>

namespace CodeManagerCLI
{

namespace
{

bool changesDirection(utf8proc_int32_t codepoint)
{
    switch (utf8proc_get_property(codepoint)->bidi_class) {
    case UTF8PROC_BIDI_CLASS_LRE:
    case UTF8PROC_BIDI_CLASS_LRO:
    case UTF8PROC_BIDI_CLASS_RLE:
    case UTF8PROC_BIDI_CLASS_RLO:
    case UTF8PROC_BIDI_CLASS_PDF:
    case UTF8PROC_BIDI_CLASS_LRI:
    case UTF8PROC_BIDI_CLASS_RLI:
    case UTF8PROC_BIDI_CLASS_FSI:
    case UTF8PROC_BIDI_CLASS_PDI:
        return true;
    default:
        return false;
    }
}

bool drivesTerminal(utf8proc_int32_t codepoint)
{
    switch (utf8proc_category(codepoint)) {
    case UTF8PROC_CATEGORY_CC:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
        return true;
    default:
        return changesDirection(codepoint);
    }
}

std::string formatted(const char* format, unsigned value)
{
    std::array<char, 16> text {};
    std::snprintf(text.data(), text.size(), format, value);
    return text.data();
}

std::string escaped(utf8proc_int32_t codepoint)
{
    switch (codepoint) {
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        return formatted(codepoint < 0x80 ? "\\x%02X" : "\\u{%04X}", static_cast<unsigned>(codepoint));
    }
}

std::string shown(std::string_view text, bool keepLines)
{
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        // Plain characters are most of every text.
        const auto special = std::ranges::find_if(text, [](char c) { return c < ' ' || c > '~'; });
        const auto plain = static_cast<std::size_t>(special - text.begin());
        result.append(text.substr(0, plain));
        text.remove_prefix(plain);
        if (text.empty()) {
            break;
        }
        utf8proc_int32_t codepoint = -1;
        const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
        const auto length = utf8proc_iterate(bytes, static_cast<utf8proc_ssize_t>(text.size()), &codepoint);
        const auto count = length > 0 ? static_cast<std::size_t>(length) : 1;
        if (length <= 0) {
            result.append(formatted("\\x%02X", *bytes));
        } else if (drivesTerminal(codepoint) && !(keepLines && (codepoint == '\n' || codepoint == '\t'))) {
            result.append(escaped(codepoint));
        } else {
            result.append(text.substr(0, count));
        }
        text.remove_prefix(count);
    }
    return result;
}

std::string coloured(const std::string& text, Tone tone)
{
    switch (tone) {
    case Tone::good:
        return "\033[32m" + text + "\033[0m";
    case Tone::caution:
        return "\033[33m" + text + "\033[0m";
    case Tone::bad:
        return "\033[31m" + text + "\033[0m";
    case Tone::neutral:
        break;
    }
    return text;
}

std::string_view lineEndFor(std::string_view text) { return text.empty() || text.ends_with('\n') ? "" : "\n"; }

} // namespace

std::string visible(std::string_view text) { return shown(text, false); }

std::string visibleLines(std::string_view text) { return shown(text, true); }

Output::Output(std::ostream& out, std::ostream& err, bool colours, bool bars)
    : out_(out)
    , err_(err)
    , colours_(colours)
    , bars_(bars)
{
}

void Output::line(std::string_view text) { out_ << visible(text) << '\n'; }

void Output::lines(std::string_view text) { out_ << visibleLines(text) << lineEndFor(text); }

void Output::heading(std::string_view text)
{
    const std::string shown = visible(text);
    out_ << (colours_ ? "\033[1m" + shown + "\033[0m" : shown) << '\n';
}

void Output::table(const std::vector<Row>& rows)
{
    std::size_t width = 0;
    for (const Row& row : rows) {
        width = std::max(width, row.label.size());
    }
    for (const Row& row : rows) {
        const std::string value = visible(row.value);
        out_ << row.label;
        if (!value.empty()) {
            out_ << std::string(width - row.label.size() + 2, ' ') << (colours_ ? coloured(value, row.tone) : value);
        }
        out_ << '\n';
    }
}

void Output::markedLine(std::string_view mark, Tone tone, std::string_view text)
{
    const std::string shown = visible(mark);
    out_ << (colours_ ? coloured(shown, tone) : shown) << visible(text) << '\n';
}

void Output::document(std::string_view text) { out_ << text; }

void Output::json(const Json& document)
{
    out_ << document.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

void Output::streamedLine(std::string_view text) { out_ << visibleLines(text) << '\n' << std::flush; }

void Output::streamedErrorLine(std::string_view text) { beforeError() << visibleLines(text) << '\n' << std::flush; }

void Output::streamedText(std::string_view text) { out_ << visibleLines(text) << std::flush; }

void Output::streamedErrorText(std::string_view text) { beforeError() << visibleLines(text) << std::flush; }

void Output::flush() { out_.flush(); }

void Output::errorLine(std::string_view text) { beforeError() << visible(text) << '\n' << std::flush; }

void Output::errorLines(std::string_view text)
{
    beforeError() << visibleLines(text) << lineEndFor(text) << std::flush;
}

void Output::passingLine(std::string_view text)
{
    if (bars_) {
        err_ << '\r' << visible(text) << "\033[K" << std::flush;
    }
}

std::ostream& Output::beforeError()
{
    out_.flush();
    return err_;
}

} // namespace CodeManagerCLI
