#pragma once

#include <map>
#include <string>
#include <vector>

#include "ManagerCore/Foundation/Proc.h"
#include "Tests/CodeManagerCLI/Installation.h"

// A product with a store of weights, links, strays and odd names, looked at and changed by the shipped program in
// surroundings of all kinds.
class SurroundingsTest : public InstallationTest
{
protected:
    using Out = ManagerCore::Proc::Out;
    using Words = std::vector<std::string>;

    SurroundingsTest();

    struct Surroundings {
        std::map<std::string, std::string> environment;
        Words before; // a command that the program's own words are given to
    };
    [[nodiscard]] Surroundings usual() const;

    [[nodiscard]] Out run(const Words& words, const Surroundings& surroundings) const;

    // What each command that changes nothing comes to, with `home` in the place of the home's path.
    [[nodiscard]] std::string answers(const Surroundings& surroundings, const std::string& home) const;
    [[nodiscard]] std::string answers(const Surroundings& surroundings) const { return answers(surroundings, home()); }

    // The commands that change something, and what they are said to have done.
    struct Change {
        Words words;
        std::string done;
    };
    [[nodiscard]] static std::vector<Change> changes();

    // The weights that are moved, their place on the other drive, and what they are.
    [[nodiscard]] std::filesystem::path node() const { return home() / "from/models/größe 漢字"; }
    [[nodiscard]] std::filesystem::path copy() const { return home() / "to/models/größe 漢字"; }
    void makeNode() const;

private:
    void makeStore() const;
    void makeStrays() const;
};

// Done, or refused with a sentence on the error stream: never silence, never a signal.
void expectDoneOrSentence(const ManagerCore::Proc::Out& out);
void expectSentence(const std::string& text);
