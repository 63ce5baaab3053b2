/* The line that tells how far a tool is, on a terminal. */
#ifndef ORKA_TOOLS_PROGRESS_LINE_H
#define ORKA_TOOLS_PROGRESS_LINE_H

#include <string>

namespace orka {

class ProgressLine {
  public:
    ProgressLine();  /* silent unless standard output is a terminal */
    ~ProgressLine(); /* wipes the line */
    ProgressLine(const ProgressLine &) = delete;
    ProgressLine &operator=(const ProgressLine &) = delete;

    void show(const std::string &text);

  private:
    bool terminal_;
    bool shown_ = false;
};

} // namespace orka

#endif
