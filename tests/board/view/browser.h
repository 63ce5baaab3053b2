/*
 * Chromium, as far as tests need it: a window without a screen that chromedriver opens and works, asked over
 * HTTP as the W3C's WebDriver has it.
 */
#ifndef ORKA_TESTS_BOARD_VIEW_BROWSER_H
#define ORKA_TESTS_BOARD_VIEW_BROWSER_H

#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "board/tools/support.h"

namespace httplib {
class Client;
} // namespace httplib

namespace orka_tools_test {

class Browser {
  public:
    /* What it writes lies in that folder, which is made, and goes with the browser. Throws
       std::runtime_error where chromedriver or Chromium do not start. */
    explicit Browser(const std::string &folder);
    ~Browser(); /* also ends whatever is left of it */
    Browser(const Browser &) = delete;
    Browser &operator=(const Browser &) = delete;

    void open(const std::string &place);
    /* As a telephone has it: a narrow screen, touched by fingers. */
    void be_a_phone(unsigned width, unsigned height);
    void prefer_colours(const std::string &scheme); /* light, dark */

    /* What the body of a function returns, or what the promise that it returns comes to. */
    nlohmann::json run(const std::string &body);
    /* As a person does it: only what can be seen can be clicked. */
    void click(const std::string &selector);
    void press(const std::string &key);

    std::string downloads() const { return folder_ + "/downloads"; }
    /* Since the last call: the places of all requests, and the console's errors and warnings. */
    std::vector<std::string> requested();
    std::vector<std::string> complaints();

  private:
    nlohmann::json ask(const std::string &path, const nlohmann::json &body = nlohmann::json::object());
    nlohmann::json tool(const std::string &command, const nlohmann::json &parameters);
    void begin();
    void leave();

    const std::string folder_;
    Process driver_;
    std::unique_ptr<httplib::Client> client_;
    std::string session_;
};

} // namespace orka_tools_test

#endif
