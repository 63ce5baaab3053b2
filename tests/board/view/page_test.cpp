/* The live view's page, in a browser, while a board plays. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "board/view/browser.h"
#include "board/view/live_board.h"

namespace orka_tools_test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::AnyOf;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

const std::string space = " ";
const std::string right_arrow = "\uE014";

constexpr uint32_t picture_ms = 40;

/* The pixels of the page's picture, and of the one that the board gives when it is asked. */
const std::string pixels_of = "const pixels = source => {"
                              "    const canvas = document.createElement('canvas');"
                              "    canvas.width = source.naturalWidth ?? source.width;"
                              "    canvas.height = source.naturalHeight ?? source.height;"
                              "    const context = canvas.getContext('2d');"
                              "    context.drawImage(source, 0, 0);"
                              "    return canvas.toDataURL(); };";
const std::string seen_pixels = pixels_of + "return pixels(document.getElementById('picture'));";
const std::string boards_pixels =
    pixels_of + "return fetch('/picture.png?plane=' + document.getElementById('plane').value)"
                "    .then(answer => answer.blob()).then(createImageBitmap).then(pixels);";

const std::string drawn_anew = "return new Promise(done => requestAnimationFrame(() =>"
                               "    requestAnimationFrame(() => done(true))));";

class Page : public PlayingView {
  protected:
    Page() : browser(scratch("browser"))
    {
        place = "http://127.0.0.1:" + std::to_string(port) + "/";
        browser.open(place);
        EXPECT_TRUE(soon([this] { return text("#state").find("decoders play") != std::string::npos; }))
            << text("body");
    }
    ~Page() override
    {
        EXPECT_THAT(browser.requested(),
                    Each(AnyOf(StartsWith(place), StartsWith("blob:" + place), StartsWith("data:"))));
        EXPECT_THAT(browser.complaints(), IsEmpty());
    }

    std::string text(const std::string &selector)
    {
        return browser.run("return document.querySelector('" + selector + "').textContent;");
    }
    double number(const std::string &expression) { return browser.run("return " + expression + ";"); }
    bool holds(const std::string &expression) { return browser.run("return " + expression + ";"); }
    /* A decoder's four figures: frames in, frames out, dropped, time. */
    std::string figure(const std::string &unit, const std::string &name)
    {
        return browser.run("const unit = [...document.querySelectorAll('.unit')].find(one =>"
                           "    one.querySelector('h3').textContent === '" +
                           unit +
                           "');"
                           "return [...unit.querySelectorAll('.counts div')].find(one =>"
                           "    one.querySelector('dt').textContent === '" +
                           name + "').querySelector('dd').textContent;");
    }
    std::string picture() { return browser.run(seen_pixels); }
    std::vector<fs::path> saved()
    {
        std::vector<fs::path> files;
        for (const auto &entry : fs::directory_iterator(browser.downloads())) {
            if (entry.path().extension() == ".png")
                files.push_back(entry.path());
        }
        return files;
    }
    bool shows_the_boards_picture()
    {
        return soon([this] { return browser.run(boards_pixels) == browser.run(seen_pixels); });
    }

    Browser browser;
    std::string place;
};

TEST_F(Page, ShowsPicturesFiguresAndRequestsAsTheyComeAndGo)
{
    const std::string before = picture();
    const std::string frames = figure("vdecode\u00A00/0", "frames out");
    EXPECT_TRUE(soon([&] { return picture() != before; }));
    browser.click(".unit details summary");
    EXPECT_TRUE(soon([&] { return figure("vdecode\u00A00/0", "frames out") != frames; }));
    EXPECT_TRUE(holds("document.querySelector('.unit details').open")) << "what somebody opened stays open";
    EXPECT_THAT(text("#caption"),
                HasSubstr("INTERNAL 480i · 720\u00A0×\u00A0480 interlaced · on · vdecode 0/0"));
    EXPECT_THAT(text("#status"), AllOf(HasSubstr("/dev/vdecode"), HasSubstr("/dev/adecode")));
    EXPECT_TRUE(soon(
        [this] { return text("#lines").find("/orka-play /dev/vdecode IDECODE_") != std::string::npos; }));
    player.signal(SIGTERM);
    EXPECT_TRUE(soon([this] { return text("#state") == "nothing plays"; }));
    EXPECT_THAT(text("#caption"), HasSubstr("no picture"));
}

TEST_F(Page, ScrollsItsRequestsUnlessSomebodyReadsThem)
{
    const std::string box = "document.getElementById('lines')";
    const std::string to_its_end = box + ".scrollHeight - " + box + ".scrollTop - " + box + ".clientHeight";
    const std::string at_end = "document.getElementById('end').hidden";
    ASSERT_TRUE(soon([&] { return number(box + ".scrollTop") > 0; }));
    EXPECT_LT(number(to_its_end), 30);
    EXPECT_TRUE(holds(at_end));
    browser.be_a_phone(390, 844);
    ASSERT_TRUE(soon([this] { return number("innerWidth") == 390; }));
    browser.run(drawn_anew);
    EXPECT_TRUE(soon([&] { return number(to_its_end) < 30; })) << "also when the window changes";
    EXPECT_TRUE(holds(at_end));

    browser.run(box + ".scrollTop = 0;");
    ASSERT_TRUE(soon([&] { return !holds(at_end); }));
    const std::string newest = text("#lines div:last-child");
    EXPECT_TRUE(soon([&] { return text("#lines div:last-child") != newest; }));
    EXPECT_GT(number(to_its_end), 30);

    browser.click("#end");
    EXPECT_TRUE(soon([&] { return holds(at_end); }));
    EXPECT_LT(number(to_its_end), 30);
}

