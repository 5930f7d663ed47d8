// The fuzzers' targets without a fuzzer: each runs over the files of its corpus and over simple damages of them, the
// same ones each time. What a fuzzer finds becomes a file of the corpus.

#include <algorithm>
#include <functional>
#include <iostream>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "Fuzz/Target.h"
#include "Tests/Support/Sandbox.h"

namespace
{

namespace fs = std::filesystem;

std::vector<fs::path> filesOf(const std::string& target)
{
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(fs::path(FUZZ_CORPORA) / target)) {
        files.push_back(entry.path());
    }
    std::ranges::sort(files);
    return files;
}

using Taker = std::function<void(const std::string& input, const std::string& about)>;

// Places spread over the whole text, all of a short one.
void eachPlace(std::size_t size, std::size_t most, const std::function<void(std::size_t)>& place)
{
    const std::size_t step = std::max<std::size_t>(1, (size + most - 1) / most);
    for (std::size_t at = 0; at < size; at += step) {
        place(at);
    }
}

void eachDamage(const std::string& whole, const Taker& take)
{
    constexpr std::size_t cuts = 128;
    constexpr std::size_t changes = 32;
    take(whole, "whole");
    eachPlace(whole.size(), cuts, [&](std::size_t length) {
        take(whole.substr(0, length), "cut after " + std::to_string(length));
    });
    eachPlace(whole.size(), changes, [&](std::size_t at) {
        for (const unsigned flipped : {0x01U, 0x20U, 0x80U, 0xFFU}) {
            std::string changed = whole;
            changed[at] = static_cast<char>(static_cast<unsigned char>(changed[at]) ^ flipped);
            take(changed, "byte " + std::to_string(at) + " flipped by " + std::to_string(flipped));
        }
        for (const char put : {'\0', '\n', '\r', '"', '[', ' '}) {
            std::string longer = whole;
            longer.insert(at, 1, put);
            take(longer, "character " + std::to_string(int {put}) + " put in at " + std::to_string(at));
        }
    });
    take(whole + whole, "twice");
}

std::vector<std::string> namesOfTargets()
{
    std::vector<std::string> names;
    for (const Fuzz::Target& target : Fuzz::targets()) {
        names.push_back(target.name);
    }
    return names;
}

class FuzzCorpus : public TestSupport::SandboxTest, public ::testing::WithParamInterface<std::string>
{
};

TEST_P(FuzzCorpus, whatTheTargetRequiresHolds)
{
    const auto targets = Fuzz::targets();
    const auto target = std::ranges::find(targets, GetParam(), &Fuzz::Target::name);
    const auto files = filesOf(GetParam());
    EXPECT_THAT(files, testing::Not(testing::IsEmpty()));
    for (const fs::path& file : files) {
        std::cout << file.filename().string() << std::endl; // the last one, should the program not survive it
        eachDamage(TestSupport::read(file), [&](const std::string& input, const std::string& about) {
            try {
                target->run(input);
            } catch (const Fuzz::Broken& broken) {
                ADD_FAILURE() << broken.what() << " Not so for " << file.filename() << ", " << about << ":\n"
                              << testing::PrintToString(input);
            }
        });
    }
}

INSTANTIATE_TEST_SUITE_P(Fuzz, FuzzCorpus, ::testing::ValuesIn(namesOfTargets()), [](const auto& info) {
    std::string name = info.param;
    std::ranges::replace(name, '-', '_');
    return name;
});

TEST(FuzzCorpora, belongToTargets)
{
    std::set<std::string> known {"agent", "mount-table"}; // which not every system has
    for (const std::string& name : namesOfTargets()) {
        known.insert(name);
    }
    for (const auto& entry : fs::directory_iterator(FUZZ_CORPORA)) {
        EXPECT_TRUE(known.contains(entry.path().filename().string())) << entry.path();
    }
}

} // namespace
