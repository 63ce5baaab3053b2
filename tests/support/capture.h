/*
 * What the program writes to its standard output and standard error, both through stdio and straight to the
 * descriptors. GoogleTest's own reports still reach the terminal.
 */
#ifndef ORKA_TESTS_CAPTURE_H
#define ORKA_TESTS_CAPTURE_H

#include <string>
#include <string_view>

namespace orka_test {

class Capture {
  public:
    Capture();
    ~Capture();
    Capture(const Capture &) = delete;
    Capture &operator=(const Capture &) = delete;

    /*
     * Everything written since the last take. The source line of a diagnostic, which has to be a positive
     * number, reads "[#]", so the texts below can be compared with it; any other line number stays as it is.
     */
    std::string take_error();
    std::string take_output();

    /* While paused, the program writes where it wrote before the capture. */
    void pause();
    void resume();

  private:
    int saved_[2];
    int captured_[2];
};

/* A diagnostic as it stands on its stream. With an error number, the errno line follows. */
std::string error_line(std::string_view function, std::string_view message);
std::string error_line(std::string_view function, std::string_view message, int error);
std::string warning_line(std::string_view function, std::string_view message);
std::string fatal_line(std::string_view function, std::string_view message);
std::string fatal_line(std::string_view function, std::string_view message, int error);

/* The text with "[123] " after "ERROR:name():", "WARNING:name():" or "FATAL:name():" turned into "[#] ". */
std::string normalise(std::string_view text);

} // namespace orka_test

#endif
