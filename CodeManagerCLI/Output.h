#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace CodeManagerCLI
{

using Json = nlohmann::ordered_json;

enum class Tone : std::uint8_t { neutral, good, caution, bad };

// A line of a table. An empty label continues the row above.
struct Row {
    std::string label;
    std::string value;
    Tone tone = Tone::neutral;
};

// `text` with everything that could drive a terminal or pass for another line written as an escape: control
// characters, line breaks, changes of the writing direction, bytes that are not UTF-8.
std::string visible(std::string_view text);

// The same for a text that may have several lines: line feeds and tabs stay.
std::string visibleLines(std::string_view text);

// Where a command writes: results to the standard output, refusals and failures to the standard error. Everything but
// JSON and documents passes through `visible`, so no value needs to be trusted.
class Output
{
public:
    // `bars` tells that the standard error is a terminal on which a line may be written over.
    Output(std::ostream& out, std::ostream& err, bool colours, bool bars = false);

    void line(std::string_view text);
    void lines(std::string_view text); // a line feed is added where the last line has none
    void heading(std::string_view text); // a line that stands out on a terminal
    void table(const std::vector<Row>& rows);
    void markedLine(std::string_view mark, Tone tone, std::string_view text); // the mark alone has a colour
    void document(std::string_view text); // byte by byte, as a file of its own that is to be read again
    void json(const Json& document); // bytes that are not UTF-8 become U+FFFD

    // A line of a script that is running, at once.
    void streamedLine(std::string_view text);
    void streamedErrorLine(std::string_view text);
    // The beginning of such a line, which the next one completes.
    void streamedText(std::string_view text);
    void streamedErrorText(std::string_view text);
    void flush();

    void errorLine(std::string_view text);
    void errorLines(std::string_view text);

    // A line about work under way that the next one replaces; an empty one takes it away. Nothing without a terminal.
    // Not while something else is written.
    void passingLine(std::string_view text);
    [[nodiscard]] bool hasBars() const { return bars_; }

private:
    std::ostream& beforeError(); // what was written comes first on a shared terminal

    std::ostream& out_;
    std::ostream& err_;
    bool colours_;
    bool bars_;
};

} // namespace CodeManagerCLI
