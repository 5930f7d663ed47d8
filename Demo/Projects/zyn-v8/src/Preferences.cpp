#include "Preferences.h"

#include <cstdint>
#include <vector>

namespace Zyn
{
namespace
{

std::string bigEndian(std::uint64_t value, unsigned bytes)
{
    std::string out;
    for (unsigned shift = bytes * 8; shift > 0; shift -= 8) {
        out += static_cast<char>((value >> (shift - 8)) & 0xFFU);
    }
    return out;
}

// A text of less than 256 characters: a length of 15 or more follows the type in a byte of its own.
std::string textObject(const std::string& text)
{
    constexpr std::size_t longText = 15;
    if (text.size() < longText) {
        return static_cast<char>(0x50U | text.size()) + text;
    }
    return "\x5F\x10" + bigEndian(text.size(), 1) + text;
}

std::string numberObject(std::uint32_t value) { return "\x12" + bigEndian(value, 4); }

std::string truthObject(bool value) { return {value ? '\x09' : '\x08'}; }

// One dictionary of less than 15 entries is the whole document: object 0, then its keys, then its values.
class Document
{
public:
    void add(const std::string& key, std::string value)
    {
        keys_.push_back(textObject(key));
        values_.push_back(std::move(value));
    }

    [[nodiscard]] std::string bytes() const
    {
        std::string out = "bplist00";
        std::vector<std::size_t> offsets {out.size()};
        out += dictionaryObject();
        for (const auto* objects : {&keys_, &values_}) {
            for (const std::string& object : *objects) {
                offsets.push_back(out.size());
                out += object;
            }
        }
        const std::size_t table = out.size();
        for (const std::size_t offset : offsets) {
            out += bigEndian(offset, 2);
        }
        return out + trailer(offsets.size(), table);
    }

private:
    [[nodiscard]] std::string dictionaryObject() const
    {
        std::string out(1, static_cast<char>(0xD0U | keys_.size()));
        for (std::size_t reference = 1; reference <= keys_.size() * 2; ++reference) {
            out += static_cast<char>(reference);
        }
        return out;
    }

    static std::string trailer(std::size_t objects, std::size_t table)
    {
        constexpr unsigned offsetBytes = 2;
        constexpr unsigned referenceBytes = 1;
        return std::string(6, '\0') + bigEndian(offsetBytes, 1) + bigEndian(referenceBytes, 1) + bigEndian(objects, 8)
            + bigEndian(0, 8) + bigEndian(table, 8);
    }

    std::vector<std::string> keys_;
    std::vector<std::string> values_;
};

} // namespace

std::string defaultPreferences()
{
    Document document;
    document.add("ZynProvider", textObject("mlx"));
    document.add("ZynTheme", textObject("paper"));
    document.add("ZynReleaseChannel", textObject("stable"));
    document.add("ZynServerAddress", textObject("http://127.0.0.1:8080"));
    document.add("ZynSendCrashReports", truthObject(false));
    document.add("ZynOpenLastSession", truthObject(true));
    document.add("ZynWindowWidth", numberObject(1180));
    document.add("ZynWindowHeight", numberObject(760));
    return document.bytes();
}

} // namespace Zyn
