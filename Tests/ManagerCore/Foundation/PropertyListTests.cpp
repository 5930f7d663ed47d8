#include "ManagerCore/Foundation/PropertyList.h"

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <plist/plist.h>

namespace PropertyList = ManagerCore::PropertyList;

namespace
{

std::string binaryOf(plist_t root)
{
    char* bytes = nullptr;
    std::uint32_t size = 0;
    plist_to_bin(root, &bytes, &size);
    std::string text(bytes, size);
    std::free(bytes);
    plist_free(root);
    return text;
}

std::string bigEndian(std::uint64_t value, int size)
{
    std::string bytes;
    for (int shift = (size - 1) * 8; shift >= 0; shift -= 8) {
        bytes.push_back(static_cast<char>(value >> static_cast<unsigned>(shift)));
    }
    return bytes;
}

// A binary list whose parts are given as they stand, with one byte for each reference and two for each offset. The last
// part is there under so many numbers.
std::string assembled(const std::vector<std::string>& parts, std::size_t lastOnes = 1)
{
    std::string bytes = "bplist00";
    std::string table;
    std::string offset;
    for (const std::string& part : parts) {
        offset = bigEndian(bytes.size(), 2);
        table += offset;
        bytes += part;
    }
    for (std::size_t more = 1; more < lastOnes; more++) {
        table += offset;
    }
    const std::size_t tableAt = bytes.size();
    return bytes + table + std::string(6, '\0') + "\x02\x01" + bigEndian(parts.size() + lastOnes - 1, 8)
        + bigEndian(0, 8) + bigEndian(tableAt, 8);
}

TEST(PropertyLists, areReadInBothForms)
{
    const auto xml = PropertyList::parse("<plist version=\"1.0\"><dict><key>a</key><string>b</string></dict></plist>");
    ASSERT_TRUE(xml);
    EXPECT_EQ(plist_get_node_type(xml.get()), PLIST_DICT);
    plist_t list = plist_new_array();
    for (int index = 0; index < 300; index++) { // longer counts and longer references than the shortest
        plist_t entry = plist_new_dict();
        plist_dict_set_item(entry, "key", plist_new_string(("value " + std::to_string(index)).c_str()));
        plist_array_append_item(list, entry);
    }
    const auto binary = PropertyList::parse(binaryOf(list));
    ASSERT_TRUE(binary);
    EXPECT_EQ(plist_array_get_size(binary.get()), 300U);
}

TEST(PropertyLists, aPartThatIsSharedIsReadAtEachPlace)
{
    const auto list = PropertyList::parse(assembled({"\xA2\x01\x01", "\x51x"}));
    ASSERT_TRUE(list);
    EXPECT_EQ(plist_array_get_size(list.get()), 2U);
}

TEST(PropertyLists, whatWouldNeverEndIsRefusedAtOnce)
{
    const auto doubling = [](char levels) {
        std::vector<std::string> parts;
        for (char level = 1; level < levels; level++) {
            parts.push_back(std::string("\xA2") + level + level);
        }
        parts.emplace_back("\x51x");
        return assembled(parts);
    };
    EXPECT_FALSE(PropertyList::parse(doubling(60)));
    EXPECT_FALSE(PropertyList::parse(doubling(17))) << "a hundred thousand parts";
    EXPECT_TRUE(PropertyList::parse(doubling(15)));
    EXPECT_FALSE(PropertyList::parse(assembled({std::string("\xA1\x00", 2)}))) << "holds itself";
    EXPECT_FALSE(PropertyList::parse(assembled({"\xA1\x01", std::string("\xA1\x00", 2)})));
    EXPECT_FALSE(PropertyList::parse(assembled({"\xA1\x07"}))) << "refers to nothing";
}

TEST(PropertyLists, longPartsThatWouldBeReadManyTimesAreRefused)
{
    const std::string mebibyte(std::size_t {1} << 20U, 'x');
    for (const char* marker : {"\x5F\x12", "\x4F\x12"}) { // a text and data
        const std::string part = marker + bigEndian(mebibyte.size(), 4) + mebibyte;
        std::string same = "\xAF\x10\xC8";
        std::string others = same;
        for (int reference = 1; reference <= 200; reference++) {
            same.push_back('\1');
            others.push_back(static_cast<char>(reference));
        }
        EXPECT_FALSE(PropertyList::parse(assembled({same, part}))) << "two hundred times the same";
        EXPECT_FALSE(PropertyList::parse(assembled({others, part}, 200))) << "two hundred parts in one place";
        EXPECT_TRUE(PropertyList::parse(assembled({"\xA3\x01\x01\x01", part})));
    }
}

TEST(PropertyLists, whatNestsTooDeepIsRefused)
{
    std::vector<std::string> nested;
    for (int level = 1; level < 200; level++) {
        nested.push_back(std::string("\xA1") + static_cast<char>(level));
    }
    nested.emplace_back("\x51x");
    EXPECT_FALSE(PropertyList::parse(assembled(nested)));
    std::string xml = "<plist version=\"1.0\">";
    for (int level = 0; level < 200; level++) {
        xml += "<array>";
    }
    EXPECT_FALSE(PropertyList::parse(xml));
}

TEST(PropertyLists, textsWithAZeroAreRefused)
{
    using namespace std::string_literals;
    EXPECT_FALSE(PropertyList::parse(assembled({"\x53x\0y"s})));
    EXPECT_FALSE(PropertyList::parse(assembled({"\xA1\x01"s, "\x5F\x10\x10"s + std::string(15, 'x') + "\0"s})))
        << "a long one";
    EXPECT_FALSE(PropertyList::parse(assembled({"\x62\0x\0\0"s}))) << "in units of two bytes";
    EXPECT_FALSE(PropertyList::parse(assembled({"\xD1\x01\x02"s, "\x52k\0"s, "\x51v"s}))) << "as a key";
    EXPECT_FALSE(PropertyList::parse(assembled({"\x53x"s}))) << "and those that are longer than the list";
    EXPECT_TRUE(PropertyList::parse(assembled({"\xA2\x01\x02"s, "\x62\0x\x6F\x22"s, "\x50"s})));
    EXPECT_FALSE(PropertyList::parse("<plist><string>x\0y</string></plist>"s));
    EXPECT_FALSE(PropertyList::parse("<plist><dict><key>x\0</key><string>y</string></dict></plist>"s));
    EXPECT_TRUE(PropertyList::parse(assembled({"\x44x\0\0\0"s}))) << "data may hold any";
}

TEST(PropertyLists, damagedOnesAreRefusedOrReadButNeverMore)
{
    std::mt19937 random(11); // NOLINT(bugprone-random-generator-seed): the same damage each time
    plist_t root = plist_new_dict();
    plist_dict_set_item(root, "Label", plist_new_string("a label"));
    plist_t arguments = plist_new_array();
    plist_array_append_item(arguments, plist_new_uint(7));
    plist_dict_set_item(root, "ProgramArguments", arguments);
    const std::string whole = binaryOf(root);
    EXPECT_TRUE(PropertyList::parse(whole));
    for (std::size_t length = 0; length < whole.size(); length++) {
        EXPECT_FALSE(PropertyList::parse(whole.substr(0, length)) && length < 32);
    }
    for (int round = 0; round < 20'000; round++) {
        std::string damaged = whole;
        damaged[8 + random() % (damaged.size() - 8)] = static_cast<char>(random());
        EXPECT_NO_FATAL_FAILURE(PropertyList::parse(damaged));
    }
    EXPECT_FALSE(PropertyList::parse(""));
    EXPECT_FALSE(PropertyList::parse("bplist00"));
}

TEST(PropertyLists, giveTheTextsOfADictionary)
{
    const auto list = PropertyList::parse("<plist version=\"1.0\"><dict><key>text</key><string>a</string>"
                                          "<key>texts</key><array><string>b</string><string>c</string></array>"
                                          "<key>mixed</key><array><string>b</string><true/></array></dict></plist>");
    EXPECT_EQ(PropertyList::text(list, "text"), "a");
    EXPECT_EQ(PropertyList::text(list, "texts"), std::nullopt);
    EXPECT_EQ(PropertyList::text(list, "none"), std::nullopt);
    EXPECT_EQ(PropertyList::texts(list, "texts"), (std::vector<std::string> {"b", "c"}));
    EXPECT_TRUE(PropertyList::texts(list, "mixed").empty());
    EXPECT_TRUE(PropertyList::texts(list, "text").empty());
    const auto array = PropertyList::parse("<plist version=\"1.0\"><array><string>a</string></array></plist>");
    EXPECT_EQ(PropertyList::text(array, "text"), std::nullopt);
    EXPECT_TRUE(PropertyList::texts(PropertyList::Tree(), "texts").empty());
}

TEST(PropertyLists, giveAllValues)
{
    using Value = PropertyList::Value;
    const auto list = PropertyList::parse("<plist version=\"1.0\"><dict><key>text</key><string>a</string>"
                                          "<key>flag</key><true/><key>number</key><integer>-2</integer>"
                                          "<key>other</key><real>1</real><key>array</key><array><false/></array>"
                                          "<key>empty</key><dict/></dict></plist>");
    const auto root = PropertyList::value(list).content;
    const auto& entries = std::get<Value::Dictionary>(root);
    ASSERT_EQ(entries.size(), 6U);
    EXPECT_EQ(entries[0].key, "text");
    EXPECT_EQ(std::get<std::string>(entries[0].value.content), "a");
    EXPECT_TRUE(std::get<bool>(entries[1].value.content));
    EXPECT_EQ(std::get<std::int64_t>(entries[2].value.content), -2);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(entries[3].value.content));
    EXPECT_FALSE(std::get<bool>(std::get<Value::Array>(entries[4].value.content).at(0).content));
    EXPECT_TRUE(std::get<Value::Dictionary>(entries[5].value.content).empty());
    EXPECT_TRUE(std::holds_alternative<std::monostate>(PropertyList::value(PropertyList::Tree()).content));
}

} // namespace
