#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace TestSupport
{

// A property list of a launch agent, written down key by key in XML.
class PropertyListText
{
public:
    explicit PropertyListText(std::string_view label);

    PropertyListText& text(std::string_view key, std::string_view value);
    PropertyListText& flag(std::string_view key, bool value);
    PropertyListText& number(std::string_view key, std::int64_t value);
    PropertyListText& texts(std::string_view key, const std::vector<std::string>& values);
    PropertyListText& dictionary(std::string_view key, const std::map<std::string, std::string>& values);
    // `xml` is the value as it stands.
    PropertyListText& raw(std::string_view key, std::string_view xml);

    [[nodiscard]] std::string xml() const;
    [[nodiscard]] std::string binary() const;

private:
    std::string entries_;
};

} // namespace TestSupport