TEST_F(Page, PausesStepsAndGoesOn)
{
    browser.click("#pause");
    ASSERT_TRUE(soon([this] { return text("#state") == "paused"; }));
    EXPECT_EQ(text("#pause"), "Resume");
    const uint32_t held = shown("vdecode");
    EXPECT_TRUE(shows_the_boards_picture());
    const std::string before = picture();
    browser.click("#step");
    EXPECT_TRUE(soon([&] { return shown("vdecode") == held + picture_ms; }));
    EXPECT_TRUE(soon([&] { return picture() != before; }));
    EXPECT_TRUE(shows_the_boards_picture());
    browser.click("#pause");
    EXPECT_TRUE(soon([&] { return shown("vdecode") > held + 2 * picture_ms; }));
    EXPECT_TRUE(soon([this] { return text("#pause") == "Pause"; }));
}

TEST_F(Page, PausesStepsAndGoesOnByTheKeyboard)
{
    browser.press(space);
    ASSERT_TRUE(soon([this] { return text("#pause") == "Resume"; }));
    const uint32_t held = shown("vdecode");
    browser.press(right_arrow);
    EXPECT_TRUE(soon([&] { return shown("vdecode") == held + picture_ms; }));
    browser.press(space);
    EXPECT_TRUE(soon([&] { return shown("vdecode") > held + 2 * picture_ms; }));
}

TEST_F(Page, ShowsThePlaneThatIsChosenAndSavesIt)
{
    browser.click("#pause");
    ASSERT_TRUE(soon([this] { return text("#state") == "paused"; }));
    ASSERT_TRUE(shows_the_boards_picture());
    const std::string composed = picture();
    browser.click("#plane option[value=osd]");
    EXPECT_TRUE(soon([&] { return picture() != composed; }));
    EXPECT_TRUE(shows_the_boards_picture());

    browser.click("#shot");
    ASSERT_TRUE(soon([this] { return !saved().empty(); }));
    EXPECT_THAT(saved().front().filename().string(), testing::MatchesRegex("orka-.*\\.png"));
    EXPECT_EQ(contents(saved().front()), get("/picture.png?plane=osd"));
}

TEST_F(Page, FitsATelephoneInTheColoursThatItsReaderPrefers)
{
    browser.be_a_phone(390, 844);
    browser.open(place);
    ASSERT_TRUE(soon([this] { return holds("document.querySelectorAll('.unit').length >= 2"); }));
    EXPECT_EQ(number("innerWidth"), 390);
    EXPECT_EQ(number("document.documentElement.scrollWidth"), 390);
    for (const char *const id : {"pause", "step", "shot", "plane"}) {
        const std::string box = "document.getElementById('" + std::string(id) + "').getBoundingClientRect()";
        EXPECT_GE(number(box + ".height"), 44) << id;
        EXPECT_GE(number(box + ".width"), 44) << id;
    }
    const std::string back = "return getComputedStyle(document.body).backgroundColor;";
    browser.prefer_colours("light");
    EXPECT_EQ(browser.run(back), "rgb(242, 242, 239)");
    browser.prefer_colours("dark");
    EXPECT_EQ(browser.run(back), "rgb(20, 21, 23)");
}

/* Without a program; the place stays the same when the board ends and another one begins. */
TEST(PageOfABoardThatEnds, SaysSoAndGoesOnWithTheNextOne)
{
    std::optional<Board> board(Words{"--view"});
    const std::string place = "127.0.0.1:" + std::to_string(port_in(board->process.err()));
    Browser browser(scratch("browser"));
    const auto text = [&](const std::string &id) {
        return browser.run("return document.getElementById('" + id + "').textContent;").get<std::string>();
    };
    const std::string cannot_act = "return document.getElementById('pause').disabled;";
    browser.open("http://" + place + "/");
    ASSERT_TRUE(soon([&] { return text("state") == "nothing plays"; }));
    EXPECT_EQ(browser.run(cannot_act), false);

    board.reset();
    ASSERT_TRUE(soon([&] { return text("state") == "gone"; }));
    EXPECT_THAT(text("gone"), StartsWith("The board has ended, or cannot be reached."));
    EXPECT_EQ(browser.run("return document.getElementById('gone').checkVisibility();"), true);
    EXPECT_EQ(browser.run(cannot_act), true);

    board.emplace(Words{"--view", place});
    EXPECT_TRUE(soon([&] { return text("state") == "nothing plays"; }));
    EXPECT_EQ(browser.run("return document.getElementById('gone').checkVisibility();"), false);
    EXPECT_EQ(browser.run(cannot_act), false);
    EXPECT_THAT(browser.complaints(), Each(StartsWith("network: ")));
}

} // namespace
} // namespace orka_tools_test
