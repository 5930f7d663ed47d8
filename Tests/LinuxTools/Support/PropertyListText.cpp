#include "Tests/LinuxTools/Support/PropertyListText.h"

#include <cstdlib>

#include <plist/plist.h>

namespace TestSupport
{

namespace
{

std::string escaped(std::string_view text)
{
    std::string xml;
    for (const char byte : text) {
        switch (byte) {
        case '&':
            xml += "&amp;";
            break;
        case '<':
            xml += "&lt;";
            break;
        case '\r':
            xml += "&#13;";
            break;
        default:
            xml += byte;
        }
    }
    return xml;
}

std::string element(std::string_view name, std::string_view content)
{
    return "<" + std::string(name) + ">" + std::string(content) + "</" + std::string(name) + ">";
}

} // namespace

PropertyListText::PropertyListText(std::string_view label) { text("Label", label); }

PropertyListText& PropertyListText::raw(std::string_view key, std::string_view xml)
{
    entries_ += element("key", escaped(key)) + std::string(xml) + "\n";
    return *this;
}

PropertyListText& PropertyListText::text(std::string_view key, std::string_view value)
{
    return raw(key, element("string", escaped(value)));
}

PropertyListText& PropertyListText::flag(std::string_view key, bool value)
{
    return raw(key, value ? "<true/>" : "<false/>");
}

PropertyListText& PropertyListText::number(std::string_view key, std::int64_t value)
{
    return raw(key, element("integer", std::to_string(value)));
}

PropertyListText& PropertyListText::texts(std::string_view key, const std::vector<std::string>& values)
{
    std::string items;
    for (const std::string& value : values) {
        items += element("string", escaped(value));
    }
    return raw(key, element("array", items));
}

PropertyListText& PropertyListText::dictionary(std::string_view key, const std::map<std::string, std::string>& values)
{
    std::string items;
    for (const auto& [name, value] : values) {
        items += element("key", escaped(name)) + element("string", escaped(value));
    }
    return raw(key, element("dict", items));
}

std::string PropertyListText::xml() const
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>\n" + entries_
        + "</dict></plist>\n";
}

std::string PropertyListText::binary() const
{
    const std::string text = xml();
    plist_t root = nullptr;
    plist_from_xml(text.data(), static_cast<std::uint32_t>(text.size()), &root);
    char* bytes = nullptr;
    std::uint32_t size = 0;
    plist_to_bin(root, &bytes, &size);
    std::string made(bytes, size);
    std::free(bytes);
    plist_free(root);
    return made;
}

} // namespace TestSupport
