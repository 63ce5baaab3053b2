/* Man pages and completions of the programs, beside what --help says. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "board/tools/support.h"
#include "manual/help.h"

namespace orka_tools_test {
namespace {

using testing::HasSubstr;

/* A man page as plain text. */
std::string shown(const std::string &page)
{
    const Ending ending = run({"mandoc", "-T", "utf8", "-W", "error", "-O", "width=500", page});
    EXPECT_EQ(ending.status, 0) << ending.err;
    return std::regex_replace(ending.out, std::regex(".\b"), "");
}

/* The long options in a text. */
std::vector<std::string> options_in(const std::string &text)
{
    const std::regex option("--[a-z0-9-]+");
    std::vector<std::string> found;
    for (std::sregex_iterator at(text.begin(), text.end(), option), end; at != end; ++at)
        found.push_back(at->str());
    return found;
}

/* What a program writes when it is called with an option, in a file. */
std::string written_by(const std::string &program, const std::string &option)
{
    const std::string file = scratch(program + option);
    const Ending ending = run({ORKA_BUILD_TREE "/" + program, option});
    EXPECT_EQ(ending.status, 0) << ending.err;
    write_file(file, ending.out);
    return file;
}

std::string page_of(const std::string &program)
{
    return shown(written_by(program, "--man-page"));
}

/* What bash offers after these words of a command line, the last of which is only begun. */
std::string offered(const std::string &program, const std::string &words)
{
    const std::string script = written_by(program, "--bash-completion");
    return run({"bash", "-c",
                "source " + script + "; COMP_WORDS=(" + program + ' ' + words +
                    "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); "
                    "$(complete -p | sed -n 's/.*-F \\([^ ]*\\) .*/\\1/p'); echo \"${COMPREPLY[@]}\""})
        .out;
}

class Manual : public testing::TestWithParam<const char *> {
  protected:
    static std::string program() { return GetParam(); }
    static std::string help()
    {
        const std::string path = ORKA_BUILD_TREE "/" + program();
        return run({path, "--help"}).out + run({path, "--help-all"}).out;
    }
};

TEST_P(Manual, ThePageHasEveryOptionThatHelpLists)
{
    const std::string text = page_of(program());
    const std::vector<std::string> options = options_in(help());
    ASSERT_GE(options.size(), 2u);
    for (const std::string &option : options)
        EXPECT_THAT(text, HasSubstr(option));
}

TEST_P(Manual, ThePageBeginsWithTheNameAndWhatItDoes)
{
    EXPECT_THAT(page_of(program()), testing::ContainsRegex("NAME\n +" + program() + " - [a-z]"));
}

TEST_P(Manual, HelpDoesNotSpeakOfIt)
{
    EXPECT_THAT(help(), testing::Not(HasSubstr("--man-page")));
}

/* Longer is only what cannot be broken: a word, or what stands in the column of names. */
TEST_P(Manual, HelpFitsATerminal)
{
    std::istringstream lines(run({ORKA_BUILD_TREE "/" + program(), "--help"}).out);
    size_t seen = 0;
    for (std::string line; std::getline(lines, line); seen++) {
        const size_t text = line.find_first_not_of(' ');
        EXPECT_TRUE(line.size() <= 80 || line.find(' ', text) == line.npos) << line;
    }
    EXPECT_GE(seen, 10u);
}

TEST_P(Manual, BashOffersOptions)
{
    EXPECT_EQ(offered(program(), "--hel"), "--help\n");
}

INSTANTIATE_TEST_SUITE_P(Programs, Manual,
                         testing::Values("orka-board", "orka-play", "orka-record", "orka-ctl"),
                         [](const auto &info) {
                             std::string name = info.param;
                             std::erase(name, '-');
                             return name;
                         });

TEST(BoardManual, BashOffersCommandsAndTheirOptions)
{
    EXPECT_EQ(offered("orka-board", "scr"), "screenshot\n");
    EXPECT_EQ(offered("orka-board", "screenshot --pl"), "--plane\n");
    EXPECT_EQ(offered("orka-board", "--pl"), "\n");
}

TEST(BoardManual, ThePageHasASectionForEachCommand)
{
    const std::string text = page_of("orka-board");
    for (const char *const words : {"   run\n", "   serve\n", "   screenshot\n", "   status\n", "--plane"})
        EXPECT_THAT(text, HasSubstr(words));
}

TEST(BoardManual, ThePageHasTheExamplesOnce)
{
    const std::string text = page_of("orka-board");
    const std::string example = "orka-board run --trace calls.txt";
    ASSERT_THAT(text, HasSubstr(example));
    EXPECT_EQ(text.find(example), text.rfind(example));
}

TEST(CtlManual, ThePageHasTheNotesOfEachCommand)
{
    EXPECT_THAT(page_of("orka-ctl"), HasSubstr("A program that was killed leaves its locks held."));
}

using orka::manual::folded;

TEST(FoldedText, BreaksAtTheLastBlankThatFits)
{
    EXPECT_EQ(folded("one two three four", 8), "one two\nthree\nfour");
    EXPECT_EQ(folded("one two three four", 7), "one two\nthree\nfour");
    EXPECT_EQ(folded("one two three four", 6), "one\ntwo\nthree\nfour");
    EXPECT_EQ(folded("one two three four", 18), "one two three four");
}

TEST(FoldedText, KeepsItsLinesAndTheirIndents)
{
    EXPECT_EQ(folded("a\n\n  bb cc dd\n", 7), "a\n\n  bb cc\n  dd\n");
    EXPECT_EQ(folded("", 7), "");
}

TEST(FoldedText, LeavesAWordWholeThatDoesNotFit)
{
    EXPECT_EQ(folded("  abcdefgh ij kl", 5), "  abcdefgh\n  ij\n  kl");
    EXPECT_EQ(folded("abcdefgh", 5), "abcdefgh");
}

TEST(Overview, IsAPageThatNamesEveryProgram)
{
    const std::string text = shown(ORKA_SOURCE_TREE "/docs/orka.7");
    for (const char *const program : {"orka-board(1)", "orka-play(1)", "orka-record(1)", "orka-ctl(1)"})
        EXPECT_THAT(text, HasSubstr(program));
}

} // namespace
} // namespace orka_tools_test
