/* What the board says to people: its log, and the file under the trace. */
#ifndef ORKA_BOARD_SERVER_LOG_H
#define ORKA_BOARD_SERVER_LOG_H

#include <string>

namespace orka::board {

/* Text for people from bytes that a program sent: what cannot be printed shows as \xNN. */
std::string printable(const std::string &text);

/* One line on standard error, begun with the board's name. */
void say(const std::string &text);

/*
 * A file of lines, each written at once and whole. A failed write is said on standard error, the first time.
 */
class LineFile {
  public:
    explicit LineFile(const std::string &path); /* throws std::system_error */
    ~LineFile();
    LineFile(const LineFile &) = delete;
    LineFile &operator=(const LineFile &) = delete;

    void write(const std::string &line); /* without the newline */

  private:
    std::string path_;
    int fd_;
    bool failed_ = false;
};

} // namespace orka::board

#endif
